#include "Lmctl.h"

#include <CLI/CLI.hpp>
#include <ostream>

#include "AsyncEventsMgr.h"
#include "Demo.h"
#include "NodeOverrides.h"
#include "WatchVsync.h"

namespace {

/** The innermost subcommand that was named, with its parents: "lmctl watch vsync". */
std::string commandName(const CLI::App& app) {
  const auto named = app.get_subcommands();
  return named.empty() ? app.get_name() : app.get_name() + " " + commandName(*named.back());
}

int runWatchVsync(const std::string& node, const WatchOptions& options, Console& console) {
  NodeOverrides nodes;
  if (!node.empty()) {
    nodes.set(kVsyncNodeItem, node);
  }
  if (const std::string problem = nodeProblem(kVsyncNodeItem); !problem.empty()) {
    console.err << "lmctl: no vsync node: " << problem << "; name one with --node PATH\n";
    return kFailure;
  }
  return watchVsync(*VsyncEvent::getInstance(), options, console);
}

}  // namespace

int lmctl(int argc, const char* const* argv, Console& console) try {
  CLI::App app("Tries out the services of liblmsupport.", "lmctl");
  app.require_subcommand(1);
  int status = kSuccess;

  CLI::App* const watch = app.add_subcommand("watch", "Show events as they arrive.");
  watch->require_subcommand(1);
  CLI::App* const vsync = watch->add_subcommand("vsync", "Show the display's vsync events.");
  std::string node;
  WatchOptions watchOptions;
  vsync->add_option("--node", node, "Kernel node to poll, instead of the configured one")
      ->type_name("PATH")
      ->check(CLI::Validator(nodePathProblem, "", ""));
  vsync
      ->add_option("--seconds", watchOptions.seconds,
                   "How long to watch, up to a day; until Ctrl-C when not given")
      ->type_name("N")
      ->check(CLI::Range(0.1, 86400.0));
  vsync->add_flag("--json", watchOptions.json, "Print one JSON object at the end");
  vsync->callback([&] { status = runWatchVsync(node, watchOptions, console); });

  CLI::App* const demo =
      app.add_subcommand("demo", "Notify a real kernel node at 60 Hz and measure the delivery.");
  DemoOptions demoOptions;
  demo->add_option("--seconds", demoOptions.seconds, "How long")
      ->type_name("N")
      ->capture_default_str()
      ->check(CLI::Range(0.1, 3600.0));
  demo->add_option("--device", demoOptions.device,
                   "Folder of the simulated device's nodes, instead of a private host name node")
      ->type_name("DIR");
  demo->callback([&] { status = runDemo(demoOptions, console); });

  try {
    app.parse(argc, argv);
  } catch (const CLI::CallForHelp&) {
    console.out << app.help();
  } catch (const CLI::ParseError& e) {
    const std::string command = commandName(app);
    const auto unknown = app.remaining(true);
    console.err << command << ": "
                << (unknown.empty() ? e.what() : "unexpected argument '" + unknown.front() + "'")
                << "; see '" << command << " --help'\n";
    return kUsage;
  }
  return status;
} catch (const std::exception& e) {
  console.err << "lmctl: " << e.what() << "\n";
  return kFailure;
}
