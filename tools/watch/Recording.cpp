#include "watch/Recording.h"

#include <numeric>

#include "AsyncEventsMgr.h"

void Durations::add(const std::vector<double>& sample, Clock::time_point arrival) {
  values.insert(values.end(), sample.begin(), sample.end());
  arrivals.insert(arrivals.end(), sample.size(), arrival);
}

void Recording::add(const GfxFrameData* sample, Clock::time_point arrival) {
  const Clock::time_point last = arrivals.empty() ? arrival : arrivals.back();
  std::vector<double> sinceLast = {toSeconds(arrival - last) * kind.unit.perSecond};
  if (sample != nullptr) {
    sinceLast = sample->frameStartIntervals;
    firstToSecond.add(sample->firstToSecondStage, arrival);
    secondToThird.add(sample->secondToThirdStage, arrival);
  }
  const bool hasFirst = events == 0 && !sinceLast.empty();
  events += sinceLast.size();
  if (hasFirst) {
    sinceLast.erase(sinceLast.begin());
  }
  intervals.add(sinceLast, arrival);
  intervalSum = std::accumulate(sinceLast.begin(), sinceLast.end(), intervalSum);
  arrivals.push_back(arrival);
}

double Recording::rateHz() const {
  return intervalSum > 0 ? kind.unit.perSecond * static_cast<double>(events - 1) / intervalSum : 0;
}
