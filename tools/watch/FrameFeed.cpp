#include "watch/FrameFeed.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>

#include "AsyncEventsMgr.h"
#include "watch/Display.h"

namespace {

constexpr int kFirstStartUs = 1'000'000;
constexpr int kPeriodUs = 1'000'000 / Display::kRateHz;

/** Times of one frame, with a little of a real one's restlessness. */
struct Frame {
  explicit Frame(int refresh)
      : start(kFirstStartUs + refresh * kPeriodUs + refresh * refresh * 13 % 29 * 20),
        second(start + 3000 + refresh * 53 % 40 * 25),
        third(second + 6000 + refresh * 29 % 60 * 25) {
    if (isSlow(refresh)) {
      third += kPeriodUs;
    }
  }

  static bool isSlow(int refresh) { return refresh % 37 == 24; }
  static bool isDropped(int refresh) { return refresh % 41 == 16; }

  int start;
  int second;
  int third;
};

}  // namespace

FifoFrames::FifoFrames() {
  if (mkfifo(node().c_str(), S_IRUSR | S_IWUSR) == 0) {
    mFifo.reset(open(node().c_str(), O_RDWR | O_CLOEXEC));
  }
  if (!mFifo.ok()) {
    throw std::runtime_error("cannot make the FIFO " + node());
  }
}

void FifoFrames::start() {
  mThread = std::thread([this] { run(); });
}

void FifoFrames::stop() {
  mStopped = true;
  if (mThread.joinable()) {
    mThread.join();
  }
}

std::string FifoFrames::text() const {
  return std::to_string(mCount) + " frames   " + std::to_string(mLate) + " late   " +
         std::to_string(mDropped) + " dropped";
}

void FifoFrames::run() {
  const Clock::time_point begin = Clock::now();
  for (int refresh = 0; !mStopped; ++refresh) {
    const bool late = refresh > 1 && Frame::isSlow(refresh - 2);
    if (refresh > 0 && Frame::isSlow(refresh - 1)) {
      continue;  // still busy with the slow one
    }
    const Frame frame(refresh);
    const bool dropped = Frame::isDropped(refresh);
    const auto record = [&](int stage, int time) {
      return "0 " + std::to_string(refresh) + " 1 " + std::to_string(stage) + " " +
             std::to_string(time) + " 0:";
    };
    const std::string records =
        record(1, frame.start) + record(2, frame.second) + (dropped ? "" : record(3, frame.third));
    std::this_thread::sleep_until(begin + std::chrono::microseconds(frame.third - kFirstStartUs));
    if (write(mFifo.get(), records.data(), records.size()) > 0) {
      ++mCount;
      mLate += late ? 1 : 0;
      mDropped += dropped ? 1 : 0;
    }
  }
}

int DeviceFrames::controlValue() const { return Display::kRateHz; }

void DeviceFrames::stop() { AsyncEvent::updateSysNodes(controlNode(), -1); }

long long DeviceFrames::made() const {
  long long number = 0;
  std::ifstream(mFolder + "/frames") >> number;
  return number;
}
