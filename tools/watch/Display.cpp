#include "watch/Display.h"

#include <fstream>
#include <stdexcept>

#include "AsyncEventsMgr.h"

void HostNameDisplay::start(VsyncEvent&) {
  mThread = std::thread([this] { run(); });
}

void HostNameDisplay::stop() {
  mStopped = true;
  if (mThread.joinable()) {
    mThread.join();
  }
}

void HostNameDisplay::run() {
  auto next = Clock::now();
  while (!mStopped) {
    std::this_thread::sleep_until(next);
    next += kPeriod * ((Clock::now() - next) / kPeriod + 1);  // what it was too late for is skipped
    mNotified.push_back(Clock::now());
    mNode.notify();
    ++mCount;
  }
}

DeviceDisplay::DeviceDisplay(std::string folder) : mFolder(std::move(folder)) {
  if (read("vsyncs") < 0 || AsyncEvent::updateSysNodes(mFolder + "/vsync_rate", 0) != 0) {
    throw std::runtime_error(mFolder + " does not hold a simulated device; load lmdevice.ko");
  }
}

void DeviceDisplay::start(VsyncEvent& source) {
  mCountBefore = read("vsyncs");
  mSource = &source;
  source.registerCallBack(noteNotification, this);
  source.startEvent(noteNotification);
  AsyncEvent::updateSysNodes(mFolder + "/vsync_rate", kRateHz);
}

void DeviceDisplay::stop() {
  AsyncEvent::updateSysNodes(mFolder + "/vsync_rate", 0);
  std::this_thread::sleep_for(kPeriod);  // the last event may be on its way
  mSource->pauseEvent(noteNotification);
}

std::size_t DeviceDisplay::count() const {
  return static_cast<std::size_t>(read("vsyncs") - mCountBefore);
}

long long DeviceDisplay::read(const char* name) const {
  long long number = -1;
  std::ifstream(mFolder + "/" + name) >> number;
  return number;
}

void DeviceDisplay::noteNotification(int, void*, int, void* display) {
  auto* const self = static_cast<DeviceDisplay*>(display);
  self->mNotified.emplace_back(std::chrono::nanoseconds(self->read("vsync")));
}
