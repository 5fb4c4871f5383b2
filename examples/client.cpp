#include <AsyncEventsMgr.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>

static void onVsync(int, void*, int, void* count) { ++*static_cast<std::atomic<int>*>(count); }

int main(int argc, char** argv) {
  std::atomic<int> count = 0;
  VsyncEvent::getInstance()->registerCallBack(onVsync, &count);
  VsyncEvent::getInstance()->startEvent(onVsync);
  sleep(argc > 1 ? std::atoi(argv[1]) : 5);
  VsyncEvent::getInstance()->pauseEvent(onVsync);
  std::printf("%d vsyncs\n", count.load());
  std::fflush(stdout);
  _exit(0);  // by design, nobody wakes the polling thread for a normal exit
}
