#include "watch/Source.h"

#include <nlohmann/json.hpp>

#include "AsyncEventsMgr.h"
#include "ConfigOverrides.h"
#include "NodeChecks.h"
#include "config/Nodes.h"
#include "watch/Summary.h"
#include "watch/Trace.h"

namespace {

constexpr auto kOpenTime = std::chrono::milliseconds(50);    ///< for a source to open its node
constexpr auto kDrainTime = std::chrono::milliseconds(200);  ///< for events on their way

const WatchedSource::Kind kVsyncs = {
    "vsync",     "event",      kVsyncNodeItem,          kMicroseconds,
    printVsyncs, vsyncFigures, &TraceWriter::addVsyncs,
};
const WatchedSource::Kind kFrames = {
    "gfx",       "frame",      kGfxDataNodeItem,        kMilliseconds,
    printFrames, frameFigures, &TraceWriter::addFrames,
};

}  // namespace

WatchedSource::WatchedSource(const Kind& kind, std::unique_ptr<Feed> feed, const std::string& path)
    : mKind(kind), mFeed(std::move(feed)), mRecorder(kind.unit) {
  setNode(kind.item, mFeed ? mFeed->node() : path);
}

void WatchedSource::pause() {
  if (mFeed) {
    mFeed->stop();
    mRecorder.waitFor(mFeed->count(), kDrainTime);
  }
  pauseCallback();
}

std::string WatchedSource::node() const { return lmsupport::configuredNodePath(mKind.item); }

std::string WatchedSource::counts() const { return countText(mRecorder.latest(0), mKind.noun); }

void WatchedSource::setNode(int item, const std::string& path) {
  if (!path.empty()) {
    overrideNode(item, path);
  }
}

WatchedVsyncs::WatchedVsyncs(std::unique_ptr<Feed> feed, const std::string& path)
    : WatchedSource(kVsyncs, std::move(feed), path) {}

std::string WatchedVsyncs::problem() const { return notifyingNodeProblem(kVsyncNodeItem); }

void WatchedVsyncs::start() {
  VsyncEvent::getInstance()->registerCallBack(EventRecorder::onEvent, &mRecorder);
  VsyncEvent::getInstance()->startEvent(EventRecorder::onEvent);
  if (mFeed) {
    mRecorder.waitFor(1, kOpenTime);  // a sysfs node's first poll is answered without an event
    mRecorder.clear();
    mFeed->start();
  }
}

void WatchedVsyncs::pauseCallback() {
  VsyncEvent::getInstance()->pauseEvent(EventRecorder::onEvent);
}

WatchedFrames::WatchedFrames(std::unique_ptr<Feed> feed, const std::string& path,
                             const std::string& controlPath, int value)
    : WatchedSource(kFrames, std::move(feed), path), mControlValue(mFeed ? Feed::kRateHz : value) {
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

void WatchedFrames::pauseCallback() { GfxEvent::getInstance()->pauseEvent(EventRecorder::onEvent); }
