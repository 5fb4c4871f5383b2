#include "WatchCommands.h"

#include <CLI/CLI.hpp>
#include <memory>
#include <ostream>

#include "AsyncEventsMgr.h"
#include "CommandLine.h"
#include "ConfigOverrides.h"
#include "WatchGfx.h"
#include "WatchThermal.h"
#include "WatchVsync.h"
#include "config/Nodes.h"

namespace {

/** Nodes to use instead of the configured ones, when given. */
struct NodeOptions {
  std::string node;
  std::string control;
  int controlValue = 1;
};

int runWatchVsync(const NodeOptions& nodes, const WatchOptions& options, Console& console) {
  ConfigOverrides overrides;
  if (!nodes.node.empty()) {
    overrides.set(kVsyncNodeItem, nodes.node);
  }
  requireNode("vsync", notifyingNodeProblem(kVsyncNodeItem), "--node");
  return watchVsync(*VsyncEvent::getInstance(), options, console);
}

int runWatchGfx(const NodeOptions& nodes, const WatchOptions& options, Console& console) {
  ConfigOverrides overrides;
  if (!nodes.node.empty()) {
    overrides.set(kGfxDataNodeItem, nodes.node);
  }
  if (!nodes.control.empty()) {
    overrides.set(kGfxCtrlNodeItem, nodes.control);
  }
  requireNode("frame", blockingNodeProblem(kGfxDataNodeItem), "--node");
  if (const std::string problem = nodeProblem(kGfxCtrlNodeItem, W_OK); !problem.empty()) {
    if (!nodes.control.empty()) {
      requireNode("control", problem, "--ctrl");
    }
    console.beginNote() << "no control node: " << problem
                        << "; reports are not switched on, name one with --ctrl PATH\n";
  }
  const auto writer = holdOpenIfFifo(lmsupport::configuredNodePath(kGfxDataNodeItem));
  return watchGfx(*GfxEvent::getInstance(), nodes.controlValue, options, console);
}

void addWatchOptions(CLI::App& source, WatchOptions& options) {
  source
      .add_option("--seconds", options.seconds,
                  "How long to watch, up to a day; until Ctrl-C when not given")
      ->type_name("N")
      ->check(seconds(86400));
  addJson(source, options.json, "an object {source, seconds, and what was watched}, at the end");
}

void addTraceOption(CLI::App& source, WatchOptions& options) {
  source.add_option("--trace", options.trace, "File to replace with a trace for ui.perfetto.dev")
      ->type_name("FILE")
      ->check(notEmpty());
}

}  // namespace

void addWatch(CLI::App& app, Console& console, int& status) {
  CLI::App* const watch = app.add_subcommand("watch", "Show events as they arrive.");
  watch->require_subcommand(1);
  const auto options = std::make_shared<WatchOptions>();
  const auto nodes = std::make_shared<NodeOptions>();

  CLI::App* const vsync = watch->add_subcommand("vsync", "Show the display's vsync events.");
  addNodeOption(*vsync, "--node", nodes->node,
                "Kernel node to poll, instead of the configured one");
  addWatchOptions(*vsync, *options);
  addTraceOption(*vsync, *options);
  vsync->callback([=, &console, &status] { status = runWatchVsync(*nodes, *options, console); });

  CLI::App* const gfx =
      watch->add_subcommand("gfx", "Show the graphics frames that the kernel reports.");
  gfx->footer(
      "The node's times are taken for microseconds. A frame is late that starts more\n"
      "than 1.5 periods after the one before it; the period is the median of these\n"
      "intervals. The library computes them in single precision: they are coarse when\n"
      "the node's times are large.");
  addNodeOption(*gfx, "--node", nodes->node, "Node or FIFO to read, instead of the configured one");
  addNodeOption(*gfx, "--ctrl", nodes->control, "Node that switches reports on and off, likewise");
  gfx->add_option("--value", nodes->controlValue, "What switches them on; -1 switches them off")
      ->type_name("N")
      ->capture_default_str()
      ->transform(wholeNumber());
  addWatchOptions(*gfx, *options);
  addTraceOption(*gfx, *options);
  gfx->callback([=, &console, &status] { status = runWatchGfx(*nodes, *options, console); });

  CLI::App* const thermal =
      watch->add_subcommand("thermal", "Keep the thermal listener fetching; show its zones.");
  addWatchOptions(*thermal, *options);
  thermal->callback([=, &console, &status] { status = watchThermal(*options, console); });
}
