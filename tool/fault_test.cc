// Runs the command with one failing system call at a time, and with one that
// fails from then on.

// The command must succeed completely, or report an error and leave the files
// unchanged. The environment variable FAIRLEAD_FAULTS selects the faults.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <iostream>
#include <iterator>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tool/base/concat.h"
#include "tool/base/exit_status.h"
#include "tool/command/command_table.h"
#include "tool/fault_testing.h"
#include "tool/testing.h"

namespace fairlead::tool::fault_test {
namespace {

struct Fault {
  std::string call;  // Or kMemory.
  std::string error;
  int when;
  bool lasts;    // Later calls fail too.
  bool is_last;  // In the undisturbed run.
};

constexpr const char* kErrors[] = {"EIO",    "ENOSPC", "EMFILE", "ENOMEM",
                                   "EAGAIN", "EINTR",  "EPIPE",  "ECONNRESET"};

// A call that is to be repeated cannot fail so for ever.
constexpr std::string_view kTransient[] = {"EAGAIN", "EINTR"};

// These calls cannot fail, or the C library aborts if one does.
const std::set<std::string> kSkippedCalls = {
    "munmap",  "exit_group", "exit",  "rt_sigreturn",
    "madvise", "getpid",     "gettid"};

// The only error of these.
const std::map<std::string, std::vector<const char*>> kOwnErrors = {
    {"brk", {"ENOMEM"}},
    {"mmap", {"ENOMEM"}},
    {"mprotect", {"ENOMEM"}},
    {"mremap", {"ENOMEM"}},
    {"futex", {"EAGAIN", "EINTR"}},
};

// All memory at once: malloc tries mmap where brk fails, and the reverse.
constexpr std::string_view kMemory = "memory";

bool IsTransient(std::string_view error) {
  return std::ranges::find(kTransient, error) != std::end(kTransient);
}

std::vector<Fault> FaultsOfCall(const std::string& call,
                                const CallCount& calls) {
  std::vector<Fault> faults;
  const auto own = kOwnErrors.find(call);
  const std::vector<const char*> errors =
      own != kOwnErrors.end()
          ? own->second
          : std::vector<const char*>(std::begin(kErrors), std::end(kErrors));
  for (const char* const error : errors)
    for (const bool lasts : {false, true})
      for (int i = 1; i <= calls.program; ++i)
        if (!lasts || !IsTransient(error))
          faults.push_back(
              {call, error, calls.loader + i, lasts, i == calls.program});
  return faults;
}

std::vector<Fault> FaultsOf(const std::string& trace) {
  std::vector<Fault> faults;
  int memory_calls = 0;
  for (const auto& [call, calls] : CallsIn(trace)) {
    if (call == "brk" || call == "mmap") memory_calls += calls.program;
    if (kSkippedCalls.contains(call)) continue;
    const std::vector<Fault> more = FaultsOfCall(call, calls);
    faults.insert(faults.end(), more.begin(), more.end());
  }
  for (int i = 1; i <= memory_calls; ++i)
    faults.push_back({std::string(kMemory), "ENOMEM", i, true, false});
  return faults;
}

// Returns where a call of the program is that many memory calls after its
// beginning, as numbers for strace: of brk, and of mmap.
std::pair<int, int> MemoryCallsBefore(const std::string& trace, int number) {
  const auto calls = CallsIn(trace);
  const auto count = [&](const char* call) {
    const auto found = calls.find(call);
    return found == calls.end() ? CallCount{} : found->second;
  };
  const CallCount brk = count("brk");
  const CallCount mmap = count("mmap");
  const int brks = std::min(number, brk.program + 1);
  return {brk.loader + brks, mmap.loader + std::max(1, number - brk.program)};
}

// Returns whether the last fsync() of the trace is that of the folder, after
// the new file has been renamed.
bool EndsWithFolderSync(const std::string& trace) {
  static const auto syncs_folder =
      testing::Matches(testing::ContainsRegex("fsync\\([0-9]+<[^>]*/place>"));
  const std::size_t last = trace.rfind(" fsync(");
  return last != std::string::npos &&
         syncs_folder(trace.substr(last, trace.find('\n', last) - last));
}

bool IsInPlace(const Scenario& scenario) {
  return std::ranges::find(scenario.arguments, "-inplace") !=
         scenario.arguments.end();
}

// Of the network's calls, the receive thread's are made with all signals
// blocked; around the others, the handlers of the command end it.
bool MayBeInterrupted(const std::string& trace) {
  static const auto is_interrupted = testing::Matches(testing::ContainsRegex(
      "\\b((openat|read|write|pread64|pwrite64|ftruncate|fallocate|fsync|close|"
      "dup2|poll)\\(|fcntl\\([0-9]+, F_OFD)[^\n]*\\(INJECTED\\)"));
  return is_interrupted(trace);
}

bool IsInjected(const Trial& run) {
  return run.trace.find("(INJECTED)") != std::string::npos;
}

bool IsWakeup(const std::string& call) {
  return call.find("FUTEX_WAKE") != std::string::npos ||
         call.find(R"(, "\1\0\0\0\0\0\0\0", 8)") != std::string::npos;
}

// A wakeup cannot fail, whether by a futex or by the first number written to an
// event descriptor, and a wait without it would never end. Where threads take
// turns, the arguments of a call are in an earlier line of its thread.
bool FailsAWakeup(const Trial& run) {
  std::map<std::string, std::string> begun;  // By thread.
  std::istringstream lines(run.trace);
  for (std::string line; std::getline(lines, line);) {
    std::string& call = begun[line.substr(0, line.find(' '))];
    if (line.find(" resumed>") == std::string::npos) call = line;
    if (line.find("(INJECTED)") != std::string::npos && IsWakeup(call))
      return true;
  }
  return false;
}

// How often a call is made depends on how the threads take turns.
bool HasThreads(const std::string& trace) {
  return trace.find(" clone") != std::string::npos;
}

// brk() returns no error, but where the memory ends.
std::string HowFails(std::string_view call, const Fault& fault) {
  return call == "brk" ? "retval=0" : "error=" + fault.error;
}

// Injects faults into one scenario.
class Injection {
 public:
  explicit Injection(const Scenario& scenario)
      : scenario_(scenario), base_(BaseRun(scenario)) {}

