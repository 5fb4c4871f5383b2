// Looks for a process among the foreground tasks: for this one, under the name it was started with.

#include <AsyncEventsMgr.h>
#include <unistd.h>

#include <cstdio>
#include <mutex>
#include <string>

/** The process named so, or -1 after a second. The map is not locked by the library. */
static int pidOf(std::string name) {
  std::lock_guard lock(AsyncEvent::mPidMapLck);
  const int known = AsyncEvent::getPidFromMap(name);
  return known > 0 ? known : AsyncEvent::getPid(name);  // stores what it finds
}

int main(int, char** argv) {
  const int found = pidOf(argv[0]);
  const int remembered = pidOf(argv[0]);
  std::printf("this process: %s\n", found == getpid() ? "found" : "not found");
  std::printf("asked again:  %s\n", remembered == found ? "the same" : "another");

  std::string absent = "com.example.absent";
  std::printf("%s: %d\n", absent.c_str(), AsyncEvent::getPidExpensive(absent));  // one scan

  AsyncEvent::clearPidMap();  // a process that ended is remembered until then
  std::string name = argv[0];
  std::printf("forgotten:    %d\n", AsyncEvent::getPidFromMap(name));
  return found == getpid() ? 0 : 1;
}
