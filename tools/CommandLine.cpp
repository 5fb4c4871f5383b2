#include <CLI/CLI.hpp>
#include <algorithm>
#include <cctype>
#include <charconv>
#include <climits>
#include <cstdlib>
#include <memory>

#include "Commands.h"
#include "ConfigOverrides.h"
#include "Lmctl.h"
#include "db/Db.h"
#include "demo/Demo.h"
#include "report/Report.h"
#include "watch/Watch.h"

namespace {

constexpr int kHighestPid = 4194304;
constexpr int kHighestPidOfRange = 65535;
constexpr int kDay = 86400;

/** A whole number in decimal from low to high, for which CLI11 would take an octal one, too. */
CLI::Validator wholeNumber(std::int64_t low, std::int64_t high) {
  const auto normalize = [low, high](std::string& text) -> std::string {
    std::int64_t value = 0;
    const char* const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc() || rest != end || value < low || value > high) {
      return "'" + text + "' is not a whole number from " + std::to_string(low) + " to " +
             std::to_string(high);
    }
    text = std::to_string(value);
    return {};
  };
  return {normalize, ""};
}

using Check = std::string (*)(const std::string& text);

std::string nameProblem(const std::string& name) { return name.empty() ? "the name is empty" : ""; }

std::string nodePathProblem(const std::string& path) {
  if (path.empty()) {
    return "the path is empty";
  }
  return path.size() < kConfigValueSize
             ? ""
             : "the path is longer than " + std::to_string(kConfigValueSize - 1) + " bytes";
}

std::string itemProblem(const std::string& text) {
  const std::size_t equals = text.find('=');
  const char* const end = text.data() + std::min(equals, text.size());
  unsigned item = 0;
  const auto [rest, error] = std::from_chars(text.data(), end, item);
  const bool good = error == std::errc() && rest == end && item <= unsigned{INT_MAX};
  if (equals == std::string::npos || !good) {
    return "'" + text + "' is not an item's number, '=' and a path";
  }
  return nodePathProblem(text.substr(equals + 1));
}

/** A table's name goes unquoted into SQL. */
std::string tableProblem(const std::string& text) {
  const auto isPart = [](unsigned char c) { return std::isalnum(c) != 0 || c == '_'; };
  const bool good = !text.empty() && std::isdigit(static_cast<unsigned char>(text.front())) == 0 &&
                    std::all_of(text.begin(), text.end(), isPart);
  return good ? "" : "a table's name is letters, digits and underscores";
}

/** A key's texts go unescaped into SQL, and an empty one stands for none. */
std::string keyProblem(const std::string& text) {
  if (text.empty()) {
    return "an empty text cannot be part of a key";
  }
  return text.find('\'') == std::string::npos ? "" : "a quote cannot be part of a key";
}

/** The type of an argument, which has no dash and must be there. */
constexpr char kNeeded[] = " ";

CLI::Option* addOption(CLI::App& command, const char* name, std::string& value, const char* type,
                       const char* description, Check check = nameProblem) {
  CLI::Option* const option = command.add_option(name, value, description);
  return option->option_text(type)->required(*name != '-')->check(check);
}

void addNumber(CLI::App& command, const char* name, int& value, const char* type,
               const char* description, int low = INT_MIN, int high = INT_MAX) {
  CLI::Option* const option = command.add_option(name, value, description);
  option->option_text(type)->required(*name != '-')->transform(wholeNumber(low, high));
}

void addNode(CLI::App& command, const char* name, std::string& path, const char* description) {
  addOption(command, name, path, "PATH", description, nodePathProblem);
}

void addSeconds(CLI::App& command, double& value, const char* description, int most = 3600) {
  const auto check = [most](const std::string& text) -> std::string {
    char* end = nullptr;
    const double seconds = std::strtod(text.c_str(), &end);
    const bool good = *end == '\0' && seconds >= 0.1 && seconds <= most;  // not for NaN
    return good ? "" : "'" + text + "' is not a number from 0.1 to " + std::to_string(most);
  };
  command.add_option("--seconds", value, description)->option_text("N")->check(check);
}

/** The commands below one. All share their options; those that are not given stay as they are. */
template <typename Options>
class Commands {
 public:
  Commands(CLI::App& parent, Command& command) : mParent(parent), mCommand(command) {}

