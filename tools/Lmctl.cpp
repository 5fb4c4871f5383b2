#include "Lmctl.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cctype>
#include <climits>
#include <ostream>
#include <string>
#include <vector>

#include <android-base/scopeguard.h>

#include "Commands.h"
#include "ConfigOverrides.h"
#include "Output.h"
#include "config/DynamicLoader.h"
#include "db/Db.h"
#include "demo/Demo.h"
#include "report/Report.h"
#include "watch/Watch.h"

namespace {

using CLI::App;
using CLI::Option;
using CLI::Range;

constexpr int kHighestPid = 4194304;
constexpr int kHighestPidOfRange = 65535;
constexpr double kHour = 3600;
constexpr double kDay = 24 * kHour;
constexpr std::size_t kHelpColumn = 26;

constexpr char kFooter[] =
    "With --json a command prints an array of objects, whose members are named as the\n"
    "columns of its table, or one object for a single result; watch does at its end.\n"
    "Durations name their unit, what is unknown is null, and numbers from 2^53 on,\n"
    "which many readers round, are texts.";

/** What is wrong with a value, as the functions below; empty when it is good. */
std::string textProblem(const std::string& text) { return text.empty() ? "it is empty" : ""; }

std::string nodeProblem(const std::string& path) {
  return path.size() < kConfigValueSize
             ? textProblem(path)
             : "the path is longer than " + std::to_string(kConfigValueSize - 1) + " bytes";
}

std::string itemProblem(const std::string& text) {
  constexpr std::size_t kMostDigits = 9;
  const std::size_t equals = text.find_first_not_of("0123456789");
  return equals > 0 && equals <= kMostDigits && text[equals] == '='
             ? nodeProblem(text.substr(equals + 1))
             : "'" + text + "' is not an item's number, '=' and a path";
}

/** A table's name goes unquoted into SQL. */
std::string tableProblem(const std::string& text) {
  const auto isPart = [](unsigned char c) { return std::isalnum(c) != 0 || c == '_'; };
  const bool isGood = !text.empty() && std::isdigit(static_cast<unsigned char>(text[0])) == 0 &&
                      std::all_of(text.begin(), text.end(), isPart);
  return isGood ? "" : "a table's name is letters, digits and underscores";
}

/** A key's texts go unescaped into SQL, and an empty one stands for none. */
std::string keyProblem(const std::string& text) {
  return text.find('\'') == std::string::npos ? textProblem(text)
                                              : "a quote cannot be part of a key";
}

/** Adds an option, used as "--name TYPE", or an argument, which must be there. */
template <typename Value, typename Problem = decltype(&textProblem)>
Option* addOption(App& command, const std::string& usage, Value& value, const char* description,
                  const Problem& problem = textProblem) {
  const std::string name = usage.substr(0, usage.find(' '));
  const std::string type = usage.substr(std::min(name.size() + 1, usage.size()));
  Option* const option = command.add_option(name, value, description)->check(problem);
  return option->option_text(type.empty() ? " " : type)->required(name[0] != '-');
}

void addSeconds(App& command, double& value, const char* description, double most = kHour) {
  addOption(command, "--seconds N", value, description, Range(0.1, most));
}

void addSample(App& command, bool& sample) {
  command.add_flag("--sample", sample, "Watch events that lmctl makes itself");
}

/** An option for a node, of a command with addSample(). */
void addNode(App& command, const char* usage, std::string& path, const char* description) {
  addOption(command, usage, path, description, nodeProblem)->excludes("--sample");
}

/** The options for what switches frame reports on. */
void addSwitch(App& command, std::string& node, int& value) {
  addNode(command, "--ctrl PATH", node, "Node that switches reports on and off");
  addOption(command, "--value N", value, "Value that switches them on [1]",
            Range(INT_MIN, INT_MAX));
}

App& addGroup(App& parent, const char* name, const char* description) {
  return *parent.add_subcommand(name, description)->require_subcommand(1);
}

/** The command that was named, as "lmctl watch vsync". */
std::string namedCommand(const App& app) {
  const auto named = app.get_subcommands();
  return app.get_name() + (named.empty() ? "" : " " + namedCommand(*named.back()));
}

/** lmctl's commands with their options. To parse a command line is to run its command. */
class CommandLine {
 public:
  explicit CommandLine(Console& console) : mConsole(console) {
    mApp.require_subcommand(1);
    mApp.fallthrough();  // options of lmctl itself may follow the command, too
    mApp.get_formatter()->column_width(kHelpColumn);
    mApp.get_formatter()->label("SUBCOMMAND", "COMMAND");
    mApp.get_formatter()->label("OPTIONS", "OPTION...");
    mApp.set_help_flag("-h,--help", "Show what lmctl or a command takes");
    mApp.set_version_flag("--version", versionText)->description("Show the version and libraries");
    addItems();
    mApp.group("First steps");  // of the commands that follow
    addFirstSteps();
    mApp.group("Events");
    addWatch();
    addReport();
    mApp.group("Processes and system");
    addLookup();
    addStats();
    add(mApp, "mem", "Show swap and vmalloc figures.", showMemory, mQuery);
    addServices();
    addNodeWrite();
    mApp.group("Row stores");
    addDb();
    addFavourites();
    mApp.footer(kFooter);
  }

