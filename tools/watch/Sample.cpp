#include "watch/Sample.h"

#include <sys/stat.h>

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
  constexpr long long kPeriodUs = 1'000'000 / Sample::kRateHz;
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

Sample makeSample(const EventKind& kind) {
  if (!kind.isFrames()) {
    return {HostNameNode::kPath, [display = HostNameNode()](long long) {
              display.notify();
              return true;
            }};
  }
  const auto folder = std::make_shared<TemporaryFolder>();
  const std::string node = folder->path() + "/frames";
  if (mkfifo(node.c_str(), S_IRUSR | S_IWUSR) != 0) {
    throw std::runtime_error("cannot make the FIFO " + node);
  }
  return {node, [folder, node](long long refresh) {
            const std::string records = frameRecords(refresh);
            std::ofstream(node) << records;
            return !records.empty();
          }};
}
