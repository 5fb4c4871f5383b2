#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>
#include <tuple>
#include <unordered_map>
#include <vector>

#include "detail/LMAttributes.h"

/**
 * @file
 * Event sources: each watches something from one polling thread of its own. VsyncEvent and GfxEvent
 * tell their clients what happened; ThermalEvent only keeps the platform's listener at work.
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
 * All operations may be called from any thread, with the exceptions that the comments of startThread,
 * setGfxSysNodes, dataLossCounter and mPidMap name.
 */

/**
 * A client's callback. It runs on the source's polling thread, or on one that calls processCb, with
 * the source's mCallbacksLck held: it must return quickly, must not call registerCallBack,
 * startEvent, pauseEvent, processCb or stringParser of the same source (it could deadlock), and must
 * not throw (nothing on the polling thread would catch it, and the process would terminate).
 *
 * @param event    what happened: 1, a vsync; 2, a sample of graphics frames
 * @param payload  data of the event, valid only during the call: null for a vsync, a GfxFrameData
 *                 for a sample
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
   * @param cb       called with each event once it is started
   * @param userData passed back to cb with each event; the client keeps it alive
   * @return 0, or -1 with an ERROR log when cb is null or memory is short
   */
  int registerCallBack(AsyncEventCallback cb, void* userData);

  /**
   * Activates a registered callback and wakes the polling thread, creating it on first use.
   *
   * Returns without effect or log when cb is null, unknown or already active. Takes mCallbacksLck
   * for the whole call. Does not report a thread that could not be created or a node that could not
   * be opened: see startThread and pollingThreadFunc of the source. What startThread throws passes
   * through, with the callback active; the library's own sources throw nothing.
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
   * event after the next startEvent may be that one. A sysfs node also notifies once when the thread
   * opens it.
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
   * Looks for a process among the foreground tasks ("top-app") until it is there: up to five scans,
   * each after a sleep of 200 ms, so it blocks for 0.2 s to 1 s and the scans. Does not consult the
   * map.
   *
   * @param name the whole first argument of the command line; for an application, its package
   * @return the process identifier of the first such process listed; below 1, mostly -1, without one
   *
   * Note: the result is stored in mPidMap, also when there is none.
   */
  static int getPid(std::string& name);

  /**
   * Scans the foreground tasks once for a process. Opens a file for each task, so it takes time in
   * proportion to their number. Any thread; no lock.
   *
   * @param name the whole first argument of the command line
   * @return the process identifier of the first task of that name whose status can be read; below 1,
   *         mostly -1, when there is none; -1 with an ERROR log when memory is short
   */
  static int getPidExpensive(std::string& name);

  /** Returns what mPidMap holds for name, or -1 when it holds nothing. */
  static int getPidFromMap(std::string& name);

  /** Stores pid for name in mPidMap. When memory is short, logs that and leaves the map as it was. */
  static void setPidOnMap(std::string& name, int pid);

  /** Removes every name from mPidMap. */
  static void clearPidMap();

  /**
   * Process identifiers by process name. Not locked by the library: a program whose threads call
   * getPid, getPidFromMap, setPidOnMap or clearPidMap concurrently serialises those calls, with
   * mPidMapLck if it likes.
   *
   * Note: each construction of a source looks at the map, and may reserve room in it, without the
   * lock.
   */
  static std::unordered_map<std::string, int> mPidMap;
  static std::mutex mPidMapLck;  ///< for the program's use

 protected:
  AsyncEvent();

  std::unordered_map<AsyncEventCallback, std::tuple<bool, void*>> mCallbacks
      LM_GUARDED_BY(mCallbacksLck);  ///< (active, userData) of each registered callback
  std::mutex mCallbacksLck;          ///< held while callbacks run
  std::string mSysNode;              ///< path of the polled kernel node
  std::int32_t mRefCount LM_GUARDED_BY(mRefCountLck) = 0;  ///< number of active callbacks
  std::mutex mRefCountLck;                                 ///< guards the count
  std::mutex mThreadStateLck;                              ///< guards the state
  std::mutex mFrameLock;                ///< for the graphics source; outside of all others
  std::mutex mThreadCondLck;            ///< the mutex of mThreadCond
  std::condition_variable mThreadCond;  ///< a paused polling thread waits for it
  std::thread* mThread = nullptr;       ///< the polling thread, owned; null until it was created
  std::int32_t mThreadState LM_GUARDED_BY(mThreadStateLck) = THREAD_INIT;  ///< AsyncThreadState
};

