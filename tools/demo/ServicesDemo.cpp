#include <ostream>

#include "DependentServices.h"
#include "demo/Steps.h"

// The platform offers no in-process tracker that could die on request.
#if __has_include(<HostServices.h>)
#include <HostServices.h>
#include <TrackerBase.h>

using vendor::zeno::hardware::servicetracker::V1_0::ClientConnection;
using Tracker = DependentServices::IServicetrackerV1_1;

namespace {

/** Knows two clients of any service. */
class SampleTracker : public TrackerBase<Tracker> {
 public:
  Result getServiceConnections(const Text&, getServiceConnections_cb done) override {
    done(Status::SUCCESS, {ClientConnection{"gallery", 812, 1}, {"scanner", 977, 2}});
    return {};
  }
  Result getAllActiveServicePids(getAllActiveServicePids_cb done) override {
    done(Status::NOT_SUPPORTED, {});
    return {};
  }
};

/** Asks for the clients of a service, prints the answer, and returns how many there are. */
std::size_t askForClients(const char* when, std::ostream& out) {
  std::vector<std::string> clients;
  const int status = DependentServices().getServices("camera", clients);
  out << when << (status == 0 ? "clients of camera:" : "no service");
  for (const std::string& client : clients) {
    out << " " << client;
  }
  out << "\n";
  return clients.size();
}

}  // namespace

StepResult demonstrateServices(DemoScene& scene) {
  const auto quiet = quietLog();  // the lines tell of the failures
  std::ostream& out = scene.console.out;
  const android::sp<SampleTracker> tracker = new SampleTracker;
  bool isRegistered = tracker->registerAsService() == android::OK;
  const std::size_t before = askForClients("registered ", out);
  hosthidl::killService(Tracker::descriptor);
  const std::size_t dead = askForClients("died       ", out);
  isRegistered = tracker->registerAsService() == android::OK && isRegistered;
  const std::size_t after = askForClients("restarted  ", out);
  hosthidl::unregisterService(Tracker::descriptor);
  return {"a tracker asked before and after its death and return",
          isRegistered && before == 2 && dead == 0 && after == 2};
}

#else

StepResult demonstrateServices(DemoScene&) {
  throw Missing("no sample tracker here; see lmctl services");
}

#endif
