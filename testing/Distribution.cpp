#include "testing/Distribution.h"

#include <algorithm>
#include <cmath>
#include <iomanip>
#include <sstream>

Distribution::Distribution(std::vector<double> values, Unit unit)
    : mSorted(std::move(values)), mUnit(unit) {
  std::sort(mSorted.begin(), mSorted.end());
}

double Distribution::percentile(double fraction) const {
  if (mSorted.empty()) {
    return 0;
  }
  const double rank = std::ceil(fraction * static_cast<double>(mSorted.size()));
  return mSorted[static_cast<std::size_t>(std::max(rank, 1.0)) - 1];
}

std::string Distribution::summary() const {
  std::ostringstream line;
  line << std::fixed << std::setprecision(mUnit.digits) << "median " << median() << " "
       << mUnit.name << "   p99 " << percentile(0.99) << " " << mUnit.name << "   largest "
       << largest() << " " << mUnit.name;
  return line.str();
}
