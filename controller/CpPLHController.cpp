#include "CpPLHController.h"

#include "config/Nodes.h"
#include "detail/LMLog.h"

using lmsupport::guard;
using lmsupport::kCpPlhController;
using lmsupport::NodePath;

namespace {

constexpr lmsupport::CaughtWording kWording = {LM_LOG_PREFIX "exception %s\n",
                                               LM_LOG_PREFIX "unknown exception\n"};

}  // namespace

CpPLHController::CpPLHController(std::vector<Command>& initial, Command& first, Command& second,
                                 std::string name, void* (*initHook)())
    : mName(std::move(name)), mSecondCmd(second), mFirstCmd(first) {
  if (initHook != nullptr) {
    initHook();
  } else {
    init(initial);
  }
}

void CpPLHController::init(std::vector<Command>& initial) {
  if (initial.empty()) {
    mEnabled = false;
    return;
  }
  guard(kCpPlhController, kWording, [&] {
    for (const auto& [item, setting] : initial) {
      std::string value = setting;
      NodePath path;
      ConfigStore* const store = lmsupport::configStore();
      if (store == nullptr) {
        LM_LOGE_AS(kCpPlhController, "init", __LINE__, "mStore is NULL!!");
      } else if (path = lmsupport::nodePath(*store, item); !path.known) {
        mEnabled = false;
        return;
      }
      updateSysNodes(path.text, value);
    }
  });
}

int CpPLHController::commandCp(int type, std::string value, int item) {
  if (!mEnabled) {
    return 0;
  }
  return guard(kCpPlhController, kWording, 0, [&] {
    std::lock_guard lock(mCmdLock);
    ConfigStore* const store = lmsupport::configStore();
    if (store == nullptr || type < kFirstPreset || type > kAnyItem) {
      return 0;
    }
    const Command& preset = type == kFirstPreset ? mFirstCmd : mSecondCmd;
    const bool usesPreset = type != kAnyItem;
    NodePath path = lmsupport::nodePath(*store, usesPreset ? preset.first : item);
    if (!path.known) {
      return 0;
    }
    if (usesPreset && value.empty()) {
      value = preset.second;
    }
    updateSysNodes(path.text, value);
    return 1;
  });
}

int CpPLHController::updateSysNodes(char* path, std::string& value) {
  if (path == nullptr) {
    return -1;
  }
  if (!lmsupport::writeNode(path, value)) {
    LM_LOGE(kCpPlhController, "Unable to open %s file", path);
    return -1;
  }
  return 0;
}
