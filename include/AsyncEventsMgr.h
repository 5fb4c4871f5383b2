#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>
#include <tuple>
#include <unordered_map>

#include "LMAttributes.h"

/**
 * Event sources: each tells its clients, from one polling thread of its own, that something
 * happened in the kernel.
 *
 * A client obtains a source, registers a callback, starts it, and pauses and starts it again as it
 * likes:
 *
 *     void onVsync(int event, void* payload, int zero, void* userData);
 *
 *     VsyncEvent* vsync = VsyncEvent::getInstance();
 *     vsync->registerCallBack(onVsync, &myState);
 *     vsync->startEvent(onVsync);
 *     ...
 *     vsync->pauseEvent(onVsync);
 *
 * All operations may be called from any thread.
 */

/**
 * A client's callback. It runs on the source's polling thread with the source's mCallbacksLck held:
 * it must return quickly, must not call registerCallBack, startEvent or pauseEvent of the same
 * source (it would deadlock), and must not throw (nothing on that thread would catch it, and the
 * process would terminate).
 *
 * @param event    what happened: 1, a vsync
 * @param payload  data of the event, valid only during the call; null for a vsync
 * @param zero     always 0
 * @param userData the pointer given to registerCallBack, unchanged
 */
using AsyncEventCallback = void (*)(int event, void* payload, int zero, void* userData);

/** State of a source's polling thread. THREAD_EXIT is final. */
enum AsyncThreadState : int {
  THREAD_INIT,     ///< no callback has ever been started
  THREAD_PAUSED,   ///< the last active callback was paused; the thread sleeps
  THREAD_RUNNING,  ///< at least one callback is active
  THREAD_EXIT,     ///< the source is being destroyed; the thread must return
};

/**
 * Base of every event source: the callback registry, the count of active callbacks, the polling
 * thread's state, and the process-name cache. Clients use the sources derived from it.
 *
 * Lock order: mFrameLock, mCallbacksLck, then one of mRefCountLck, mThreadStateLck and
 * mThreadCondLck at a time, except that mThreadStateLck may be taken inside mThreadCondLck.
 */
class LM_API AsyncEvent {
 public:
  AsyncEvent(const AsyncEvent&) = delete;
  AsyncEvent& operator=(const AsyncEvent&) = delete;

  /** Stops no thread; a source's own destructor does that first. */
  virtual ~AsyncEvent();

  /** Creates the polling thread unless it exists. Called by startEvent; the base has no thread. */
  virtual void startThread();

  /**
   * Adds an inactive callback to the registry, for good.
   *
   * Takes mCallbacksLck, so it waits while events are delivered. A callback that is already
   * registered keeps its first user pointer and its active flag.
   *
   * @param userData passed back to cb with each event; the client keeps it alive
   * @return 0, or -1 with an ERROR log when cb is null or memory is short
   */
  int registerCallBack(AsyncEventCallback cb, void* userData);

  /**
   * Activates a registered callback and wakes the polling thread, creating it on first use.
   *
   * Returns without effect or log when cb is null, unknown or already active. Takes mCallbacksLck
   * for the whole call. Does not report a thread that could not be created or a node that could not
   * be opened: those are logged.
   */
  void startEvent(AsyncEventCallback cb);

  /**
   * Deactivates a callback. When it was the last active one, the polling thread goes to sleep
   * after its current wait. No call of cb begins after this returns.
   *
   * Returns without effect when cb is unknown, inactive, or null (ERROR log). Takes mCallbacksLck
   * for the whole call.
   *
   * Note: the kernel keeps one notification that arrives while the source is paused, so the first
   * event after the next startEvent may be that one.
   */
  void pauseEvent(AsyncEventCallback cb);

  /** Raises the count of active callbacks; returns it, or 0 when it already was 2147483647. */
  int incRefCount();

  /** Lowers the count of active callbacks; returns it, or 0 when it already was below 1. */
  int decRefCount();

  /** Sets the thread state, an AsyncThreadState, unless it is THREAD_EXIT. Wakes nobody. */
  void setThreadState(int state);

  /** Returns the thread state, an AsyncThreadState. */
  int getThreadState();

  /**
   * For the polling thread, at the top of each turn of its loop: sleeps while the source is paused.
   *
   * Note: returns the state found on entry. After a sleep that is THREAD_PAUSED, whatever ended it,
   * so a woken thread makes one more turn before it sees THREAD_EXIT.
   */
  int analyseThreadState();

  /**
   * Writes value in decimal, without a newline, to the file at path, which is created or truncated.
   * Blocks as long as the node's driver does. Takes no lock.
   *
   * @return 0, also when the write itself fails; -1 with an ERROR log when path cannot be opened
   */
  static int updateSysNodes(const std::string& path, int value);

  /**
   * Process identifiers by process name. Not locked by the library: a program that uses the map on
   * several threads serialises its own calls, with mPidMapLck if it likes.
   *
   * Note: the construction of the first source reserves room in the map, without the lock.
   */
  static std::unordered_map<std::string, int> mPidMap;
  static std::mutex mPidMapLck;

 protected:
  AsyncEvent();

  std::unordered_map<AsyncEventCallback, std::tuple<bool, void*>> mCallbacks
      LM_GUARDED_BY(mCallbacksLck);  ///< (active, userData) of each registered callback
  std::mutex mCallbacksLck;
  std::string mSysNode;                                    ///< path of the polled kernel node
  std::int32_t mRefCount LM_GUARDED_BY(mRefCountLck) = 0;  ///< number of active callbacks
  std::mutex mRefCountLck;
  std::mutex mThreadStateLck;
  std::mutex mFrameLock;      ///< for the graphics source; outside of all others
  std::mutex mThreadCondLck;  ///< the mutex of mThreadCond
  std::condition_variable mThreadCond;
  std::thread* mThread = nullptr;  ///< the polling thread, owned; null until it was created
  std::int32_t mThreadState LM_GUARDED_BY(mThreadStateLck) = THREAD_INIT;
};

/**
 * Tells its clients of each vertical sync of the display: event 1, payload null.
 *
 * The polling thread waits for priority notifications of the kernel node whose path the framework
 * configures as item 22, read once at construction.
 *
 * Note: destruction waits for the polling thread and does not wake it. A running thread ends after
 * its current wait (up to five minutes); a paused one sleeps until somebody wakes it. A program
 * that started the process-wide instance therefore ends with _exit, or sees to one last
 * notification.
 */
class LM_API VsyncEvent : public AsyncEvent {
 public:
  /** The process-wide instance, created by the first call and destroyed at process exit. */
  static VsyncEvent* getInstance();

  /** Clients use getInstance(); an instance of one's own is subject to the note above. */
  VsyncEvent();
  ~VsyncEvent() override;

  /**
   * Creates the polling thread unless it exists. A failure leaves the source without a thread, is
   * logged unless it was memory for the thread object that was short, and is retried by the next
   * start. Called by startEvent with mCallbacksLck held; not to be called concurrently.
   */
  void startThread() override;

  /**
   * The polling thread's body: delivers until the source's state is THREAD_EXIT. Returns early,
   * with an ERROR log, when the node cannot be opened.
   *
   * Note: a node that opens as descriptor 0 counts as not opened.
   */
  static void pollingThreadFunc(VsyncEvent* source);

  /** Delivers one vsync event from the calling thread. Passes on what a callback throws. */
  void processCb();
};
