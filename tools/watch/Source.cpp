#include "watch/Source.h"

#include <nlohmann/json.hpp>

#include "AsyncEventsMgr.h"
#include "NodeChecks.h"
#include "config/Nodes.h"
#include "watch/Summary.h"
#include "watch/Trace.h"

WatchedVsyncs::WatchedVsyncs(bool sample, const std::string& path) : WatchedSource(kMicroseconds) {
  if (sample) {
    mOverrides.set(kVsyncNodeItem, mSample.emplace().node());
  } else if (!path.empty()) {
    mOverrides.set(kVsyncNodeItem, path);
  }
}

std::string WatchedVsyncs::node() const { return lmsupport::configuredNodePath(kVsyncNodeItem); }

std::string WatchedVsyncs::problem() const { return notifyingNodeProblem(kVsyncNodeItem); }

void WatchedVsyncs::start() {
  VsyncEvent& source = *VsyncEvent::getInstance();
  source.registerCallBack(EventRecorder::onEvent, &mRecorder);
  source.startEvent(EventRecorder::onEvent);
  if (mSample) {
    mSample->start(source);
  }
}

void WatchedVsyncs::pause() {
  if (mSample) {
    mSample->stop();
  }
  VsyncEvent::getInstance()->pauseEvent(EventRecorder::onEvent);
}

void WatchedVsyncs::print(const Recording& recording, std::ostream& out) const {
  printVsyncs(recording, out);
}

nlohmann::ordered_json WatchedVsyncs::figures(const Recording& recording) const {
  return vsyncFigures(recording);
}

void WatchedVsyncs::addTo(TraceWriter& trace, const Recording& recording) const {
  trace.addInstants("vsync", recording.arrivals);
}

WatchedFrames::WatchedFrames(bool sample, const std::string& path, const std::string& controlPath,
                             int value)
    : WatchedSource(kMilliseconds), mControlValue(value) {
  if (sample) {
    mSample.emplace();
    mOverrides.set(kGfxDataNodeItem, mSample->node());
    mOverrides.set(kGfxCtrlNodeItem, mSample->controlNode());
    return;
  }
  if (!path.empty()) {
    mOverrides.set(kGfxDataNodeItem, path);
  }
  if (!controlPath.empty()) {
    mOverrides.set(kGfxCtrlNodeItem, controlPath);
  }
}

std::string WatchedFrames::node() const { return lmsupport::configuredNodePath(kGfxDataNodeItem); }

std::string WatchedFrames::problem() const { return blockingNodeProblem(kGfxDataNodeItem); }

std::string WatchedFrames::controlProblem() const {
  return mSample ? "" : nodeProblem(kGfxCtrlNodeItem, W_OK);
}

void WatchedFrames::start() {
  mWriter = holdOpenIfFifo(node());
  GfxEvent::getInstance()->registerCallBack(EventRecorder::onEvent, &mRecorder);
  GfxEvent::getInstance()->startEvent(EventRecorder::onEvent, mControlValue);
  if (mSample) {
    mSample->start();
  }
}

void WatchedFrames::pause() {
  if (mSample) {
    mSample->stop();
  }
  GfxEvent::getInstance()->pauseEvent(EventRecorder::onEvent);
}

void WatchedFrames::print(const Recording& recording, std::ostream& out) const {
  printFrames(recording, out);
}

nlohmann::ordered_json WatchedFrames::figures(const Recording& recording) const {
  return frameFigures(recording);
}

void WatchedFrames::addTo(TraceWriter& trace, const Recording& recording) const {
  trace.addFrames(recording);
}
