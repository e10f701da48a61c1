// The main function of every benchmark program: runs the benchmarks, then
// prints a table of times relative to fairlead.
//
// A benchmark is named "Group/implementation" or
// "Group/implementation/argument". Those with the same group and argument use
// the same input.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace {

constexpr char kOurs[] = "fairlead";

struct Result {
  std::string implementation;
  double nanoseconds;
};

// Splits "Group/implementation/argument" into "Group/argument" and
// "implementation".
std::pair<std::string, std::string> Split(const std::string& name) {
  const std::size_t first = name.find('/');
  if (first == std::string::npos) return {name, kOurs};
  const std::size_t second = std::min(name.find('/', first + 1), name.size());
  return {name.substr(0, first) + name.substr(second),
          name.substr(first + 1, second - first - 1)};
}

void PrintBenchmark(const std::string& benchmark,
                    const std::vector<Result>& results) {
  const auto ours = std::find_if(
      results.begin(), results.end(),
      [](const Result& result) { return result.implementation == kOurs; });
  for (const Result& result : results) {
    std::printf("| %s | %s | %.4g |", benchmark.c_str(),
                result.implementation.c_str(), result.nanoseconds);
    if (ours == results.end())
      std::printf(" |\n");
    else
      std::printf(" %.2f |\n", result.nanoseconds / ours->nanoseconds);
  }
}

// Prints the usual lines and keeps the times for the table.
class TableReporter : public benchmark::ConsoleReporter {
 public:
  // No colors: standard output is often a file.
  TableReporter() : ConsoleReporter(OO_Tabular) {}

  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) Keep(run);
    ConsoleReporter::ReportRuns(runs);
  }

  void PrintTable() {
    std::printf("\n| benchmark | implementation | ns | relative time |\n");
    std::printf("|---|---|--:|--:|\n");
    for (auto& [name, results] : benchmarks_) {
      std::sort(results.begin(), results.end(), OursFirst);
      PrintBenchmark(name, results);
    }
  }

 private:
  // Of repetitions, only the median is kept.
  void Keep(const Run& run) {
    const bool median =
        run.run_type == Run::RT_Aggregate && run.aggregate_name == "median";
    if (run.error_occurred) return;
    if (run.repetitions > 1 ? !median : run.run_type != Run::RT_Iteration)
      return;

    const auto [name, implementation] =
        Split(run.run_name.function_name +
              (run.run_name.args.empty() ? "" : "/") + run.run_name.args);
    const double unit = benchmark::GetTimeUnitMultiplier(run.time_unit);
    benchmarks_[name].push_back(
        {implementation, run.GetAdjustedRealTime() / unit * 1e9});
  }

  static bool OursFirst(const Result& a, const Result& b) {
    return std::pair(a.implementation != kOurs, a.nanoseconds) <
           std::pair(b.implementation != kOurs, b.nanoseconds);
  }

  std::map<std::string, std::vector<Result>> benchmarks_;
};

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
  TableReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  reporter.PrintTable();
  benchmark::Shutdown();
  return 0;
}