  /** Returns an ExitStatus. */
  int parse(int argc, const char* const* argv) try {
    mApp.parse(argc, argv);
    return mStatus;
  } catch (const CLI::ParseError& e) {
    if (const auto unknown = mApp.remaining(true); !unknown.empty()) {
      return fail("unexpected '" + unknown.front() + "'", kUsage);
    }
    const bool isAnswer = e.get_exit_code() == kSuccess;  // help or the version
    return isAnswer ? mApp.exit(e, mConsole.out) : fail(e.what(), kUsage);
  } catch (const UsageError& e) {
    return fail(e.what(), kUsage);
  } catch (const std::exception& e) {
    return fail(e.what(), kFailure);
  }

 private:
  /** Adds a command that runs with its options, and --json when these have it. */
  template <typename Options>
  App& add(App& parent, const char* name, const char* description,
           int (*run)(const Options&, Console&), Options& options) {
    App& command = *parent.add_subcommand(name, description);
    command.callback([this, run, &options] { mStatus = run(options, mConsole); });
    if constexpr (requires { options.json; }) {
      command.add_flag("--json", options.json, "Print JSON instead");
    }
    return command;
  }

  void addItems() {
    addOption(mApp, "--item N=PATH", mItems, "Node of an item, not the configured one; repeatable",
              itemProblem)
        ->allow_extra_args(false)
        ->each([](const std::string& item) {
          overrideNode(std::stoi(item), item.substr(item.find('=') + 1));
        });
  }

  void addFirstSteps() {
    App& demo = add(mApp, "demo", "Show the library's services at work.", runDemo, mDemo);
    addSeconds(demo, mDemo.seconds, "How long to watch vsyncs, and frames [3]");
    addOption(demo, "--device DIR", mDemo.device, "Folder of the simulated device's nodes");
    addOption(demo, "--output DIR", mDemo.output, "Folder for its trace and report");
    App& doctor = add(mApp, "doctor", "Report which services can work here.", examine, mQuery);
    addOption(doctor, "SERVICE ...", mQuery.names, "Fail unless these services work")
        ->required(false);
  }

  App& addSource(App& watch, const char* name, const char* description,
                 int (*run)(const WatchOptions&, Console&)) {
    App& source = add(watch, name, description, run, mWatch);
    addSample(source, mWatch.sample);
    addSeconds(source, mWatch.seconds, "How long to watch; until Ctrl-C if not given", kDay);
    return source;
  }

  void addWatch() {
    App& watch = addGroup(mApp, "watch", "Show events as they arrive.");
    App& vsync = addSource(watch, "vsync", "Show the display's vsync events.", watchVsync);
    App& gfx =
        addSource(watch, "gfx", "Show the graphics frames that the kernel reports.", watchGfx);
    addSource(watch, "thermal", "Keep the thermal listener fetching; show its zones.",
              watchThermal);
    for (App* const source : {&vsync, &gfx}) {
      addOption(*source, "--trace FILE", mWatch.trace, "File for a trace, for ui.perfetto.dev");
    }
    addNode(vsync, "--node PATH", mWatch.node, "Kernel node to poll, not the configured one");
    addNode(gfx, "--node PATH", mWatch.node, "Node or FIFO to read, not the configured one");
    addSwitch(gfx, mWatch.control, mWatch.controlValue);
    gfx.footer(
        "The node's times are taken for microseconds. A frame is late that starts more\n"
        "than 1.5 periods after the one before it; the period is the median of these\n"
        "intervals. The library computes them in single precision: they are coarse when\n"
        "the node's times are large.");
  }

  void addReport() {
    App& report = add(mApp, "report", "Watch for a while; show all figures on one page.",
                      makeReport, mReport);
    addSeconds(report, mReport.seconds, "How long to watch [10]");
    addOption(report, "-o,--output FILE", mReport.output,
              "HTML file to make; - for standard output");
    addSample(report, mReport.sample);
    addNode(report, "--node PATH", mReport.vsyncNode, "Vsync node to poll");
    addNode(report, "--frame-node PATH", mReport.frameNode, "Frame node or FIFO to read");
    addSwitch(report, mReport.controlNode, mReport.controlValue);
  }

  void addLookup() {
    App& pid =
        add(mApp, "pid", "Find a process among the foreground tasks.", lookUpProcess, mQuery);
    addOption(pid, "NAME", mQuery.name, "First word of its command line; an app's package");
    pid.add_flag("--once", mQuery.once, "Look once, without waiting");
  }

