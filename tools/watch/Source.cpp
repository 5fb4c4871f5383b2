#include "watch/Source.h"

#include <algorithm>
#include <stdexcept>

#include "AsyncEventsMgr.h"
#include "ConfigOverrides.h"
#include "NodeChecks.h"
#include "config/Nodes.h"
#include "watch/Summary.h"

namespace {

/** For a source to open its node, whose first poll sysfs answers at once, and for the last events. */
constexpr auto kSettleTime = std::chrono::milliseconds(100);

/** So many a live view shows, that it costs the same after a second and after a day. */
constexpr std::size_t kRecentIntervals = 300;

/** Throws std::runtime_error when there is a problem with an item's node. */
void requireGood(int item, const std::string& problem) {
  if (!problem.empty()) {
    throw std::runtime_error(problem + "; name a node with --item " + std::to_string(item) +
                             "=PATH, or try --sample");
  }
}

}  // namespace

WatchedSource::WatchedSource(const EventKind& kind, const SourceOptions& options)
    : mSample(options.sample ? makeSample(kind) : Sample{options.node, nullptr}),
      mControl(options.sample ? "/dev/null" : options.control),
      mControlValue(options.controlValue),
      mRecording{kind} {
  if (!mSample.node.empty()) {
    overrideNode(kind.item, mSample.node);
  }
  requireGood(kind.item,
              kind.isFrames() ? blockingNodeProblem(kind.item) : notifyingNodeProblem(kind.item));
  if (!mControl.empty()) {
    overrideNode(kGfxCtrlNodeItem, mControl);
    requireGood(kGfxCtrlNodeItem, controlProblem());
  }
  mRecording.node = lmsupport::configuredNodePath(kind.item);
}

std::string WatchedSource::controlProblem() const {
  return mRecording.kind.isFrames() ? nodeProblem(kGfxCtrlNodeItem, W_OK) : "";
}

void WatchedSource::start() {
  mRecording.begin = Clock::now();
  mWriter = holdOpenIfFifo(mRecording.node);
  if (mRecording.kind.isFrames()) {
    GfxEvent::getInstance()->registerCallBack(onEvent, this);
    GfxEvent::getInstance()->startEvent(onEvent, mControlValue);
  } else {
    VsyncEvent::getInstance()->registerCallBack(onEvent, this);
    VsyncEvent::getInstance()->startEvent(onEvent);
    std::this_thread::sleep_for(kSettleTime);
    {
      std::lock_guard lock(mRecordingLck);
      mRecording = {mRecording.kind, mRecording.node, Clock::now()};
    }
    switchVsyncs(mControlValue);
  }
  if (mSample.make) {
    mSampleThread = std::thread([this] { makeEvents(); });
  }
}

Recording WatchedSource::stop() {
  mRecording.end = Clock::now();
  stopEvents();
  if (mRecording.kind.isFrames()) {
    std::this_thread::sleep_for(kSettleTime);
    GfxEvent::getInstance()->pauseEvent(onEvent);
  } else {
    switchVsyncs(0);
    std::this_thread::sleep_for(kSettleTime);
    VsyncEvent::getInstance()->pauseEvent(onEvent);
  }
  std::lock_guard lock(mRecordingLck);
  return mRecording;
}

std::vector<std::string> WatchedSource::lines(const Console& console, std::size_t width) const {
  std::lock_guard lock(mRecordingLck);
  return liveLines(mRecording, console.live ? kRecentIntervals : 0, console.style, width);
}

void WatchedSource::onEvent(int, void* payload, int, void* source) {
  const Clock::time_point now = Clock::now();
  auto* const self = static_cast<WatchedSource*>(source);
  std::lock_guard lock(self->mRecordingLck);
  self->mRecording.add(static_cast<const GfxFrameData*>(payload), now);
}

void WatchedSource::makeEvents() {
  const auto begin = Clock::now();
  long long refresh = 0;
  while (!mIsStopped) {
    const auto now = Clock::now();
    if (mSample.make(refresh)) {
      mRecording.made.push_back(now);
    }
    // What it is too late for is skipped.
    refresh = std::max<long long>(refresh + 1, (Clock::now() - begin) / Sample::kPeriod);
    std::this_thread::sleep_until(begin + refresh * Sample::kPeriod);
  }
}

void WatchedSource::stopEvents() {
  mIsStopped = true;
  if (mSampleThread.joinable()) {
    mSampleThread.join();
  }
}

void WatchedSource::switchVsyncs(int rateHz) const {
  if (!mControl.empty()) {
    AsyncEvent::updateSysNodes(mControl, rateHz);
  }
}

std::vector<Recording> watchSources(std::list<WatchedSource>& sources, double seconds, bool quiet,
                                    StopSignals& signals, Console& console) {
  const auto lines = [&](std::size_t width) {
    std::vector<std::string> all;
    for (const WatchedSource& source : sources) {
      const auto some = source.lines(console, width);
      all.insert(all.end(), some.begin(), some.end());
    }
    return all;
  };
  for (WatchedSource& source : sources) {
    source.start();
  }
  showProgress(console, signals, seconds, quiet ? ProgressLines() : lines);
  std::vector<Recording> recordings;
  for (WatchedSource& source : sources) {
    recordings.push_back(source.stop());
  }
  return recordings;
}
