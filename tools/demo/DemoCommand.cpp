#include <CLI/CLI.hpp>
#include <memory>

#include "CommandLine.h"
#include "Demo.h"

void addDemo(CLI::App& app, Console& console, int& status) {
  CLI::App* const demo = app.add_subcommand("demo", "Show the library's services at work.");
  const auto options = std::make_shared<DemoOptions>();
  demo->add_option("--seconds", options->seconds, "How long to watch vsyncs, and then frames")
      ->type_name("N")
      ->capture_default_str()
      ->check(seconds(3600));
  demo->add_option("--device", options->device,
                   "Folder of the simulated device's nodes, instead of private ones")
      ->type_name("DIR");
  demo->add_option("--output", options->output,
                   "Folder for its trace and report, instead of a temporary one")
      ->type_name("DIR");
  demo->callback([=, &console, &status] { status = runDemo(*options, console); });
}
