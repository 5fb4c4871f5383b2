#include "FrameTimes.h"

#include <algorithm>
#include <cmath>
#include <iomanip>
#include <numeric>
#include <ostream>
#include <sstream>

#include "AsyncEventsMgr.h"
#include "DistributionOutput.h"

namespace {

Distribution distribution(const Durations& durations) { return {durations.ms, kMilliseconds}; }

std::string rateText(double hz) {
  std::ostringstream text;
  text << std::fixed << std::setprecision(1) << hz << " Hz";
  return text.str();
}

}  // namespace

void Durations::add(const std::vector<double>& sampleMs, Clock::time_point arrival) {
  ms.insert(ms.end(), sampleMs.begin(), sampleMs.end());
  arrivals.resize(ms.size(), arrival);
  sumMs = std::accumulate(sampleMs.begin(), sampleMs.end(), sumMs);
}

std::vector<double> Durations::latest(Clock::time_point since, std::size_t count) const {
  const auto last = static_cast<std::ptrdiff_t>(std::min(count, ms.size()));
  const auto first = std::lower_bound(arrivals.end() - last, arrivals.end(), since);
  return {ms.end() - (arrivals.end() - first), ms.end()};
}

void FrameTimes::add(const GfxFrameData& sample, Clock::time_point arrival) {
  ++reads;
  std::vector<double> sinceLast = sample.frameStartIntervals;
  if (started == 0 && !sinceLast.empty()) {
    started = 1;
    sinceLast.erase(sinceLast.begin());  // of the first: its own time
  }
  started += sinceLast.size();
  intervals.add(sinceLast, arrival);
  firstToSecond.add(sample.firstToSecondStage, arrival);
  secondToThird.add(sample.secondToThirdStage, arrival);
}

double FrameTimes::rateHz() const {
  return intervals.sumMs > 0 ? 1000 * static_cast<double>(intervals.ms.size()) / intervals.sumMs
                             : 0;
}

std::string FrameTimes::progressLine() const {
  return std::to_string(started) + " frames   " + rateText(rateHz());
}

void FrameTimes::print(std::ostream& out) const {
  if (started == 0) {
    out << "frames     none in " << reads << " reads\n";
    return;
  }
  out << "frames     " << started << " started   " << secondToThird.ms.size() << " finished   "
      << rateText(rateHz()) << "\n";
  const Lateness late(intervals.ms);
  std::ostringstream period;
  period << std::fixed << std::setprecision(kMilliseconds.digits) << late.periodMs;
  out << "late       " << late.frames << " frames   " << late.missedRefreshes
      << " refreshes missed   period " << period.str() << " ms\nstage 1-2  ";
  printSummary(distribution(firstToSecond), out);
  out << "stage 2-3  ";
  printSummary(distribution(secondToThird), out);
  out << "interval   ";
  const Distribution between = distribution(intervals);
  printSummary(between, out);
  printHistogram(between, out);
}

nlohmann::ordered_json FrameTimes::toJson() const {
  const Lateness late(intervals.ms);
  return {
      {"reads", reads},
      {"frames", started},
      {"finished", secondToThird.ms.size()},
      {"rate_hz", rateHz()},
      {"period_ms", late.periodMs},
      {"late_from_ms", late.fromMs()},
      {"late", late.frames},
      {"missed_refreshes", late.missedRefreshes},
      {"interval_ms", ::toJson(distribution(intervals))},
      {"stage_1_to_2_ms", ::toJson(distribution(firstToSecond))},
      {"stage_2_to_3_ms", ::toJson(distribution(secondToThird))},
  };
}

Lateness::Lateness(const std::vector<double>& intervalsMs)
    : periodMs(Distribution(intervalsMs, kMilliseconds).median()) {
  for (const double interval : intervalsMs) {
    if (interval > fromMs()) {
      ++frames;
      missedRefreshes += static_cast<std::size_t>(std::lround(interval / periodMs)) - 1;
    }
  }
}
