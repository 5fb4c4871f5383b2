#include "CpPLHController.h"

#include "config/Nodes.h"
#include "detail/LMLog.h"

using lmsupport::kCpPlhController;
using lmsupport::NodePath;

namespace {

/** For a catch (...) block: logs the exception being handled in the name of the calling function. */
void logException(const char* function = __builtin_FUNCTION(), int line = __builtin_LINE()) {
  try {
    throw;
  } catch (const std::exception& e) {
    LM_LOGE_AS(kCpPlhController, function, line, "exception %s\n", e.what());
  } catch (...) {
    LM_LOGE_AS(kCpPlhController, function, line, "unknown exception\n");
  }
}

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
  try {
    for (const auto& [item, setting] : initial) {
      std::string value = setting;
      NodePath path;
      ConfigStore* const store = lmsupport::configStore();
      if (store == nullptr) {
        LM_LOGE(kCpPlhController, "mStore is NULL!!");
      } else if (path = lmsupport::nodePath(*store, item); !path.known) {
        mEnabled = false;
        return;
      }
      updateSysNodes(path.text, value);
    }
  } catch (...) {
    logException();
  }
}

int CpPLHController::commandCp(int type, std::string value, int item) {
  if (!mEnabled) {
    return 0;
  }
  try {
    std::lock_guard lock(mCmdLock);
    ConfigStore* const store = lmsupport::configStore();
    if (store == nullptr || type < kFirstPreset || type > kAnyItem) {
      return 0;
    }
    if (type != kAnyItem) {
      const Command& preset = type == kFirstPreset ? mFirstCmd : mSecondCmd;
      item = preset.first;
      if (value.empty()) {
        value = preset.second;
      }
    }
    NodePath path = lmsupport::nodePath(*store, item);
    if (!path.known) {
      return 0;
    }
    updateSysNodes(path.text, value);
    return 1;
  } catch (...) {
    logException();
    return 0;
  }
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
