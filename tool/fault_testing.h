// For the fault tests: runs a scenario while something fails, and judges what
// came of it.

#ifndef FAIRLEAD_TOOL_FAULT_TESTING_H_
#define FAIRLEAD_TOOL_FAULT_TESTING_H_

#include <gtest/gtest.h>

#include <cstddef>
#include <functional>
#include <limits>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "tool/fault_scenarios.h"
#include "tool/testing.h"

namespace fairlead::tool {

/// One run of a scenario.
struct Trial {
  Outcome outcome = {};
  Files files = {};        ///< Afterwards.
  std::string trace = {};  ///< That strace wrote, if any.
};

/// A new folder with the files of a scenario, in which its command is run.
class FaultPlace {
 public:
  explicit FaultPlace(const Scenario& scenario);

  /// Runs the command, started by the program and arguments in `before`. These
  /// may write a trace to "../trace". A run of 20 seconds is killed.
  Trial Run(const Words& before) const;

  /// Runs the command under strace, with these additional options.
  Trial RunTraced(const Words& options) const;

 private:
  const Scenario& scenario_;
  const TempFolder folder_;
  const std::string path_ = folder_.Path("place");
};

/// Returns the run without a fault; fails the test if that goes wrong. Its
/// trace shows all system calls, with the path of each descriptor.
Trial BaseRun(const Scenario& scenario);

/// Returns whether two runs ended, printed and left files alike.
bool IsSame(const Trial& run, const Trial& base, const Scenario& scenario);

/// Returns why the run is wrong, or "" if it did all that the undisturbed one
/// did, or failed properly: with a documented status, a message, a prefix of
/// the output and the files that `left` allows.
std::string ErrorOf(const Trial& run, const Trial& base,
                    const Scenario& scenario, Left left);

/// Returns why files are left that `left` does not allow, or "".
std::string ErrorOfFiles(const Files& files, const Trial& base,
                         const Scenario& scenario, Left left);

/// Returns what the run did, for a message.
std::string Shown(const Trial& run);

/// Which faults are tried, by the environment variable FAIRLEAD_FAULTS: "all";
/// a number for the sample with this seed; or such as "1/40", of which one of
/// 40 faults is tried at least. By default, a new sample is drawn.
struct FaultChoice {
  bool all = false;
  unsigned seed = 0;
  std::size_t max_interval = std::numeric_limits<std::size_t>::max();
};

FaultChoice SelectedFaults();

/// Returns the indices below `count` that are tried: all, or one of `interval`.
std::vector<std::size_t> SampleOf(std::size_t count, std::size_t interval,
                                  const FaultChoice& choice);

/// Calls `act` for each index, on several threads. Fails the test with the
/// texts that `act` returns, unless they are empty.
void TryEach(const std::vector<std::size_t>& indices,
             const std::function<std::string(std::size_t index)>& act);

/// The number of times a call is made. strace counts per thread from 1, and the
/// loader makes the first calls of the first thread.
struct CallCount {
  int loader = 0;   ///< By the loader.
  int program = 0;  ///< By the program; the maximum of its threads.
};

/// The calls of a trace, by name.
std::map<std::string, CallCount> CallsIn(const std::string& trace);

/// Returns how often the thread that makes a call most often makes it.
int MostCalls(const std::string& trace, const std::string& call);

/// A test of one scenario.
class FaultTest : public testing::TestWithParam<Scenario> {};

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_FAULT_TESTING_H_
