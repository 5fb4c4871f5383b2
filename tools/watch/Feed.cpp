#include "watch/Feed.h"

#include <sys/stat.h>

#include <algorithm>
#include <fstream>
#include <memory>
#include <stdexcept>

#include "testing/HostNameNode.h"
#include "testing/TemporaryFolder.h"

namespace {

/**
 * The records of the frame of a refresh. Now and then one takes too long, so that there is none for
 * the next refresh, and one is dropped before its third stage.
 */
std::string frameRecords(long long refresh) {
  constexpr long long kFirstStartUs = 1'000'000;
  constexpr long long kPeriodUs = 1'000'000 / Feed::kRateHz;
  const auto isSlow = [](long long frame) { return frame % 37 == 24; };
  if (isSlow(refresh - 1)) {
    return "";
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
  return record(1, startUs) + record(2, secondUs) + (isDropped ? "" : record(3, thirdUs));
}

}  // namespace

void Feed::start() {
  mThread = std::thread([this] { run(); });
}

const std::vector<Clock::time_point>& Feed::stop() {
  mStopped = true;
  if (mThread.joinable()) {
    mThread.join();
  }
  return mTimes;
}

void Feed::run() {
  const auto begin = Clock::now();
  long long refresh = 0;
  while (!mStopped) {
    const auto now = Clock::now();
    if (mMake(refresh)) {
      mTimes.push_back(now);
    }
    // What it is too late for is skipped.
    refresh = std::max<long long>(refresh + 1, (Clock::now() - begin) / kPeriod);
    std::this_thread::sleep_until(begin + refresh * kPeriod);
  }
}

std::unique_ptr<Feed> makeFeed(const EventKind& kind) {
  if (!kind.isFrames()) {
    return std::make_unique<Feed>(HostNameNode::kPath, [display = HostNameNode()](long long) {
      display.notify();
      return true;
    });
  }
  const auto folder = std::make_shared<TemporaryFolder>();
  const std::string node = folder->path() + "/frames";
  if (mkfifo(node.c_str(), S_IRUSR | S_IWUSR) != 0) {
    throw std::runtime_error("cannot make the FIFO " + node);
  }
  return std::make_unique<Feed>(node, [folder, node](long long refresh) {
    const std::string records = frameRecords(refresh);
    std::ofstream(node) << records;
    return !records.empty();
  });
}
