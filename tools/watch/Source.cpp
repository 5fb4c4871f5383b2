#include "watch/Source.h"

#include <nlohmann/json.hpp>
#include <stdexcept>

#include "AsyncEventsMgr.h"
#include "NodeChecks.h"
#include "config/Nodes.h"
#include "watch/Summary.h"
#include "watch/Trace.h"

namespace {

constexpr auto kDrainTime = std::chrono::milliseconds(200);  ///< for events on their way

const WatchedSource::Kind kVsyncs = {"vsync",
                                     "event",
                                     kVsyncNodeItem,
                                     kMicroseconds,
                                     printVsyncs,
                                     vsyncFigures,
                                     [](TraceWriter& trace, const Recording& vsyncs) {
                                       trace.addInstants("vsync", vsyncs.arrivals);
                                     }};
const WatchedSource::Kind kFrames = {
    "gfx",
    "frame",
    kGfxDataNodeItem,
    kMilliseconds,
    printFrames,
    frameFigures,
    [](TraceWriter& trace, const Recording& frames) { trace.addFrames(frames); }};

}  // namespace

std::string WatchedSource::node() const { return lmsupport::configuredNodePath(mKind.item); }

std::string WatchedSource::counts() const { return countText(mRecorder.latest({}, 0), mKind.noun); }

void WatchedSource::setNode(int item, const std::string& path) {
  if (!path.empty()) {
    mOverrides.set(item, path);
  }
}

WatchedVsyncs::WatchedVsyncs(std::unique_ptr<Display> display, const std::string& path)
    : WatchedSource(kVsyncs), mDisplay(std::move(display)) {
  setNode(kVsyncNodeItem, mDisplay ? mDisplay->node() : path);
}

std::string WatchedVsyncs::problem() const { return notifyingNodeProblem(kVsyncNodeItem); }

void WatchedVsyncs::start() {
  VsyncEvent& source = *VsyncEvent::getInstance();
  source.registerCallBack(EventRecorder::onEvent, &mRecorder);
  source.startEvent(EventRecorder::onEvent);
  if (!mDisplay) {
    return;
  }
  if (!waitUntilPolled()) {
    source.pauseEvent(EventRecorder::onEvent);
    throw std::runtime_error("no event arrives from " + node());
  }
  mDisplay->start(source);
}

void WatchedVsyncs::pause() {
  if (mDisplay) {
    mDisplay->stop();
    mRecorder.waitFor(mDisplay->count(), kDrainTime);
  }
  VsyncEvent::getInstance()->pauseEvent(EventRecorder::onEvent);
}

bool WatchedVsyncs::waitUntilPolled() {
  constexpr int kAttempts = 200;
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    mDisplay->raise();
    if (mRecorder.waitFor(1, std::chrono::milliseconds(10))) {
      mRecorder.waitFor(2, kDrainTime);
      mRecorder.clear();
      return true;
    }
  }
  return false;
}

WatchedFrames::WatchedFrames(std::unique_ptr<FrameFeed> feed, const std::string& path,
                             const std::string& controlPath, int value)
    : WatchedSource(kFrames),
      mFeed(std::move(feed)),
      mControlValue(mFeed ? mFeed->controlValue() : value) {
  setNode(kGfxDataNodeItem, mFeed ? mFeed->node() : path);
  setNode(kGfxCtrlNodeItem, mFeed ? mFeed->controlNode() : controlPath);
}

std::string WatchedFrames::problem() const { return blockingNodeProblem(kGfxDataNodeItem); }

std::string WatchedFrames::controlProblem() const {
  return mFeed ? "" : nodeProblem(kGfxCtrlNodeItem, W_OK);
}

void WatchedFrames::start() {
  mWriter = holdOpenIfFifo(node());
  GfxEvent::getInstance()->registerCallBack(EventRecorder::onEvent, &mRecorder);
  GfxEvent::getInstance()->startEvent(EventRecorder::onEvent, mControlValue);
  if (mFeed) {
    mFeed->start();
  }
}

void WatchedFrames::pause() {
  if (mFeed) {
    mFeed->stop();
    mRecorder.waitFor(mFeed->count(), kDrainTime);
  }
  GfxEvent::getInstance()->pauseEvent(EventRecorder::onEvent);
}