/**
 * Tells its clients of each vertical sync of the display: event 1, payload null.
 *
 * The polling thread waits for priority notifications of the kernel node whose path the framework
 * configures as item 22, read once at construction.
 *
 * Note: destruction waits for the polling thread and does not wake it. A running thread ends after
 * its current wait (up to five minutes), a paused one after another whole turn once somebody wakes
 * it. A program that started the process-wide instance therefore ends with _exit. One that returns
 * from main calls setThreadState(THREAD_EXIT) first, then startEvent if the source is paused, which
 * wakes the thread, and after both sees to one last notification; without that state, the thread
 * waits for yet another one.
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
   * logged unless it was memory for the thread object that was short, and is retried when the next
   * callback is activated. Called by startEvent with mCallbacksLck held; not to be called
   * concurrently.
   */
  void startThread() override;

  /**
   * The polling thread's body: delivers until the source's state is THREAD_EXIT. Returns early,
   * with an ERROR log, when the node cannot be opened.
   *
   * Note: a node that opens as descriptor 0 counts as not opened. A node that could not be opened is
   * never tried again: the source has its thread, but no events any more.
   */
  static void pollingThreadFunc(VsyncEvent* source);

  /** Delivers one vsync event under mCallbacksLck. Passes on what a callback throws. */
  void processCb();
};

/**
 * What one read of the graphics node told, each vector in the order of the reports. All in the
 * driver's time unit, which it reports in thousandths.
 */
struct GfxFrameData {
  /** From a frame's second stage, or its first when the second was not reported, to its third. */
  std::vector<double> secondToThirdStage;

  /**
   * From the last counted frame start to the next; starts no more than 4.0 after it are not counted.
   *
   * Note: kept in single precision. The first interval ever is the first frame's own time, that
   * after a pause spans the pause. A time that steps back is not counted, nor are those after it
   * until they pass the last counted one.
   */
  std::vector<double> frameStartIntervals;

  /** From a frame's first stage to its second. */
  std::vector<double> firstToSecondStage;
};

/**
 * Tells its clients of the graphics frames that the kernel reported: event 2, payload a
 * GfxFrameData.
 *
 * The polling thread reads the kernel node that the framework configures as item 7, which blocks
 * until there is news, and delivers after every read, also when it told nothing or failed. A control
 * node, item 8, switches the reports on and off.
 *
 * Note: the thread opens the node once, by its path at the first start. Where the node does not
 * block, at the end of a plain file for instance, the thread never rests.
 *
 * Note: a frame whose third stage is never reported is kept until the next start or pause.
 *
 * Note: a report with numbers that overflow ends the process: see stringParser.
 *
 * Note: destruction waits for the polling thread and does not wake it. A running thread ends after
 * its current read, a paused one after another whole turn once somebody wakes it. A program that
 * started the process-wide instance ends as one that started VsyncEvent's, with a last report in
 * place of the notification.
 */
class LM_API GfxEvent : public AsyncEvent {
 public:
  /** The process-wide instance, created by the first call and destroyed at process exit. */
  static GfxEvent* getInstance();

  /**
   * Clients use getInstance(); an instance of one's own is subject to the notes above. Passes on
   * std::bad_alloc, as do setGfxSysNodes and startEvent.
   */
  GfxEvent();
  ~GfxEvent() override;

  /**
   * Creates the polling thread unless it exists. A failure is logged and retried as described at
   * VsyncEvent::startThread. Called by startEvent with mCallbacksLck held; not to be called
   * concurrently.
   */
  void startThread() override;

  /**
   * Looks up the paths of both nodes; leaves them alone while the framework has no store. Called by
   * construction and startEvent; a call of one's own must not overlap those.
   */
  void setGfxSysNodes();

