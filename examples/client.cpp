#include <AsyncEventsMgr.h>
#include <HostCore.h>
#include <sched.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>

static void onVsync(int, void*, int, void* count) { ++*static_cast<std::atomic<int>*>(count); }

int main() {
  // On a desk, the host name's node stands for the display's, in a namespace of our own.
  if (unshare(CLONE_NEWUTS) != 0 && unshare(CLONE_NEWUSER | CLONE_NEWUTS) != 0) {
    perror("unshare");  // never rename the machine itself
    return 1;
  }
  hostcore::setItem(22, "/proc/sys/kernel/hostname");

  std::atomic<int> count = 0;
  VsyncEvent& source = *VsyncEvent::getInstance();
  source.registerCallBack(onVsync, &count);
  source.startEvent(onVsync);
  for (int i = 0; i < 60; ++i) {
    usleep(1'000'000 / 60);
    if (sethostname("desk", 4) != 0) perror("sethostname");  // notifies whoever polls the node
  }
  source.pauseEvent(onVsync);
  std::printf("%d vsyncs\n", count.load());
  std::fflush(stdout);
  _exit(0);  // by design, nobody wakes the polling thread for a normal exit
}