  const std::string& trace() const { return base_.trace; }
  int runs() const { return runs_; }

  // Returns what went wrong, or "".
  std::string Try(Fault fault, bool goes_on) {
    Trial run = Inject(fault);
    if (!IsInjected(run) && !WasNotReached(run.trace, fault))
      return Concat(OptionsOf(fault)[3], ": was not injected");
    std::string error = Judge(run, fault);
    // A fault may cause calls beyond the last one of the undisturbed run.
    while (error.empty() && IsInjected(run) && goes_on && fault.is_last) {
      ++fault.when;
      run = Inject(fault);
      error = Judge(run, fault);
    }
    return error.empty() ? "" : OptionsOf(fault)[3] + ": " + error;
  }

 private:
  Words OptionsOf(const Fault& fault) const {
    const auto inject = [&](std::string_view call, int when) {
      return Words{"-e", Concat("inject=", call, ":", HowFails(call, fault),
                                ":when=", when, fault.lasts ? "+" : "")};
    };
    if (fault.call != kMemory)
      return Words{"-e", "trace=" + fault.call} +
             inject(fault.call, fault.when);
    const auto [brk, mmap] = MemoryCallsBefore(base_.trace, fault.when);
    return Words{"-e", "trace=brk,mmap"} + inject("brk", brk) +
           inject("mmap", mmap);
  }

  // Returns whether the threads took other turns than in the undisturbed run,
  // and did not make the call that was to fail.
  bool WasNotReached(const std::string& trace, const Fault& fault) const {
    if (!HasThreads(base_.trace)) return false;
    if (fault.call != kMemory) return MostCalls(trace, fault.call) < fault.when;
    const auto [brk, mmap] = MemoryCallsBefore(base_.trace, fault.when);
    return MostCalls(trace, "brk") < brk && MostCalls(trace, "mmap") < mmap;
  }

