#include "Lmctl.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cctype>
#include <charconv>
#include <climits>
#include <functional>
#include <memory>
#include <ostream>
#include <sstream>

#include "Commands.h"
#include "ConfigOverrides.h"
#include "Output.h"
#include "db/Db.h"
#include "demo/Demo.h"
#include "report/Report.h"
#include "watch/Watch.h"

namespace {

constexpr int kHighestPid = 4194304;
constexpr int kHighestPidOfRange = 65535;
constexpr int kHour = 3600;
constexpr int kDay = 24 * kHour;
constexpr std::size_t kHelpColumn = 26;

/** What a command line asks for, with the options it gave; returns an ExitStatus. */
using Command = std::function<int(Console&)>;

/** What is wrong with a value; empty when it is good. */
using Check = std::string (*)(const std::string& text);

std::string textProblem(const std::string& text) { return text.empty() ? "it is empty" : ""; }

std::string nodeProblem(const std::string& path) {
  return path.size() < kConfigValueSize
             ? textProblem(path)
             : "the path is longer than " + std::to_string(kConfigValueSize - 1) + " bytes";
}

std::string itemProblem(const std::string& text) {
  const std::size_t equals = std::min(text.find('='), text.size());
  int item = -1;
  const auto [rest, error] = std::from_chars(text.data(), text.data() + equals, item);
  if (equals == text.size() || rest != text.data() + equals || item < 0) {
    return "'" + text + "' is not an item's number, '=' and a path";
  }
  return nodeProblem(text.substr(equals + 1));
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

/** A number from low to high, always decimal: CLI11 takes one that begins with 0 for octal. */
template <typename Number>
CLI::Validator numberFrom(Number low, Number high) {
  const auto normalize = [low, high](std::string& text) {
    Number value = 0;
    std::istringstream input(text);
    std::ostringstream output;
    const bool isNumber = (input >> value) && input.eof();
    if (!isNumber || !(value >= low && value <= high)) {  // NaN is not in any range
      output << "'" << text << "' is not a number from " << low << " to " << high;
      return output.str();
    }
    output << value;
    text = output.str();
    return std::string();
  };
  return {normalize, ""};
}

/** The type of an argument, which has no dash and must be there. */
constexpr char kNeeded[] = " ";

template <typename Value>
CLI::Option* addOption(CLI::App& command, const char* name, Value& value, const char* type,
                       const char* description, Check check = textProblem) {
  CLI::Option* const option = command.add_option(name, value, description);
  return option->option_text(type)->required(*name != '-')->check(check);
}

template <typename Number>
void addNumber(CLI::App& command, const char* name, Number& value, const char* type,
               const char* description, Number low, Number high) {
  CLI::Option* const option = command.add_option(name, value, description);
  option->option_text(type)->required(*name != '-')->transform(numberFrom(low, high));
}

void addSeconds(CLI::App& command, double& value, const char* description, double most = kHour) {
  addNumber(command, "--seconds", value, "N", description, 0.1, most);
}

void addNode(CLI::App& command, const char* name, std::string& path, const char* description) {
  addOption(command, name, path, "PATH", description, nodeProblem);
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
  addOption(doctor, "SERVICE", commands.options->services, "...", "Fail unless these services work")
      ->required(false);
}

/** The flag that excludes options that name nodes. */
void addSample(CLI::App& command, bool& sample) {
  CLI::Option* const flag =
      command.add_flag("--sample", sample, "Watch events that lmctl makes itself");
  for (const char* const node : {"--node", "--frame-node", "--ctrl"}) {
    if (CLI::Option* const option = command.get_option_no_throw(node)) {
      flag->excludes(option);
    }
  }
}

void addWatch(CLI::App& app, Command& command) {
  CLI::App& watch = addGroup(app, "watch", "Show events as they arrive.");
  const Commands<WatchOptions> commands(watch, command);
  WatchOptions& options = *commands.options;
  constexpr char kJson[] = "an object {source, seconds, and what was watched}, at the end";
  CLI::App& vsync = commands.add("vsync", "Show the display's vsync events.", watchVsync, kJson);
  addNode(vsync, "--node", options.node, "Kernel node to poll, not the configured one");
  CLI::App& gfx =
      commands.add("gfx", "Show the graphics frames that the kernel reports.", watchGfx, kJson);
  addNode(gfx, "--node", options.node, "Node or FIFO to read, not the configured one");
  addNode(gfx, "--ctrl", options.control, "Node that switches reports on and off");
  addNumber(gfx, "--value", options.controlValue, "N", "Value that switches them on [1]", INT_MIN,
            INT_MAX);
  gfx.footer(gfx.get_footer() +
             "\n\nThe node's times are taken for microseconds. A frame is late that starts more\n"
             "than 1.5 periods after the one before it; the period is the median of these\n"
             "intervals. The library computes them in single precision: they are coarse when\n"
             "the node's times are large.");
  CLI::App& thermal = commands.add("thermal", "Keep the thermal listener fetching; show its zones.",
                                   watchThermal, kJson);
  for (CLI::App* const source : {&vsync, &gfx, &thermal}) {
    addSample(*source, options.sample);
    addSeconds(*source, options.seconds, "How long to watch; until Ctrl-C if not given", kDay);
  }
  for (CLI::App* const source : {&vsync, &gfx}) {
    addOption(*source, "--trace", options.trace, "FILE", "File for a trace, for ui.perfetto.dev");
  }
}

void addReport(CLI::App& app, Command& command) {
  const Commands<ReportOptions> commands(app, command);
  CLI::App& report = commands.add("report", "Watch for a while; show all figures on one page.",
                                  makeReport, "an object, the record that the page shows");
  ReportOptions& options = *commands.options;
  addSeconds(report, options.seconds, "How long to watch [10]");
  addOption(report, "-o,--output", options.output, "FILE",
            "HTML file to make; - for standard output");
  addNode(report, "--node", options.vsyncNode, "Vsync node to poll, not the configured one");
  addNode(report, "--frame-node", options.frameNode, "Frame node or FIFO to read");
  addNode(report, "--ctrl", options.controlNode, "Node that switches reports on and off");
  addNumber(report, "--value", options.controlValue, "N", "Value that switches them on [1]",
            INT_MIN, INT_MAX);
  addSample(report, options.sample);
}

void addLookup(CLI::App& app, Command& command) {
  const Commands<LookupOptions> commands(app, command);
  CLI::App& pid = commands.add("pid", "Find a process among the foreground tasks.", lookUpProcess,
                               "an object {name, pid}");
  addOption(pid, "NAME", commands.options->name, kNeeded,
            "First word of its command line; an app's package");
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
  CLI::App& name = commands.add("name", "Show the processes with a name.", statsName,
                                "an array of {pid, entry}");
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
  CLI::App& pids = commands.add("pids", "Show the processes of services.", servicesPids, kPids);
  addOption(pids, "NAME", commands.options->names, "...", "Service names");
  commands.add("active", "Show the processes of all active services.", servicesActive, kPids);
}

void addNode(CLI::App& app, Command& command) {
  CLI::App& node = addGroup(app, "node", "Write to kernel nodes by their item.");
  const Commands<NodeOptions> commands(node, command);
  CLI::App& write =
      commands.add("write", "Write a text to an item's node, and read it back.", writeNode,
                   "an object {item, node, written, read};\nread is null "
                   "for a node that cannot be read");
  addNumber(write, "ITEM", commands.options->item, kNeeded, "Item number", 0, INT_MAX);
  write.add_option("VALUE", commands.options->value, "Text, written as it is")
      ->option_text(kNeeded)
      ->required();
}

/** The file, the table and a row's fields, by which rows are selected, too. */
void addKey(CLI::App& command, DbOptions& options) {
  addOption(command, "FILE", options.file, kNeeded, "Database file");
  addOption(command, "TABLE", options.table, kNeeded, "Its table", tableProblem);
  CLI::Option* const app = addOption(command, "--app", options.key.appName, "NAME",
                                     "Application, for rows of launches", keyProblem);
  addOption(command, "--slot", options.key.appName, "NAME", "Time slot, for rows of apps",
            keyProblem)
      ->excludes(app)
      ->each([&options](const std::string&) { options.isSlot = true; });
  addOption(command, "--rsvd", options.key.rsvdName, "NAME", "Second name column", keyProblem);
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

void addCommands(CLI::App& app, Command& command) {
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

void describe(CLI::App& app) {
  app.require_subcommand(1);
  app.fallthrough();  // options of lmctl itself may follow the command, too
  app.get_formatter()->column_width(kHelpColumn);
  app.get_formatter()->label("SUBCOMMAND", "COMMAND");
  app.get_formatter()->label("OPTIONS", "OPTION...");
  app.set_help_flag("-h,--help", "Show what lmctl or a command takes");
  app.set_version_flag("--version", versionText)->description("Show the version and libraries");
}

/** The command that was named, as "lmctl watch vsync". */
std::string namedCommand(const CLI::App& app) {
  const auto named = app.get_subcommands();
  return app.get_name() + (named.empty() ? "" : " " + namedCommand(*named.back()));
}

int fail(const CLI::App& app, const std::string& problem, int status, Console& console) {
  const std::string command = namedCommand(app);
  console.beginError(command) << visible(problem)
                              << (status == kUsage ? "; see '" + command + " --help'" : "") << "\n";
  return status;
}

}  // namespace

int lmctl(int argc, const char* const* argv, Console& console) {
  CLI::App app("Tries out the services of liblmsupport.", "lmctl");
  ConfigOverrides items;
  Command command;
  describe(app);
  addItems(app, items);
  addCommands(app, command);
  try {
    app.parse(argc, argv);
    return command(console);
  } catch (const CLI::CallForVersion& version) {
    console.out << version.what() << "\n";
    return kSuccess;
  } catch (const CLI::ParseError& e) {
    if (const auto unknown = app.remaining(true); !unknown.empty()) {
      return fail(app, "unexpected '" + unknown.front() + "'", kUsage, console);
    }
    if (e.get_exit_code() != kSuccess) {
      return fail(app, e.what(), kUsage, console);
    }
    console.out << app.help();
    return kSuccess;
  } catch (const UsageError& e) {
    return fail(app, e.what(), kUsage, console);
  } catch (const std::exception& e) {
    return fail(app, e.what(), kFailure, console);
  }
}
