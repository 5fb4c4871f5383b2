#include "report/ReportCommand.h"

#include <memory>
#include <ostream>

#include "AsyncEventsMgr.h"
#include "ConfigOverrides.h"
#include "FrameRecorder.h"
#include "NodeChecks.h"
#include "OutputFile.h"
#include "Progress.h"
#include "config/Nodes.h"
#include "report/ReportPage.h"
#include "report/ReportRecord.h"
#include "testing/EventRecorder.h"

namespace {

/** Puts paths that were given in front of the configured ones. */
void setNodes(const ReportOptions& options, ConfigOverrides& overrides) {
  for (const auto& [item, path] : {std::pair{kVsyncNodeItem, options.vsyncNode},
                                   std::pair{kGfxDataNodeItem, options.frameNode},
                                   std::pair{kGfxCtrlNodeItem, options.controlNode}}) {
    if (!path.empty()) {
      overrides.set(item, path);
    }
  }
}

/**
 * Whether a source can be watched; notes why not. Throws std::runtime_error when that is a node which
 * was named.
 */
bool isUsable(const char* part, const std::string& problem, const std::string& named,
              const char* option, Watched& watched) {
  if (!named.empty()) {
    requireNode(part, problem, option);
  }
  if (!problem.empty()) {
    watched.leftOut.emplace_back(part, problem + "; name a node with " + option + " PATH");
  }
  return problem.empty();
}

std::string countsLine(const EventRecorder* events, const FrameRecorder* frames) {
  const std::string vsyncs = events == nullptr ? "" : std::to_string(events->count()) + " vsyncs";
  const std::string started = frames == nullptr ? "" : frames->progressLine();
  return vsyncs + (vsyncs.empty() || started.empty() ? "" : "   ") + started;
}

/** Watches the sources that can be watched until time or a signal ends it. */
void watchSources(bool vsync, bool gfx, const ReportOptions& options, Console& console,
                  Watched& watched) {
  const StopSignals signals;
  EventRecorder events;
  FrameRecorder frames;
  const std::string framePath = lmsupport::configuredNodePath(kGfxDataNodeItem);
  const auto writer = holdOpenIfFifo(gfx ? framePath : "");
  const Clock::time_point begin = Clock::now();
  if (vsync) {
    VsyncEvent::getInstance()->registerCallBack(EventRecorder::onEvent, &events);
    VsyncEvent::getInstance()->startEvent(EventRecorder::onEvent);
  }
  if (gfx) {
    GfxEvent::getInstance()->registerCallBack(FrameRecorder::onEvent, &frames);
    GfxEvent::getInstance()->startEvent(FrameRecorder::onEvent, options.controlValue);
  }
  const auto line = [&] { return countsLine(vsync ? &events : nullptr, gfx ? &frames : nullptr); };
  showProgress(console, signals, begin + fromSeconds(options.seconds),
               options.json ? ProgressLine() : line);
  if (vsync) {
    VsyncEvent::getInstance()->pauseEvent(EventRecorder::onEvent);
    const std::string path = lmsupport::configuredNodePath(kVsyncNodeItem);
    watched.vsync = {{path, begin, Clock::now()}, {events.arrivals()}};
  }
  if (gfx) {
    GfxEvent::getInstance()->pauseEvent(FrameRecorder::onEvent);
    watched.frames = {{framePath, begin, Clock::now()}, frames.times()};
  }
}

}  // namespace

int makeReport(const ReportOptions& options, Console& console) {
  if (options.output.empty() && !options.json) {
    throw UsageError("no file for the page; name one with --output, or give --json");
  }
  ConfigOverrides overrides;
  setNodes(options, overrides);
  Watched watched;
  const bool vsync =
      isUsable("vsync", notifyingNodeProblem(kVsyncNodeItem), options.vsyncNode, "--node", watched);
  const bool gfx = isUsable("frames", blockingNodeProblem(kGfxDataNodeItem), options.frameNode,
                            "--frame-node", watched);
  if (!vsync && !gfx) {
    throw std::runtime_error("nothing to watch: " + watched.leftOut[0].second + "; " +
                             watched.leftOut[1].second);
  }
  if (gfx) {
    isUsable("control", nodeProblem(kGfxCtrlNodeItem, W_OK), options.controlNode, "--ctrl",
             watched);
  }
  std::optional<OutputFile> page;
  if (!options.output.empty()) {
    page.emplace(options.output, console.out);
  }
  addFigures(watched);
  addConfiguredFavourites(watched);
  for (const auto& [part, reason] : watched.leftOut) {
    console.beginNote() << "left out " << part << ": " << reason << "\n";
  }
  watchSources(vsync, gfx, options, console, watched);

  const Rows record = makeRecord(watched);
  if (options.json) {
    printJson(record, console.out);
  }
  if (page) {
    page->stream() << reportPage(record);
    page->finish();
  }
  if (!options.json) {
    console.out << options.output << "\n";
  }
  return kSuccess;
}