  /** Adds a command, which may print with --json what json says. */
  CLI::App& add(const char* name, const char* description, int (*run)(const Options&, Console&),
                const std::string& json = "") const {
    CLI::App* const app = mParent.add_subcommand(name, description)->group("Commands");
    app->callback([options = options, run, &command = mCommand] {
      command = [options, run](Console& console) { return run(*options, console); };
    });
    if constexpr (requires { options->json; }) {
      app->add_flag("--json", options->json, "Print JSON instead");
      app->footer("With --json: " + json + ".");
    }
    return *app;
  }

  const std::shared_ptr<Options> options = std::make_shared<Options>();

 private:
  CLI::App& mParent;
  Command& mCommand;
};

CLI::App& addGroup(CLI::App& app, const char* name, const char* description) {
  return *app.add_subcommand(name, description)->require_subcommand(1);
}

void addDemo(CLI::App& app, Command& command) {
  const Commands<DemoOptions> commands(app, command);
  CLI::App& demo = commands.add("demo", "Show the library's services at work.", runDemo);
  DemoOptions& options = *commands.options;
  addSeconds(demo, options.seconds, "How long to watch vsyncs, and frames [3]");
  addOption(demo, "--device", options.device, "DIR", "Folder of the simulated device's nodes");
  addOption(demo, "--output", options.output, "DIR", "Folder for its trace and report");
}

void addDoctor(CLI::App& app, Command& command) {
  const Commands<DoctorOptions> commands(app, command);
  CLI::App& doctor =
      commands.add("doctor", "Report which services can work here.", examine,
                   "an array of {service, state, detail, what_to_do};\nstate is ok or missing");
  doctor.add_option("SERVICE", commands.options->services, "Fail unless these services work")
      ->option_text("...");
}

CLI::Option& addSample(CLI::App& command, bool& sample) {
  return *command.add_flag("--sample", sample, "Watch what lmctl itself makes for it");
}

void addWatch(CLI::App& app, Command& command) {
  CLI::App& watch = addGroup(app, "watch", "Show events as they arrive.");
  const Commands<WatchOptions> commands(watch, command);
  WatchOptions& options = *commands.options;
  constexpr char kJson[] = "an object {source, seconds, and what was watched}, at the end";
  constexpr char kSeconds[] = "How long to watch; until Ctrl-C if not given";
  constexpr char kTrace[] = "File to make: a trace for ui.perfetto.dev";

  CLI::App& vsync = commands.add("vsync", "Show the display's vsync events.", watchVsync, kJson);
  addNode(vsync, "--node", options.node, "Kernel node to poll, not the configured one");
  addSample(vsync, options.sample).excludes("--node");
  addSeconds(vsync, options.seconds, kSeconds, kDay);
  addOption(vsync, "--trace", options.trace, "FILE", kTrace);

  CLI::App& gfx =
      commands.add("gfx", "Show the graphics frames that the kernel reports.", watchGfx, kJson);
  addNode(gfx, "--node", options.node, "Node or FIFO to read, not the configured one");
  addNode(gfx, "--ctrl", options.control, "Node that switches reports on and off");
  addNumber(gfx, "--value", options.controlValue, "N", "What switches them on [1]");
  addSample(gfx, options.sample).excludes("--node", "--ctrl");
  addSeconds(gfx, options.seconds, kSeconds, kDay);
  addOption(gfx, "--trace", options.trace, "FILE", kTrace);
  gfx.footer(gfx.get_footer() +
             "\n\nThe node's times are taken for microseconds. A frame is late that starts more\n"
             "than 1.5 periods after the one before it; the period is the median of these\n"
             "intervals. The library computes them in single precision: they are coarse when\n"
             "the node's times are large.");

  CLI::App& thermal = commands.add("thermal", "Keep the thermal listener fetching; show its zones.",
                                   watchThermal, kJson);
  addSample(thermal, options.sample);
  addSeconds(thermal, options.seconds, kSeconds, kDay);
}

