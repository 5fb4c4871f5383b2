#include "Ratios.h"

#include <algorithm>
#include <cstdio>
#include <map>
#include <set>
#include <tuple>

namespace {

/** What the repetitions of a benchmark measured. */
struct Figure {
  std::vector<double> values;
  std::string unit;

  double median() {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
  }

  /** The median with three digits, and its unit. */
  std::string text() {
    const double value = median();
    const int digits = value < 10 ? 2 : value < 100 ? 1 : 0;
    char text[64];
    std::snprintf(text, sizeof(text), "%.*f%s", digits, value, unit.c_str());
    return text;
  }
};

/** A benchmark's figures by the counter's name; the time per iteration has none. */
using Figures = std::map<std::string, Figure>;

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

  std::map<std::string, Figures> mBenchmarks;

 private:
  void keepFigures(const Run& run) {
    const auto& [function, args] = std::tie(run.run_name.function_name, run.run_name.args);
    Figures& figures = mBenchmarks[args.empty() ? function : function + "/" + args];
    figures[""].values.push_back(run.GetAdjustedRealTime());
    figures[""].unit = std::string(" ") + benchmark::GetTimeUnitString(run.time_unit);
    for (const auto& [counter, value] : run.counters) {
      figures[counter].values.push_back(value);
    }
  }
};

std::string named(const std::string& benchmark, const std::string& counter) {
  return "`" + benchmark + "`" + (counter.empty() ? "" : ", " + counter);
}

/** One line a ratio whose two benchmarks ran; then the other benchmarks, one line each. */
void printTable(std::map<std::string, Figures>& benchmarks, const std::vector<Ratio>& ratios) {
  std::printf("\n| Figure | Here | Against | There | Ratio | Aim |\n|---|--:|---|--:|--:|---|\n");
  std::set<std::string> compared;
  for (const Ratio& ratio : ratios) {
    if (benchmarks.count(ratio.ours) == 0 || benchmarks.count(ratio.other) == 0) {
      continue;
    }
    Figure& ours = benchmarks[ratio.ours][ratio.counter];
    Figure& other = benchmarks[ratio.other][ratio.counter];
    compared.insert({ratio.ours, ratio.other});
    if (other.median() > 0) {
      std::printf("| %s | %s | `%s` | %s | %.2f | %s |\n", named(ratio.ours, ratio.counter).c_str(),
                  ours.text().c_str(), ratio.other.c_str(), other.text().c_str(),
                  ours.median() / other.median(), ratio.aim.c_str());
    }
  }
  for (auto& [benchmark, figures] : benchmarks) {
    if (compared.count(benchmark) > 0) {
      continue;
    }
    for (auto& [counter, figure] : figures) {
      std::printf("| %s | %s | | | | |\n", named(benchmark, counter).c_str(),
                  figure.text().c_str());
    }
  }
}

}  // namespace

int runBenchmarks(int argc, char** argv, const std::vector<Ratio>& ratios) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
    return 2;
  }
  Reporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  printTable(reporter.mBenchmarks, ratios);
  return 0;
}
