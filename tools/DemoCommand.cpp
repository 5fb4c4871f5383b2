#include "DemoCommand.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>
#include <ostream>

#include "Demo.h"
#include "Favourites.h"
#include "FramesDemo.h"
#include "LookupCommand.h"
#include "NodeCommands.h"
#include "ServicesCommands.h"
#include "StatsCommands.h"
#include "WatchThermal.h"

void addDemo(CLI::App& app, Console& console, int& status) {
  CLI::App* const demo = app.add_subcommand("demo", "Show the library's services at work.");
  const auto options = std::make_shared<DemoOptions>();
  demo->add_option("--seconds", options->seconds, "How long to watch vsyncs, and then frames")
      ->type_name("N")
      ->capture_default_str()
      ->check(CLI::Range(0.1, 3600.0));
  demo->add_option("--device", options->device,
                   "Folder of the simulated device's nodes, instead of a private host name node")
      ->type_name("DIR");
  demo->callback([=, &console, &status] {
    status = demonstrateLookup(console);  // while there is only one thread
    console.out << "\n";
    status = std::max(status, runDemo(*options, console));
    console.out << "\n";
    status = std::max(status, demonstrateFrames(*options, console));
    console.out << "\n";
    status = std::max(status, demonstrateFavourites(console));
    console.out << "\n";
    status = std::max(status, demonstrateStats(console));
    console.out << "\n";
    status = std::max(status, demonstrateThermal(console));
    console.out << "\n";
    status = std::max(status, demonstrateServices(console));
    console.out << "\n";
    status = std::max(status, demonstrateController(console));
  });
}
