#include "Lmctl.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <fstream>
#include <iterator>
#include <memory>
#include <ostream>

#include "ConfigOverrides.h"
#include "DbCommands.h"
#include "Demo.h"
#include "Favourites.h"
#include "FramesDemo.h"
#include "LookupCommand.h"
#include "NodeCommands.h"
#include "ServicesCommands.h"
#include "StatsCommands.h"
#include "WatchCommands.h"
#include "WatchThermal.h"

namespace {

/** The innermost subcommand that was named, with its parents: "lmctl watch vsync". */
std::string commandName(const CLI::App& app) {
  const auto named = app.get_subcommands();
  return named.empty() ? app.get_name() : app.get_name() + " " + commandName(*named.back());
}

/** A command does its work while the arguments are parsed, and leaves its status here. */
struct Run {
  Console& console;
  int status = kSuccess;
};

CLI::App* addDbCommand(CLI::App& db, Run& run, const char* name, const char* description,
                       const std::shared_ptr<DbOptions>& options,
                       int (*command)(const DbOptions&, Console&)) {
  CLI::App* const app = db.add_subcommand(name, description);
  app->add_option("FILE", options->file, "Database file")->required();
  app->add_option("TABLE", options->table, "Its table")
      ->required()
      ->check(CLI::Validator(tableNameProblem, "", ""));
  app->add_flag("--slots", options->slots, "The payload is a slot's text, not a launch count");
  const CLI::Validator isKeyText(keyTextProblem, "", "");
  app->add_option("--app", options->key.appName, "Application name")->check(isKeyText);
  app->add_option("--rsvd", options->key.rsvdName, "Second name")->check(isKeyText);
  app->add_option("--int", options->key.intcol1, "Integer column")->default_str("none");
  app->callback([=, &run] { run.status = command(*options, run.console); });
  return app;
}

void addDbPutOptions(CLI::App& put, DbOptions& options) {
  CLI::Option* const value =
      put.add_option("VALUE", options.value, "The payload: a launch count or a slot's text");
  CLI::Option* const from =
      put.add_option("--from", options.from,
                     "File of rows to add, or - for standard input: CSV with "
                     "a line of names, JSON lines or what dump --json prints");
  from->type_name("ROWS")->excludes(value);
  for (const char* const field : {"--app", "--rsvd", "--int"}) {
    from->excludes(put.get_option(field));
  }
  put.add_flag("--update", options.update, "Rows with a rowid replace the row that has it")
      ->needs(from);
  put.parse_complete_callback([=] {
    if (value->count() + from->count() == 0) {
      throw CLI::RequiredError("VALUE or --from");
    }
  });
  put.footer(
      "The names of --from are those that dump prints: rowid, int, app, rsvd, and launches\n"
      "or slot. Nothing is written unless all rows are good. Without --update, rowids are\n"
      "ignored and every row is a new one.");
}

void addDb(CLI::App& app, Run& run) {
  CLI::App* const db = app.add_subcommand("db", "Look into a row store's file.");
  db->require_subcommand(1);
  const auto options = std::make_shared<DbOptions>();
  addDbCommand(*db, run, "dump", "Print the rows that match the key.", options, dbDump)
      ->add_flag("--json", options->json, "Print a JSON array");
  addDbPutOptions(
      *addDbCommand(*db, run, "put", "Add a row with the key's fields, or the rows of a file.",
                    options, dbPut),
      *options);
  addDbCommand(*db, run, "delete", "Delete the rows that match the key; all without one.", options,
               dbDelete)
      ->add_flag("--json", options->json, "Print a JSON object");
}

void addFavourites(CLI::App& app, Run& run) {
  CLI::App* const favourites = app.add_subcommand("favourites", "The favourite applications.");
  favourites->require_subcommand(1);
  CLI::App* const rebuild = favourites->add_subcommand(
      "rebuild", "Rebuild the tables of favourites from their text, and print them.");
  const auto options = std::make_shared<FavouritesOptions>();
  rebuild->add_option("--dir", options->folder, "Folder of the three databases")
      ->type_name("DIR")
      ->required()
      ->check(CLI::ExistingDirectory);
  CLI::Option* const text =
      rebuild->add_option("--text", options->text, "Text, instead of the configured one");
  const auto file = std::make_shared<std::string>();
  rebuild->add_option("--text-file", *file, "File with the text")
      ->type_name("FILE")
      ->check(CLI::ExistingFile)
      ->excludes(text);
  rebuild->add_flag("--json", options->json, "Print a JSON object");
  rebuild->callback([=, &run] {
    if (!file->empty()) {
      std::ifstream stream(*file);
      options->text = std::string(std::istreambuf_iterator<char>(stream), {});
    }
    run.status = rebuildFavourites(*options, run.console);
  });
}

CLI::App* addStatsCommand(CLI::App& parent, Run& run, const char* name, const char* description,
                          const std::shared_ptr<StatsOptions>& options,
                          int (*command)(const StatsOptions&, Console&)) {
  CLI::App* const app = parent.add_subcommand(name, description);
  app->add_flag("--json", options->json, "Print JSON");
  app->callback([=, &run] { run.status = command(*options, run.console); });
  return app;
}

void addStats(CLI::App& app, Run& run) {
  CLI::App* const stats = app.add_subcommand(
      "stats", "Ask the kernel's statistics family; slots are as it fills them.");
  stats->require_subcommand(1);
  const auto options = std::make_shared<StatsOptions>();
  addStatsCommand(*stats, run, "pid", "Show one process.", options, statsPid)
      ->add_option("PID", options->pid, "Process identifier")
      ->required()
      ->check(CLI::Range(1, 4194304));
  addStatsCommand(*stats, run, "sys", "Show the system.", options, statsSys);
  CLI::App* const range =
      addStatsCommand(*stats, run, "range", "Show the processes in a range.", options, statsRange);
  const CLI::Range bounds(0, 65535);
  range->add_option("FIRST", options->first, "Lowest process identifier")
      ->required()
      ->check(bounds);
  range->add_option("LAST", options->last, "Highest one")->required()->check(bounds);
  addStatsCommand(*stats, run, "name", "Show the processes with a name.", options, statsName)
      ->add_option("NAME", options->name, "Process name")
      ->required();
  addStatsCommand(app, run, "mem", "Show swap and vmalloc figures.", options, showMemory);
}

void addLookup(CLI::App& app, Run& run) {
  CLI::App* const pid = app.add_subcommand(
      "pid", "Look for a process among the foreground tasks, for up to a second.");
  const auto options = std::make_shared<LookupOptions>();
  pid->add_option("NAME", options->name, "Its command's whole first word; an app's package name")
      ->required();
  pid->add_flag("--once", options->once, "Look only once, and at once");
  pid->add_flag("--json", options->json, "Print a JSON object");
  pid->callback([=, &run] { run.status = lookUpProcess(*options, run.console); });
}

void addServices(CLI::App& app, Run& run) {
  CLI::App* const services = app.add_subcommand("services", "Ask the platform's service tracker.");
  services->require_subcommand(1);
  const auto options = std::make_shared<ServicesOptions>();
  const auto add = [&](const char* name, const char* description,
                       int (*command)(const ServicesOptions&, Console&)) {
    CLI::App* const query = services->add_subcommand(name, description);
    query->add_flag("--json", options->json, "Print a JSON array");
    query->callback([=, &run] { run.status = command(*options, run.console); });
    return query;
  };
  add("clients", "Show the services connected to a service.", servicesClients)
      ->add_option("NAME", options->name, "Service name")
      ->required();
  add("pids", "Show the processes of services.", servicesPids)
      ->add_option("NAME", options->names, "Service names")
      ->required();
  add("active", "Show the processes of all active services.", servicesActive);
}

void addNode(CLI::App& app, Run& run) {
  CLI::App* const node = app.add_subcommand("node", "Kernel nodes by their item.");
  node->require_subcommand(1);
  CLI::App* const write = node->add_subcommand("write", "Write a text to an item's node.");
  const auto item = std::make_shared<int>();
  const auto value = std::make_shared<std::string>();
  write->add_option("ITEM", *item, "Item number")->required();
  write->add_option("VALUE", *value, "Text, written as it is")->required();
  write->callback([=, &run] { run.status = writeNode(*item, *value, run.console); });
}

/** Options of lmctl itself may follow the command, too. */
void addItems(CLI::App& app, ConfigOverrides& overrides) {
  app.fallthrough();
  app.add_option_function<std::vector<std::string>>(
         "--item",
         [&overrides](const std::vector<std::string>& items) {
           for (const std::string& item : items) {
             const std::size_t equals = item.find('=');
             overrides.set(std::stoi(item), item.substr(equals + 1));
           }
         },
         "Node of an item, instead of the configured one; repeatable")
      ->type_name("N=PATH")
      ->allow_extra_args(false)
      ->check(CLI::Validator(itemProblem, "", ""));
}

void addDemo(CLI::App& app, Run& run) {
  CLI::App* const demo = app.add_subcommand("demo", "Show the library's services at work.");
  const auto options = std::make_shared<DemoOptions>();
  demo->add_option("--seconds", options->seconds, "How long to watch vsyncs, and then frames")
      ->type_name("N")
      ->capture_default_str()
      ->check(CLI::Range(0.1, 3600.0));
  demo->add_option("--device", options->device,
                   "Folder of the simulated device's nodes, instead of a private host name node")
      ->type_name("DIR");
  demo->callback([=, &run] {
    run.status = demonstrateLookup(run.console);  // while there is only one thread
    run.console.out << "\n";
    run.status = std::max(run.status, runDemo(*options, run.console));
    run.console.out << "\n";
    run.status = std::max(run.status, demonstrateFrames(*options, run.console));
    run.console.out << "\n";
    run.status = std::max(run.status, demonstrateFavourites(run.console));
    run.console.out << "\n";
    run.status = std::max(run.status, demonstrateStats(run.console));
    run.console.out << "\n";
    run.status = std::max(run.status, demonstrateThermal(run.console));
    run.console.out << "\n";
    run.status = std::max(run.status, demonstrateServices(run.console));
    run.console.out << "\n";
    run.status = std::max(run.status, demonstrateController(run.console));
  });
}

}  // namespace

int lmctl(int argc, const char* const* argv, Console& console) try {
  CLI::App app("Tries out the services of liblmsupport.", "lmctl");
  app.require_subcommand(1);
  ConfigOverrides items;
  addItems(app, items);
  Run run{console};
  addWatch(app, console, run.status);
  addDb(app, run);
  addFavourites(app, run);
  addStats(app, run);
  addLookup(app, run);
  addServices(app, run);
  addNode(app, run);
  addDemo(app, run);
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
  return run.status;
} catch (const std::exception& e) {
  console.err << "lmctl: " << e.what() << "\n";
  return kFailure;
}