  void addStats() {
    App& stats = addGroup(mApp, "stats", "Ask the kernel's statistics family.");
    App& pid = add(stats, "pid", "Show one process; slots are as the kernel fills them.", statsPid,
                   mQuery);
    addOption(pid, "PID", mQuery.number, "Process identifier", Range(1, kHighestPid));
    add(stats, "sys", "Show the system.", statsSys, mQuery);
    App& range =
        add(stats, "range", "Show the processes in a range, one a line.", statsRange, mQuery);
    const Range pids(0, kHighestPidOfRange);
    addOption(range, "FIRST", mQuery.first, "Lowest identifier", pids);
    addOption(range, "LAST", mQuery.last, "Highest identifier", pids);
    App& name = add(stats, "name", "Show the processes with a name.", statsName, mQuery);
    addOption(name, "NAME", mQuery.name, "Process name");
  }

  void addServices() {
    App& services = addGroup(mApp, "services", "Ask the platform's service tracker.");
    App& clients = add(services, "clients", "Show the services connected to a service.",
                       servicesClients, mQuery);
    addOption(clients, "NAME", mQuery.name, "Service name");
    App& pids = add(services, "pids", "Show the processes of services.", servicesPids, mQuery);
    addOption(pids, "NAME ...", mQuery.names, "Service names");
    add(services, "active", "Show the processes of all active services.", servicesActive, mQuery);
  }

  void addNodeWrite() {
    App& node = addGroup(mApp, "node", "Write to kernel nodes by their item.");
    App& write =
        add(node, "write", "Write a text to an item's node, and read it back.", writeNode, mQuery);
    addOption(write, "ITEM", mQuery.number, "Item number", Range(0, INT_MAX));
    addOption(write, "VALUE", mQuery.text, "Text, written as it is", CLI::Validator());
  }

  /** The file, the table and a row's fields, by which rows are selected, too. */
  void addKey(App& command) {
    addOption(command, "FILE", mDb.file, "Database file");
    addOption(command, "TABLE", mDb.table, "Its table", tableProblem);
    LMDBDataRowKey& key = mDb.key;
    addOption(command, "--app NAME", key.appName, "Application, for rows of launches", keyProblem);
    addOption(command, "--slot NAME", key.appName, "Time slot, for rows of apps", keyProblem)
        ->excludes("--app")
        ->each([this](const std::string&) { mDb.isSlot = true; });
    addOption(command, "--rsvd NAME", key.rsvdName, "Second name column", keyProblem);
    addOption(command, "--int N", key.intcol1, "Integer column", Range(INT_MIN, kNoIntcol1 - 1));
  }

  void addDb() {
    App& db = addGroup(mApp, "db", "Look into a row store's file.");
    App& tables = add(db, "tables", "List a file's tables.", dbTables, mDb);
    addOption(tables, "FILE", mDb.file, "Database file");
    App& dump = add(db, "dump", "Print the rows that match the options.", dbDump, mDb);
    addKey(dump);
    dump.footer(
        "With --json each row is an object on its own line. A payload that is neither\n"
        "launches nor apps is in hexadecimal.");
    App& put = add(db, "put", "Add a row of these fields, or those of a file.", dbPut, mDb);
    addKey(put);
    put.add_option("VALUE", mDb.value, "A count for --app, a text of apps for --slot")
        ->option_text(" ");
    addOption(put, "--from FILE", mDb.from, "What dump --json prints; - for standard input");
    put.footer("Nothing is written unless all rows of a file are good. Their rowids go unused.");
    App& remove = add(db, "delete", "Delete the rows that match the options.", dbDelete, mDb);
    addKey(remove);
    remove.add_flag("--all", mDb.all, "Delete all rows");
  }

  void addFavourites() {
    App& group = addGroup(mApp, "favourites", "Work with the favourite applications.");
    App& rebuild = add(group, "rebuild", "Rebuild the tables of favourites; print them.",
                       rebuildFavourites, mDb);
    addOption(rebuild, "--dir DIR", mDb.file, "Folder of the three databases")->required();
    addOption(rebuild, "--text TEXT", mDb.value, "Text, instead of the configured one",
              CLI::Validator());
    addOption(rebuild, "--text-file FILE", mDb.from, "File with it; - for standard input")
        ->excludes("--text");
  }

  int fail(const std::string& problem, int status) const {
    const std::string command = namedCommand(mApp);
    mConsole.beginError(command) << visible(problem)
                                 << (status == kUsage ? "; see '" + command + " --help'" : "")
                                 << "\n";
    return status;
  }

  App mApp{"Tries out the services of liblmsupport.", "lmctl"};
  Console& mConsole;
  int mStatus = kSuccess;
  std::vector<std::string> mItems{};
  DemoOptions mDemo{};
  WatchOptions mWatch{};
  ReportOptions mReport{};
  QueryOptions mQuery{};
  DbOptions mDb{};
};

}  // namespace

int lmctl(int argc, const char* const* argv, Console& console) {
  const auto forget = android::base::make_scope_guard(clearOverrides);
  return CommandLine(console).parse(argc, argv);
}
