#pragma once

#include <string>
#include <vector>

/** How values are printed. */
struct Unit {
  const char* name;
  int digits;  ///< after the point
  double perSecond;
};
inline constexpr Unit kMicroseconds = {"us", 1, 1e6};
inline constexpr Unit kMilliseconds = {"ms", 2, 1e3};

/** Durations, ready for percentiles. */
class Distribution {
 public:
  Distribution(std::vector<double> values, Unit unit);

  /** The smallest value that a fraction in [0, 1] of the values does not exceed; 0 when empty. */
  double percentile(double fraction) const;
  double median() const { return percentile(0.5); }
  double largest() const { return percentile(1); }

  /** "median 16667.1 us   p99 17012.4 us   largest 18330.0 us" */
  std::string summary() const;

 private:
  std::vector<double> mSorted;
  Unit mUnit;
};