  /**
   * The polling thread's body: reads, parses and delivers until the source's state is THREAD_EXIT.
   * Returns early, with an ERROR log, when the node cannot be opened; it is never tried again.
   */
  static void pollingThreadFunc(GfxEvent* source);

  /**
   * Looks the nodes up again, forgets all pending frames, writes value to the control node and then
   * activates cb, as AsyncEvent::startEvent.
   *
   * Takes mFrameLock for the whole call; blocks as long as the control node's driver does. A
   * control node that cannot be opened is logged and otherwise ignored.
   *
   * @param cb    a registered callback
   * @param value what the driver takes for "on"
   *
   * Note: all but the last step is done whatever cb is, and whoever is active.
   */
  void startEvent(AsyncEventCallback cb, int value);

  /**
   * Forgets all pending frames, writes -1 to the control node and then deactivates cb, as
   * AsyncEvent::pauseEvent. Takes mFrameLock for the whole call.
   *
   * Note: all but the last step is done whatever cb is, and even if other clients are still active.
   */
  void pauseEvent(AsyncEventCallback cb);

  /**
   * Reads the reports in text, terminated by NUL, and adds to out what they tell of the frames that
   * are pending from this and earlier texts. Takes mFrameLock; does not change text.
   *
   * A report is "unused a b stage time unused", separated by spaces; ':' separates reports.
   * Numbers are as strtoul reads them in base 0; text that is no number, and a missing field, count
   * as 0. Other stages than 1 to 3, and the later stages of unknown frames, are skipped. A null
   * text is ignored.
   *
   * Note: aborts when a + b + 1 overflows, as in "0 -1 -1 -1 -1". Passes on std::bad_alloc, with what
   * was read so far in out.
   */
  void stringParser(char* text, GfxFrameData& out);

  /** Delivers one sample under mCallbacksLck. Passes on what a callback throws. */
  void processCb(GfxFrameData& data);

  /**
   * Counts gaps in a sequence of numbers into sLostCount. After a number that goes backwards, the
   * next one, whatever it is, starts a new sequence without counting. Not locked.
   *
   * Note: aborts when seq + 1 or the sum overflows. The library itself does not call it.
   */
  void dataLossCounter(unsigned long seq);

  static unsigned long sExpectedSeq;  ///< the next number of the sequence; 0 when any may come
  static int sLostCount;              ///< numbers found missing

 protected:
  std::unordered_map<unsigned long, std::vector<double>> mFrameStages
      LM_GUARDED_BY(mFrameLock);  ///< three times of each pending frame, by the frame's key
  float mLastFrameStart LM_GUARDED_BY(mFrameLock) = 0;  ///< time of the last counted frame start
  std::string mGfxCtrlNode;                             ///< path of the control node

 private:
  LM_LOCAL void countFrameStart(double time, GfxFrameData& out) LM_REQUIRES(mFrameLock);
};

/**
 * Keeps the device's thermal listener fetching: every 300 ms while a client is active.
 *
 * The listener is the platform's and tells its clients itself; callbacks registered here are never
 * called and only serve to start and pause the fetching. Each start discards what the listener
 * gathered so far.
 *
 * Note: destruction neither stops the polling thread nor waits for it. A running thread goes on while
 * the process exits; a paused one waits for a condition that is destroyed meanwhile, which is
 * undefined, and with glibc the process never ends. A program that started the process-wide instance
 * therefore ends with _exit. An instance of one's own that was started must never be destroyed.
 */
class LM_API ThermalEvent : public AsyncEvent {
 public:
  /** The process-wide instance, created by the first call and destroyed at process exit. */
  static ThermalEvent* getInstance();

  /** Clients use getInstance(). */
  ThermalEvent();
  ~ThermalEvent() override;

  /**
   * Resets the listener's data, then creates the polling thread unless it exists. A failure is logged
   * and retried as described at VsyncEvent::startThread.
   */
  void startThread() override;

  /** The polling thread's body: fetches until the source's state is THREAD_EXIT. */
  static void pollingThreadFunc(ThermalEvent* source);
};
