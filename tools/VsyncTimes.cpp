#include "VsyncTimes.h"

#include <cmath>
#include <iomanip>
#include <ostream>
#include <sstream>

#include "DistributionOutput.h"

double VsyncTimes::rateHz() const {
  if (arrivals.size() < 2) {
    return 0;
  }
  return static_cast<double>(arrivals.size() - 1) / toSeconds(arrivals.back() - arrivals.front());
}

std::vector<double> VsyncTimes::intervalsUs() const {
  std::vector<double> valuesUs;
  for (std::size_t i = 1; i < arrivals.size(); ++i) {
    valuesUs.push_back(toUs(arrivals[i] - arrivals[i - 1]));
  }
  return valuesUs;
}

Distribution VsyncTimes::jitter() const {
  std::vector<double> valuesUs = intervalsUs();
  const double medianUs = Distribution(valuesUs, kMicroseconds).median();
  for (double& value : valuesUs) {
    value = std::abs(value - medianUs);
  }
  return {std::move(valuesUs), kMicroseconds};
}

std::string VsyncTimes::progressLine() const {
  std::ostringstream text;
  text << arrivals.size() << " events   " << std::fixed << std::setprecision(1) << rateHz()
       << " Hz";
  return text.str();
}

void VsyncTimes::print(std::ostream& out) const {
  const Distribution between(intervalsUs(), kMicroseconds);
  out << "vsync      " << progressLine() << "\njitter     " << jitter().summary() << "\ninterval   "
      << between.summary() << "\n";
  printHistogram(between, out);
}

nlohmann::ordered_json VsyncTimes::toJson() const {
  return {{"events", arrivals.size()},
          {"rate_hz", rateHz()},
          {"interval_us", ::toJson(Distribution(intervalsUs(), kMicroseconds))},
          {"jitter_us", ::toJson(jitter())}};
}
