#include "Ratios.h"

#include <algorithm>
#include <cstdio>
#include <map>
#include <tuple>

namespace {

/** The console's table, of repeated benchmarks only the medians; keeps every figure. */
class Reporter : public benchmark::ConsoleReporter {
 public:
  Reporter() : ConsoleReporter(OO_Tabular) {}

  void ReportRuns(const std::vector<Run>& runs) override {
    std::vector<Run> shown;
    for (const Run& run : runs) {
      if (run.run_type == Run::RT_Iteration) {
        keepFigures(run);
      }
      if (run.repetitions <= 1 || run.aggregate_name == "median") {
        shown.push_back(run);
      }
    }
    ConsoleReporter::ReportRuns(shown);
  }

  /** The median over the repetitions; 0 when the benchmark did not run. */
  double median(const std::string& benchmark, const std::string& counter) {
    std::vector<double>& values = mFigures[benchmark][counter];
    if (values.empty()) {
      return 0;
    }
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
  }

 private:
  void keepFigures(const Run& run) {
    const auto& [function, args] = std::tie(run.run_name.function_name, run.run_name.args);
    auto& figures = mFigures[args.empty() ? function : function + "/" + args];
    figures[""].push_back(run.GetAdjustedRealTime());
    for (const auto& [counter, value] : run.counters) {
      figures[counter].push_back(value);
    }
  }

  std::map<std::string, std::map<std::string, std::vector<double>>> mFigures;
};

}  // namespace

int runBenchmarks(int argc, char** argv, const std::vector<Ratio>& ratios) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
    return 2;
  }
  Reporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  std::printf("\n%-24s %-24s %-8s %6s  %s\n", "ours", "against", "figure", "ratio", "aim");
  for (const Ratio& ratio : ratios) {
    const double other = reporter.median(ratio.other, ratio.counter);
    if (other > 0) {
      std::printf("%-24s %-24s %-8s %6.2f  %s\n", ratio.ours.c_str(), ratio.other.c_str(),
                  ratio.counter.empty() ? "time" : ratio.counter.c_str(),
                  reporter.median(ratio.ours, ratio.counter) / other, ratio.aim.c_str());
    }
  }
  return 0;
}