void addReport(CLI::App& app, Command& command) {
  const Commands<ReportOptions> commands(app, command);
  CLI::App& report = commands.add("report", "Watch for a while; show all figures on one page.",
                                  makeReport, "an object, the record that the page shows");
  ReportOptions& options = *commands.options;
  addSeconds(report, options.seconds, "How long to watch [10]");
  addOption(report, "-o,--output", options.output, "FILE", "HTML file to make; - for output");
  addNode(report, "--node", options.vsyncNode, "Vsync node to poll, not the configured one");
  addNode(report, "--frame-node", options.frameNode, "Frame node or FIFO to read");
  addNode(report, "--ctrl", options.controlNode, "Node that switches frames' reports on");
  addNumber(report, "--value", options.controlValue, "N", "What switches them on [1]");
  addSample(report, options.sample).excludes("--node", "--frame-node", "--ctrl");
}

void addLookup(CLI::App& app, Command& command) {
  const Commands<LookupOptions> commands(app, command);
  CLI::App& pid = commands.add("pid", "Find a process among the foreground tasks.", lookUpProcess,
                               "an object {name, pid}");
  addOption(pid, "NAME", commands.options->name, kNeeded,
            "Its command's whole first word; an app's package")
      ->required();
  pid.add_flag("--once", commands.options->once, "Look once, without waiting");
}

void addStats(CLI::App& app, Command& command) {
  CLI::App& stats = addGroup(app, "stats", "Ask the kernel's statistics family.");
  const Commands<StatsOptions> commands(stats, command);
  StatsOptions& options = *commands.options;
  constexpr char kSlots[] =
      "an array of {slot, hex, decimal}; decimal is a text\nfor numbers from 2^53 on";
  CLI::App& pid = commands.add("pid", "Show one process; slots are as the kernel fills them.",
                               statsPid, kSlots);
  addNumber(pid, "PID", options.pid, kNeeded, "Process identifier", 1, kHighestPid);
  commands.add("sys", "Show the system.", statsSys, kSlots);
  CLI::App& range = commands.add("range", "Show the processes in a range, one a line.", statsRange,
                                 "an array of processes, each an object of its slots");
  addNumber(range, "FIRST", options.first, kNeeded, "Lowest identifier", 0, kHighestPidOfRange);
  addNumber(range, "LAST", options.last, kNeeded, "Highest identifier", 0, kHighestPidOfRange);
  CLI::App& name =
      commands.add("name", "Show the processes with a name.", statsName, "an array of {pid, hex}");
  addOption(name, "NAME", options.name, kNeeded, "Process name");
}

void addMemory(CLI::App& app, Command& command) {
  Commands<StatsOptions>(app, command)
      .add("mem", "Show swap and vmalloc figures.", showMemory,
           "an object {swap_used_kb, swap_total_kb, vmalloc_used_kb};\nnull for what is unknown");
}

void addServices(CLI::App& app, Command& command) {
  CLI::App& services = addGroup(app, "services", "Ask the platform's service tracker.");
  const Commands<ServicesOptions> commands(services, command);
  constexpr char kPids[] = "an array of {pid}";
  CLI::App& clients = commands.add("clients", "Show the services connected to a service.",
                                   servicesClients, "an array of {service}");
  addOption(clients, "NAME", commands.options->name, kNeeded, "Service name");
  commands.add("pids", "Show the processes of services.", servicesPids, kPids)
      .add_option("NAME", commands.options->names, "Service names")
      ->option_text("...")
      ->required();
  commands.add("active", "Show the processes of all active services.", servicesActive, kPids);
}

void addNode(CLI::App& app, Command& command) {
  CLI::App& node = addGroup(app, "node", "Write to kernel nodes by their item.");
  const Commands<NodeOptions> commands(node, command);
  CLI::App& write =
      commands.add("write", "Write a text to an item's node, and read it back.", writeNode,
                   "an object {item, node, written, read};\nread is null "
                   "for a node that cannot be read");
  addNumber(write, "ITEM", commands.options->item, kNeeded, "Item number", 0);
  write.add_option("VALUE", commands.options->value, "Text, written as it is")
      ->option_text(kNeeded)
      ->required();
}

