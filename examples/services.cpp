// Asks the service tracker. A sample tracker in this process stands for the platform's.

#include <DependentServices.h>
#include <HostServices.h>
#include <TrackerBase.h>

#include <cstdio>

using Tracker = DependentServices::IServicetrackerV1_1;

/** Knows a service, "camera", that is connected to two others. */
class SampleTracker : public TrackerBase<Tracker> {
 public:
  Result getServiceConnections(const Text& service, getServiceConnections_cb done) override {
    if (service == Text("camera")) {
      done(Status::SUCCESS, {{"gallery", 812, 1}, {"scanner", 977, 2}});
    } else {
      done(Status::NOT_FOUND, {});
    }
    return {};
  }

  Result getAllActiveServicePids(getAllActiveServicePids_cb done) override {
    done(Status::SUCCESS, {640, 812, 977});
    return {};
  }
};

static void query(const char* service) {
  std::vector<std::string> connected;  // appended to
  const int status = DependentServices().getServices(service, connected);
  std::printf("%s: status %d", service, status);
  for (const std::string& name : connected) std::printf(" %s", name.c_str());
  std::printf("\n");
}

int main() {
  query("camera");  // 4: there is no tracker yet, so ask again later
  const android::sp<SampleTracker> tracker = new SampleTracker;
  if (tracker->registerAsService() != android::OK) return 1;
  query("camera");        // connects by itself
  query("radio");         // 1: the tracker does not know it
  std::vector<int> pids;  // replaced
  const int status = DependentServices().getAllActiveServicePIDs(pids);
  std::printf("active processes: status %d, %zu\n", status, pids.size());
  hosthidl::killService(Tracker::descriptor);
  query("camera");  // 4 again: the proxies were dropped when the tracker died
  return DependentServices::gServiceTrackerHalObject == nullptr ? 0 : 1;
}