  Trial Inject(const Fault& fault) {
    ++runs_;
    return FaultPlace(scenario_).RunTraced(OptionsOf(fault));
  }

  std::string Judge(const Trial& run, const Fault& fault) const {
    if (FailsAWakeup(run)) return "";
    if (fault.error == "EINTR" && MayBeInterrupted(run.trace) &&
        !IsSame(run, base_, scenario_))
      return "did not repeat an interrupted call: " + Shown(run);
    if (fault.error == "EPIPE" && run.outcome.status == kReaderGone)
      return ErrorOfFiles(run.files, base_, scenario_, scenario_.left);
    if (fault.call == "fsync") return JudgeSync(run, fault);
    if (fault.lasts && IsInPlace(scenario_) &&
        Says(run, "restoring the old text failed too"))
      return "";
    // Then the message cannot be written either.
    if (fault.lasts && fault.call == "write" && run.outcome.error.empty())
      return ErrorOf(WithAMessage(run), base_, scenario_, scenario_.left);
    return ErrorOf(run, base_, scenario_, scenario_.left);
  }

  static Trial WithAMessage(Trial run) {
    run.outcome.error = "fairlead";
    return run;
  }

  // The new file is there exactly if the folder could not be synced after it
  // was renamed, and the message says so.
  std::string JudgeSync(const Trial& run, const Fault& fault) const {
    const bool is_new = fault.is_last && EndsWithFolderSync(base_.trace);
    const bool says = Says(run, "was written, but a power failure may undo it");
    if (IsSame(run, base_, scenario_))
      return IsInjected(run) && fault.error != "EINTR" ? "was ignored" : "";
    if (says != is_new) return "wrong message: " + Shown(run);
    return ErrorOf(run, base_, scenario_, is_new ? Left::kNew : scenario_.left);
  }

  static bool Says(const Trial& run, std::string_view text) {
    return run.outcome.error.find(text) != std::string::npos;
  }

  const Scenario& scenario_;
  const Trial base_;
  std::atomic<int> runs_ = 0;
};

constexpr std::size_t kSampleInterval = 100;

TEST_P(FaultTest, AFailedCallLosesNothing) {
  if (const std::string why = WhyNoFaults(); !why.empty()) GTEST_SKIP() << why;
  const FaultChoice choice = SelectedFaults();
  Injection injection(GetParam());
  const std::vector<Fault> faults = FaultsOf(injection.trace());
  EXPECT_GT(faults.size(), 60U) << injection.trace();
  TryEach(SampleOf(faults.size(), kSampleInterval, choice),
          [&](std::size_t i) { return injection.Try(faults[i], choice.all); });
  std::cout << faults.size() << " faults, "
            << (choice.all ? "all injected" : Concat("seed ", choice.seed))
            << "; " << injection.runs() << " runs\n";
}

bool HasScenario(const Command& command) {
  return std::ranges::any_of(Scenarios(), [&](const Scenario& scenario) {
    const Words& words = scenario.arguments;
    const bool is_sub = command.parent != nullptr;
    return words[0] == (is_sub ? command.parent->name : command.name) &&
           (!is_sub || words[1] == command.name);
  });
}

TEST(FaultScenariosTest, RunEveryCommand) {
  for (const Command* const command : Commands()) {
    if (command->subcommands.empty()) {
      EXPECT_TRUE(HasScenario(*command)) << command->name;
    }
    for (const Command* const subcommand : command->subcommands)
      EXPECT_TRUE(HasScenario(*subcommand)) << FullName(*subcommand);
  }
}

INSTANTIATE_TEST_SUITE_P(Scenarios, FaultTest, testing::ValuesIn(Scenarios()),
                         [](const auto& given) {
                           return std::string(given.param.name);
                         });

}  // namespace
}  // namespace fairlead::tool::fault_test
