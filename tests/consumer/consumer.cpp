#include <AsyncEventsMgr.h>
#include <LMDatabase.h>
#include <vendor/zeno/hardware/servicetracker/1.1/IServicetracker.h>

struct OwnPayload {
  double value;
};

static void onVsync(int, void*, int, void* count) { ++*static_cast<int*>(count); }

int main() {
  int count = 0;
  using Tracker = vendor::zeno::hardware::servicetracker::V1_1::IServicetracker;
  if (Tracker::getService("default", false) != nullptr) {
    return 1;
  }
  VsyncEvent vsync;
  vsync.registerCallBack(onVsync, &count);
  LMDatabase<OwnPayload> own("own", "", "");
  LMDatabase<_preKill_User_Launched_Data> launches("launches", "", "");
  return own.LMDatabaseInit() + launches.LMDatabaseInit() +
         AsyncEvent::updateSysNodes("/dev/null", count);
}
