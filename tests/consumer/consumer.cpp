#include <AsyncEventsMgr.h>
#include <LMDatabase.h>

struct OwnPayload {
  double value;
};

static void onVsync(int, void*, int, void* count) { ++*static_cast<int*>(count); }

int main() {
  int count = 0;
  VsyncEvent vsync;
  vsync.registerCallBack(onVsync, &count);
  LMDatabase<OwnPayload> own("own", "", "");
  LMDatabase<_preKill_User_Launched_Data> launches("launches", "", "");
  return own.LMDatabaseInit() + launches.LMDatabaseInit() +
         AsyncEvent::updateSysNodes("/dev/null", count);
}
