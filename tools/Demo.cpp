#include "Demo.h"

#include <algorithm>
#include <atomic>
#include <iomanip>
#include <ostream>
#include <sstream>
#include <thread>

#include "AsyncEventsMgr.h"
#include "Distribution.h"
#include "HostNameNode.h"
#include "NodeOverrides.h"
#include "Progress.h"

namespace {

constexpr int kRateHz = 60;
constexpr Clock::duration kPeriod = std::chrono::nanoseconds(1'000'000'000 / kRateHz);

/** Plays the display driver: notifies the node once a period while it lives. */
class Display {
 public:
  explicit Display(const HostNameNode& node) : mNode(node), mThread([this] { run(); }) {}

  ~Display() { stop(); }

  void stop() {
    mStopped = true;
    if (mThread.joinable()) {
      mThread.join();
    }
  }

  std::size_t count() const { return mCount; }

  /** When each notification was raised. To be called after stop(). */
  const std::vector<Clock::time_point>& notified() const { return mNotified; }

 private:
  void run() {
    for (auto next = Clock::now(); !mStopped; next = std::max(next + kPeriod, Clock::now())) {
      std::this_thread::sleep_until(next);
      mNotified.push_back(Clock::now());
      mNode.notify();
      ++mCount;
    }
  }

  const HostNameNode& mNode;
  std::atomic<bool> mStopped = false;
  std::atomic<std::size_t> mCount = 0;
  std::vector<Clock::time_point> mNotified;
  std::thread mThread;  // last: it uses the others
};

/** Notifies until the first event shows that the polling thread waits on the node. */
bool waitForSource(const HostNameNode& node, EventRecorder& recorder) {
  constexpr int kAttempts = 200;
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    node.notify();
    if (recorder.waitFor(1, std::chrono::milliseconds(10))) {
      std::this_thread::sleep_for(kPeriod);  // lets a second notification drain
      recorder.clear();
      return true;
    }
  }
  return false;
}

std::string sentAndReceived(const Display& display, const EventRecorder& recorder) {
  std::ostringstream text;
  text << display.count() << " sent   " << recorder.count() << " received   " << std::fixed
       << std::setprecision(1) << recorder.rateHz() << " Hz";
  return text.str();
}

}  // namespace

int runDemo(double seconds, Console& console) {
  const HostNameNode node;
  NodeOverrides nodes;
  nodes.set(kVsyncNodeItem, HostNameNode::kPath);
  const StopSignals signals;
  EventRecorder recorder;
  VsyncEvent& source = *VsyncEvent::getInstance();
  source.registerCallBack(EventRecorder::onEvent, &recorder);
  source.startEvent(EventRecorder::onEvent);
  if (!waitForSource(node, recorder)) {
    source.pauseEvent(EventRecorder::onEvent);
    console.err << "lmctl: no event arrived from " << HostNameNode::kPath
                << "; check that /proc is mounted\n";
    return kFailure;
  }

  console.out << "Vsync events from " << HostNameNode::kPath << ", notified at " << kRateHz
              << " Hz for " << seconds << " s\n";
  Display display(node);
  showProgress(console, signals, Clock::now() + fromSeconds(seconds),
               [&] { return sentAndReceived(display, recorder); });
  display.stop();
  recorder.waitFor(display.count(), std::chrono::seconds(1));
  source.pauseEvent(EventRecorder::onEvent);

  const auto arrivals = recorder.arrivals();
  console.out << "events     " << sentAndReceived(display, recorder) << "\nlatency    ";
  latencies(display.notified(), arrivals).printSummary(console.out);
  const Distribution offPeriod = jitter(arrivals, kPeriod);
  console.out << "jitter     ";
  offPeriod.printSummary(console.out);
  offPeriod.printHistogram(console.out);
  return arrivals.empty() ? kFailure : kSuccess;
}
