#include "LookupCommand.h"

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <ostream>

#include "AsyncEventsMgr.h"
#include "CommandLine.h"
#include "ConfigOverrides.h"
#include "Rows.h"
#include "config/Nodes.h"

namespace {

struct LookupOptions {
  std::string name;
  bool once = false;  ///< one scan instead of up to five, 200 ms apart
  bool json = false;
};

/** Prints the identifier of a foreground process. */
int lookUpProcess(const LookupOptions& options, Console& console) {
  std::string name = options.name;
  const int pid = options.once ? AsyncEvent::getPidExpensive(name) : AsyncEvent::getPid(name);
  if (pid < 1) {
    if (const std::string problem = accessProblem(kForegroundTasks, R_OK); !problem.empty()) {
      throw std::runtime_error(problem + "; run it where the foreground tasks are listed");
    }
    throw std::runtime_error("process '" + name + "': not in " + kForegroundTasks +
                             "; bring it to the foreground");
  }
  if (options.json) {
    printJson({{"name", name}, {"pid", pid}}, console.out);
  } else {
    console.out << pid << "\n";
  }
  return kSuccess;
}

}  // namespace

void addLookup(CLI::App& app, Console& console, int& status) {
  const Commands<LookupOptions> commands(app, console, status);
  CLI::App* const pid =
      commands.add("pid", "Look for a process among the foreground tasks, for up to a second.",
                   "an object {name, pid}", lookUpProcess);
  pid->add_option("NAME", commands.options->name,
                  "Its command's whole first word; an app's package name")
      ->required();
  pid->add_flag("--once", commands.options->once, "Look only once, and at once");
}
