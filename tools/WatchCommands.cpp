#include "WatchCommands.h"

#include <ostream>

#include "AsyncEventsMgr.h"
#include "ConfigOverrides.h"
#include "NodeChecks.h"
#include "WatchGfx.h"
#include "WatchThermal.h"
#include "WatchVsync.h"
#include "config/Nodes.h"

int watchVsync(const WatchOptions& options, Console& console) {
  ConfigOverrides overrides;
  if (!options.node.empty()) {
    overrides.set(kVsyncNodeItem, options.node);
  }
  requireNode("vsync", notifyingNodeProblem(kVsyncNodeItem), "--node");
  return watchVsync(*VsyncEvent::getInstance(), options, console);
}

int watchGfx(const WatchOptions& options, Console& console) {
  ConfigOverrides overrides;
  if (!options.node.empty()) {
    overrides.set(kGfxDataNodeItem, options.node);
  }
  if (!options.control.empty()) {
    overrides.set(kGfxCtrlNodeItem, options.control);
  }
  requireNode("frame", blockingNodeProblem(kGfxDataNodeItem), "--node");
  if (const std::string problem = nodeProblem(kGfxCtrlNodeItem, W_OK); !problem.empty()) {
    if (!options.control.empty()) {
      requireNode("control", problem, "--ctrl");
    }
    console.beginNote() << "no control node: " << problem
                        << "; reports are not switched on, name one with --ctrl PATH\n";
  }
  const auto writer = holdOpenIfFifo(lmsupport::configuredNodePath(kGfxDataNodeItem));
  return watchGfx(*GfxEvent::getInstance(), options.controlValue, options, console);
}
