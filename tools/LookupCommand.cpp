#include "LookupCommand.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <ostream>

#include "AsyncEventsMgr.h"
#include "Rows.h"

int lookUpProcess(const LookupOptions& options, Console& console) {
  std::string name = options.name;
  const int pid = options.once ? AsyncEvent::getPidExpensive(name) : AsyncEvent::getPid(name);
  if (pid < 1) {
    console.err << "lmctl: no foreground process is named '" << name << "'; looked in "
                << kForegroundTasks;
    if (access(kForegroundTasks, R_OK) != 0) {
      console.err << ": " << std::strerror(errno);
    }
    console.err << "\n";
    return kFailure;
  }
  if (options.json) {
    printJson({{"name", name}, {"pid", pid}}, console.out);
  } else {
    console.out << pid << "\n";
  }
  return kSuccess;
}
