#include <ostream>
#include <sstream>
#include <stdexcept>

#include "DependentServices.h"
#include "QuietLog.h"
#include "Rows.h"
#include "demo/Steps.h"

// The platform offers no in-process tracker that could fail and die on request.
#if __has_include(<HostServices.h>)
#include <HostServices.h>
#include <TrackerBase.h>

using android::hardware::hidl_string;
using android::hardware::hidl_vec;
using vendor::zeno::hardware::servicetracker::V1_0::ClientConnection;
using Tracker = vendor::zeno::hardware::servicetracker::V1_1::IServicetracker;

namespace {

/** Knows three services, one of which uses the two others. */
class SampleTracker : public TrackerBase<Tracker> {
 public:
  Result getServiceConnections(const Text& service, getServiceConnections_cb done) override {
    if (mIsUnreachable) {
      return android::hardware::Status::fromStatusT(android::DEAD_OBJECT);
    }
    const bool known = service == hidl_string("camera");
    done(known ? Status::SUCCESS : Status::NOT_FOUND,
         known ? hidl_vec<ClientConnection>{{"gallery", 812, 1}, {"scanner", 977, 2}}
               : hidl_vec<ClientConnection>{});
    return {};
  }

  Result getServicePids(const Texts& services, getServicePids_cb done) override {
    hidl_vec<std::int32_t> pids;
    pids.resize(services.size());
    for (std::size_t i = 0; i < services.size(); ++i) {
      pids[i] = services[i] == hidl_string("gallery") ? 812 : 640;
    }
    done(Status::SUCCESS, pids);
    return {};
  }

  Result getAllActiveServicePids(getAllActiveServicePids_cb done) override {
    done(Status::SUCCESS, {640, 812, 977});
    return {};
  }

  bool mIsUnreachable = false;
};

template <typename Values>
std::string cellText(int status, const Values& values) {
  std::ostringstream text;
  if (status != 0) {
    text << (status == 4 ? "no service" : "status " + std::to_string(status));
  }
  for (const auto& value : values) {
    text << (&value != &*values.begin() ? " " : "") << value;
  }
  return text.str();
}

/** Runs one query of each kind and describes their results. */
Rows queries(const char* when) {
  DependentServices services;
  std::vector<std::string> clients;
  hidl_vec<std::int32_t> pids;
  std::vector<int> active;
  const int clientsStatus = services.getServices("camera", clients);
  const int pidsStatus = services.getServicePIDs({"camera", "gallery"}, pids);
  const int activeStatus = services.getAllActiveServicePIDs(active);
  return {{"tracker", when},
          {"clients of camera", cellText(clientsStatus, clients)},
          {"pids of camera, gallery", cellText(pidsStatus, pids)},
          {"all active pids", cellText(activeStatus, active)}};
}

void registerTracker(SampleTracker& tracker) {
  if (tracker.registerAsService() != android::OK) {
    throw std::runtime_error("the sample tracker was not registered");
  }
}

}  // namespace

StepResult demonstrateServices(DemoScene& scene) {
  const QuietLog quiet;  // the table tells of the failures
  const android::sp<SampleTracker> tracker = new SampleTracker;
  Rows rows = Rows::array({queries("not there")});
  registerTracker(*tracker);
  rows.push_back(queries("registered"));
  tracker->mIsUnreachable = true;
  rows.push_back(queries("fails in transport"));
  tracker->mIsUnreachable = false;
  rows.push_back(queries("recovered"));
  hosthidl::killService(Tracker::descriptor);
  rows.push_back(queries("died"));
  registerTracker(*tracker);
  rows.push_back(queries("restarted"));
  hosthidl::unregisterService(Tracker::descriptor);
  printTable(rows, scene.console.out);
  const bool recovers = rows[5].back() == rows[1].back() && rows[4].back() != rows[1].back();
  return {"a tracker asked before and after its death and return", outcomeOf(recovers)};
}

#else

StepResult demonstrateServices(DemoScene& scene) {
  std::vector<int> pids;
  if (const int status = DependentServices().getAllActiveServicePIDs(pids); status != 0) {
    scene.console.out << "the platform's tracker answers with status " << status << "\n";
    return {"the platform has no tracker that answers", Outcome::kMissing};
  }
  scene.console.out << "active     " << pids.size() << " services\n";
  return {std::to_string(pids.size()) + " active services", Outcome::kOk};
}

#endif
