#include "Demo.h"

#include <iomanip>
#include <memory>
#include <ostream>
#include <sstream>

#include "AsyncEventsMgr.h"
#include "ConfigOverrides.h"
#include "Display.h"
#include "Distribution.h"
#include "Progress.h"

namespace {

std::unique_ptr<Display> makeDisplay(const std::string& device) {
  if (device.empty()) {
    return std::make_unique<HostNameDisplay>();
  }
  return std::make_unique<DeviceDisplay>(device);
}

/** Waits until a first event shows that the polling thread waits on the node. */
bool waitForSource(Display& display, EventRecorder& recorder) {
  constexpr int kAttempts = 200;
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    display.raise();
    if (recorder.waitFor(1, std::chrono::milliseconds(10))) {
      std::this_thread::sleep_for(Display::kPeriod);  // lets a second event drain
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

int runDemo(const DemoOptions& options, Console& console) {
  const std::unique_ptr<Display> display = makeDisplay(options.device);
  ConfigOverrides overrides;
  overrides.set(kVsyncNodeItem, display->node());
  const StopSignals signals;
  EventRecorder recorder;
  VsyncEvent& source = *VsyncEvent::getInstance();
  source.registerCallBack(EventRecorder::onEvent, &recorder);
  source.startEvent(EventRecorder::onEvent);
  if (!waitForSource(*display, recorder)) {
    source.pauseEvent(EventRecorder::onEvent);
    console.err << "lmctl: no event arrived from " << display->node()
                << "; check that it can be read\n";
    return kFailure;
  }

  console.out << "Vsync events from " << display->node() << ", notified at " << Display::kRateHz
              << " Hz for " << options.seconds << " s\n";
  display->start(source);
  showProgress(console, signals, Clock::now() + fromSeconds(options.seconds),
               [&] { return sentAndReceived(*display, recorder); });
  display->stop();
  recorder.waitFor(display->count(), std::chrono::seconds(1));
  source.pauseEvent(EventRecorder::onEvent);

  const auto arrivals = recorder.arrivals();
  console.out << "events     " << sentAndReceived(*display, recorder) << "\nlatency    ";
  latencies(display->notified(), arrivals).printSummary(console.out);
  const Distribution offPeriod = jitter(arrivals, Display::kPeriod);
  console.out << "jitter     ";
  offPeriod.printSummary(console.out);
  offPeriod.printHistogram(console.out);
  return arrivals.empty() ? kFailure : kSuccess;
}
