#include <AsyncEventsMgr.h>

static void onVsync(int, void*, int, void* count) { ++*static_cast<int*>(count); }

int main() {
  int count = 0;
  VsyncEvent vsync;
  vsync.registerCallBack(onVsync, &count);
  return AsyncEvent::updateSysNodes("/dev/null", count);
}
