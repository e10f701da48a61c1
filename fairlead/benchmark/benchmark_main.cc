// The main function of every benchmark: runs the races, then says in one table
// how many times as long as fairlead each competitor took.
//
// A benchmark is called "Group/competitor" or "Group/competitor/argument". All
// that share group and argument ran on the same input; "fairlead" is ours.

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
  std::string competitor;
  double nanoseconds;
};

// "Group/competitor/argument" taken apart: the race is "Group/argument".
std::pair<std::string, std::string> RaceAndCompetitor(const std::string& name) {
  const std::size_t first = name.find('/');
  if (first == std::string::npos) return {name, kOurs};
  const std::size_t second = std::min(name.find('/', first + 1), name.size());
  return {name.substr(0, first) + name.substr(second),
          name.substr(first + 1, second - first - 1)};
}

void PrintRace(const std::string& race, const std::vector<Result>& results) {
  const auto ours = std::find_if(
      results.begin(), results.end(),
      [](const Result& result) { return result.competitor == kOurs; });
  for (const Result& result : results) {
    std::printf("| %s | %s | %.4g |", race.c_str(), result.competitor.c_str(),
                result.nanoseconds);
    if (ours == results.end())
      std::printf(" |\n");
    else
      std::printf(" %.2f |\n", result.nanoseconds / ours->nanoseconds);
  }
}

// Shows the usual lines and keeps the times for the table.
class RaceReporter : public benchmark::ConsoleReporter {
 public:
  // Standard output may be a file that is read as the table is.
  RaceReporter() : ConsoleReporter(OO_Tabular) {}

  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) Keep(run);
    ConsoleReporter::ReportRuns(runs);
  }

  void PrintTable() {
    std::printf("\n| race | competitor | ns | times fairlead |\n");
    std::printf("|---|---|--:|--:|\n");
    for (auto& [race, results] : races_) {
      std::sort(results.begin(), results.end(), OursFirst);
      PrintRace(race, results);
    }
  }

 private:
  // With repetitions, the median speaks for all of them.
  void Keep(const Run& run) {
    const bool median =
        run.run_type == Run::RT_Aggregate && run.aggregate_name == "median";
    if (run.error_occurred) return;
    if (run.repetitions > 1 ? !median : run.run_type != Run::RT_Iteration)
      return;

    const auto [race, competitor] = RaceAndCompetitor(
        run.run_name.function_name + (run.run_name.args.empty() ? "" : "/") +
        run.run_name.args);
    const double unit = benchmark::GetTimeUnitMultiplier(run.time_unit);
    races_[race].push_back(
        {competitor, run.GetAdjustedRealTime() / unit * 1e9});
  }

  static bool OursFirst(const Result& a, const Result& b) {
    return std::pair(a.competitor != kOurs, a.nanoseconds) <
           std::pair(b.competitor != kOurs, b.nanoseconds);
  }

  std::map<std::string, std::vector<Result>> races_;
};

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
  RaceReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  reporter.PrintTable();
  benchmark::Shutdown();
  return 0;
}