/** The file, the table and a row's fields, by which rows are selected, too. */
void addKey(CLI::App& command, DbOptions& options) {
  addOption(command, "FILE", options.file, kNeeded, "Database file");
  addOption(command, "TABLE", options.table, kNeeded, "Its table", tableProblem);
  CLI::Option* const app = addOption(command, "--app", options.key.appName, "NAME",
                                     "Application, of launches", keyProblem);
  addOption(command, "--slot", options.key.appName, "NAME", "Time slot, of slots' texts",
            keyProblem)
      ->excludes(app)
      ->each([&options](const std::string&) { options.isSlot = true; });
  addOption(command, "--rsvd", options.key.rsvdName, "NAME", "Second name", keyProblem);
  addNumber(command, "--int", options.key.intcol1, "N", "Integer column", INT_MIN, kNoIntcol1 - 1);
}

void addDb(CLI::App& app, Command& command) {
  CLI::App& db = addGroup(app, "db", "Look into a row store's file.");
  const Commands<DbOptions> commands(db, command);
  DbOptions& options = *commands.options;
  CLI::App& tables = commands.add("tables", "List a file's tables.", dbTables,
                                  "an array of {table, payload, rows}");
  addOption(tables, "FILE", options.file, kNeeded, "Database file");
  CLI::App& dump = commands.add(
      "dump", "Print the rows that match the options.", dbDump,
      "a line for each row, an object {rowid, int, app, rsvd, launches}\nor {rowid, int, slot, "
      "rsvd, apps}; a payload of another size is in hex");
  addKey(dump, options);
  CLI::App& put = commands.add("put", "Add a row of these fields, or those of a file.", dbPut,
                               "an object {put}, the number of rows");
  addKey(put, options);
  put.add_option("VALUE", options.value, "A count for --app, a text of apps for --slot")
      ->option_text(kNeeded);
  addOption(put, "--from", options.from, "FILE", "What dump --json prints; - for standard input");
  put.footer(put.get_footer() +
             "\n\nNothing is written unless all rows of a file are good. Their rowids are not\n"
             "used.");
  CLI::App& remove = commands.add("delete", "Delete the rows that match the options.", dbDelete,
                                  "an object {deleted}, the number of rows");
  addKey(remove, options);
  remove.add_flag("--all", options.all, "Delete all rows");
}

void addFavourites(CLI::App& app, Command& command) {
  CLI::App& favourites = addGroup(app, "favourites", "Work with the favourite applications.");
  const Commands<FavouritesOptions> commands(favourites, command);
  FavouritesOptions& options = *commands.options;
  CLI::App& rebuild =
      commands.add("rebuild", "Rebuild the tables of favourites; print them.", rebuildFavourites,
                   "an object {time_slots, favourite_launches}, arrays of {slot, apps}\nand {app, "
                   "launches}; null for unknown launches");
  addOption(rebuild, "--dir", options.folder, "DIR", "Folder of the three databases")->required();
  CLI::Option* const text =
      rebuild.add_option("--text", options.text, "Text, instead of the configured one")
          ->option_text("TEXT");
  addOption(rebuild, "--text-file", options.textFile, "FILE", "File with the text")->excludes(text);
}

/** The option of any command that sets an item's node. */
void addItems(CLI::App& app, ConfigOverrides& overrides) {
  app.add_option_function<std::vector<std::string>>(
         "--item",
         [&overrides](const std::vector<std::string>& items) {
           for (const std::string& item : items) {
             overrides.set(std::stoi(item), item.substr(item.find('=') + 1));
           }
         },
         "Node of an item, not the configured one; repeatable")
      ->option_text("N=PATH")
      ->allow_extra_args(false)
      ->check(itemProblem);
}

}  // namespace

void addCommands(CLI::App& app, ConfigOverrides& overrides, Command& command) {
  addItems(app, overrides);
  using Add = void (*)(CLI::App&, Command&);
  static constexpr std::pair<const char*, Add> kCommands[] = {
      {"First steps", addDemo},
      {"First steps", addDoctor},
      {"Events", addWatch},
      {"Events", addReport},
      {"Processes and system", addLookup},
      {"Processes and system", addStats},
      {"Processes and system", addMemory},
      {"Processes and system", addServices},
      {"Processes and system", addNode},
      {"Row stores", addDb},
      {"Row stores", addFavourites},
  };
  for (const auto& [group, add] : kCommands) {
    add(app, command);
    app.get_subcommands({}).back()->group(group);
  }
}
