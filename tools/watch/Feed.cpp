#include "watch/Feed.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <stdexcept>

#include "AsyncEventsMgr.h"

void ThreadFeed::start() {
  mThread = std::thread([this] { run(); });
}

void ThreadFeed::stop() {
  mStopped = true;
  if (mThread.joinable()) {
    mThread.join();
  }
}

void ThreadFeed::run() {
  const auto begin = Clock::now();
  long long refresh = 0;
  while (!mStopped) {
    mCount += make(refresh) ? 1 : 0;
    // What it is too late for is skipped.
    refresh = std::max<long long>(refresh + 1, (Clock::now() - begin) / kPeriod);
    std::this_thread::sleep_until(begin + refresh * kPeriod);
  }
}

bool HostNameDisplay::make(long long) {
  mNotified.push_back(Clock::now());
  mNode.notify();
  return true;
}

FifoFrames::FifoFrames() {
  if (mkfifo(node().c_str(), S_IRUSR | S_IWUSR) == 0) {
    mFifo.reset(open(node().c_str(), O_RDWR | O_CLOEXEC));
  }
  if (!mFifo.ok()) {
    throw std::runtime_error("cannot make the FIFO " + node());
  }
}

bool FifoFrames::make(long long refresh) {
  constexpr long long kFirstStartUs = 1'000'000;
  constexpr long long kPeriodUs = 1'000'000 / kRateHz;
  const auto isSlow = [](long long frame) { return frame % 37 == 24; };
  if (isSlow(refresh - 1)) {
    return false;  // the frame before takes this refresh, too
  }
  // A little of a real frame's restlessness.
  const long long startUs = kFirstStartUs + refresh * kPeriodUs + refresh * refresh % 29 * 20;
  const long long secondUs = startUs + 3000 + refresh * 53 % 40 * 25;
  const long long thirdUs =
      secondUs + 6000 + refresh * 29 % 60 * 25 + (isSlow(refresh) ? kPeriodUs : 0);
  const auto record = [&](int stage, long long timeUs) {
    return "0 " + std::to_string(refresh) + " 1 " + std::to_string(stage) + " " +
           std::to_string(timeUs) + " 0:";
  };
  const bool isDropped = refresh % 41 == 16;
  const std::string records =
      record(1, startUs) + record(2, secondUs) + (isDropped ? "" : record(3, thirdUs));
  return write(mFifo.get(), records.data(), records.size()) > 0;
}

void DeviceFeed::start() {
  mMadeBefore = made();
  AsyncEvent::updateSysNodes(controlNode(), kRateHz);
}

void DeviceFeed::stop() {
  AsyncEvent::updateSysNodes(controlNode(), mNodes.off);
  std::this_thread::sleep_for(kPeriod);  // the last event may be on its way
}

long long DeviceFeed::made() const {
  long long number = 0;
  std::ifstream(mFolder + mNodes.count) >> number;
  return number;
}
