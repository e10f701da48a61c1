// Runs the command with one failing system call at a time.

// The command must succeed completely, or report an error and leave the files
// unchanged. The environment variable FAIRLEAD_FAULTS selects the faults: "all"
// for all of them, a number for the sample with this seed. By default, a new
// sample is drawn and its seed is printed.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <map>
#include <mutex>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "tool/base/concat.h"
#include "tool/base/environment.h"
#include "tool/base/exit_status.h"
#include "tool/command/command_table.h"
#include "tool/fault_scenarios.h"
#include "tool/io/read_file.h"
#include "tool/testing.h"

namespace fairlead::tool {
namespace {

constexpr const char* kMaxSeconds = "20";

struct Trial {
  Outcome outcome;
  Files files;
  std::string trace;
};

Files FilesIn(const std::string& folder) {
  Files files;
  for (const auto& entry : std::filesystem::directory_iterator(folder))
    files[entry.path().filename()] =
        entry.is_symlink()
            ? Concat(kLinkTo, std::filesystem::read_symlink(entry).string())
            : ReadFile(entry.path());
  return files;
}

void MakeFile(const TempFolder& folder, const std::string& path,
              const std::string& content) {
  if (content.starts_with(kLinkTo))
    std::filesystem::create_symlink(content.substr(kLinkTo.size()),
                                    folder.path() + "/" + path);
  else
    folder.File(path, content);
}

// Runs the command in a new folder, started by the program and arguments in
// `before`, which may write a trace to "../trace".
Trial RunScenario(const Scenario& scenario, const Words& before) {
  const TempFolder folder;
  const std::string place = folder.path() + "/place";
  std::filesystem::create_directory(place);
  for (const auto& [name, bytes] : scenario.files)
    MakeFile(folder, "place/" + name, bytes);
  Outcome outcome = RunProgram(
      {.arguments = Words{"-C", place, "timeout", "-s", "KILL", kMaxSeconds} +
                    before + Words{FAIRLEAD_PROGRAM} + scenario.arguments,
       .input = scenario.input,
       .program = "env"});
  return {std::move(outcome), FilesIn(place),
          ReadFileIfAny(folder.path() + "/trace").value_or("")};
}

Trial RunTraced(const Scenario& scenario, const Words& options) {
  return RunScenario(scenario,
                     Words{"strace", "-f", "-qq", "-o", "../trace"} + options);
}

// A fault after which other files are allowed than the scenario says.
struct Tolerated {
  std::string_view call;
  Left left;
};

constexpr Tolerated kTolerated[] = {
    // The folder is synced after the new file has been renamed.
    {"fsync", Left::kOldOrNew},
};

bool MayBeLeft(Left left, const std::string& text, const std::string& old,
               const std::string& made) {
  switch (left) {
    case Left::kOld:
      return false;
    case Left::kOldOrNew:
      return text == made;
    case Left::kBeginning:
      return text.starts_with(old) && made.starts_with(text);
  }
  return false;
}

bool AreFilesAllowed(const Files& files, Left left, const Files& old,
                     const Files& made) {
  const auto text_of = [](const Files& all, const std::string& name) {
    const auto found = all.find(name);
    return found == all.end() ? "" : found->second;
  };
  return std::ranges::all_of(
             old,
             [&](const auto& file) { return files.contains(file.first); }) &&
         std::ranges::all_of(files, [&](const auto& file) {
           const auto& [name, text] = file;
           if (old.contains(name) && text == old.at(name)) return true;
           return made.contains(name) &&
                  MayBeLeft(left, text, text_of(old, name), made.at(name));
         });
}

const Command& CommandOf(const Scenario& scenario) {
  const Command& command = KnownCommand(scenario.arguments[0]);
  return command.subcommands.empty()
             ? command
             : KnownSubcommand(command, scenario.arguments[1]);
}

// The statuses up to kMalformedInput are results, which no fault may cause.
bool IsFailure(int status, const Scenario& scenario) {
  const auto documented = CommandOf(scenario).statuses;
  return status > kMalformedInput &&
         std::ranges::find(documented, status, &Status::status) !=
             documented.end();
}

bool ReportsError(const std::string& error) {
  return ("\n" + error).find("\nfairlead") != std::string::npos;
}

std::string Shown(const Trial& run) {
  std::ostringstream text;
  text << "status " << run.outcome.status << ", output \""
       << run.outcome.output.substr(0, 80) << "\", error \""
       << run.outcome.error.substr(0, 200) << '"';
  for (const auto& [name, bytes] : run.files)
    text << ", " << name << " \"" << bytes.substr(0, 80) << '"';
  return text.str();
}

bool IsSame(const Trial& run, const Trial& base) {
  return run.outcome.status == base.outcome.status &&
         run.outcome.output == base.outcome.output && run.files == base.files;
}

// Returns why the run is wrong, or "" if it did all that the undisturbed one
// did or failed properly.
std::string ErrorOf(const Trial& run, const Trial& base,
                    const Scenario& scenario, Left left) {
  const Outcome& outcome = run.outcome;
  if (outcome.signal == SIGKILL) return Concat("hung for ", kMaxSeconds, " s");
  if (outcome.signal != 0) return Concat("crashed: signal ", outcome.signal);
  if (IsSame(run, base)) return "";
  if (!IsFailure(outcome.status, scenario)) return "wrong: " + Shown(run);
  if (!ReportsError(outcome.error)) return "failed silently: " + Shown(run);
  if (!base.outcome.output.starts_with(outcome.output))
    return "printed wrong output: " + Shown(run);
  if (!AreFilesAllowed(run.files, left, scenario.files, base.files))
    return "left wrong files: " + Shown(run);
  return "";
}

// Returns whether the trace shows the fault in a call on files that a signal
// may interrupt. Of the network's calls, the receive thread's are made with all
// signals blocked; around the others, the handlers of the command end it.
bool MayBeInterrupted(const std::string& trace) {
  static const auto is_interrupted = testing::Matches(testing::ContainsRegex(
      "\\b((openat|read|write|pread64|pwrite64|ftruncate|fallocate|fsync|close|"
      "dup2|poll)\\(|fcntl\\([0-9]+, F_OFD)[^\n]*\\(INJECTED\\)"));
  return is_interrupted(trace);
}

constexpr const char* kErrors[] = {"EIO", "ENOSPC", "EMFILE", "ENOMEM",
                                   "EINTR"};

// Memory calls fail in the loader and the C library as well; the C library
// aborts if futex fails; the others cannot fail.
const std::set<std::string> kSkippedCalls = {
    "brk",        "mmap", "mprotect",     "munmap",  "mremap", "futex",
    "exit_group", "exit", "rt_sigreturn", "madvise", "getpid", "gettid"};

// The number of times a call is made. strace counts per thread from 1, and the
// loader makes the first calls of the first thread.
struct Calls {
  int loader = 0;   // By the loader.
  int program = 0;  // By the program; the maximum of its threads.
};

// The program's first call checks whether standard input is open. The loader
// makes no such call.
std::map<std::string, Calls> CallsIn(const std::string& trace) {
  std::map<std::string, Calls> all;
  std::map<std::string, int> made;  // By thread and name.
  bool begun = false;
  std::istringstream lines(trace);
  for (std::string line; std::getline(lines, line);) {
    char thread[16];
    char call[64];
    int end = 0;
    if (std::sscanf(line.c_str(), "%15[0-9] %63[a-z0-9_]%n", thread, call,
                    &end) != 2 ||
        line[static_cast<std::size_t>(end)] != '(')
      continue;
    begun = begun || line.find(" fcntl(0, F_GETFD") != std::string::npos;
    Calls& calls = all[call];
    const int number = ++made[Concat(thread, " ", call)];
    if (begun)
      calls.program = std::max(calls.program, number - calls.loader);
    else
      calls.loader = number;
  }
  return all;
}

struct Fault {
  std::string call;
  std::string error;
  int when;
  bool is_last;  // In the undisturbed run.
};

std::vector<Fault> FaultsOf(const std::string& trace) {
  std::vector<Fault> faults;
  for (const auto& [call, calls] : CallsIn(trace)) {
    if (kSkippedCalls.contains(call)) continue;
    for (const char* const error : kErrors)
      for (int i = 1; i <= calls.program; ++i)
        faults.push_back({call, error, calls.loader + i, i == calls.program});
  }
  return faults;
}

Left LeftAfter(const Fault& fault, const Scenario& scenario) {
  const auto* const tolerated =
      std::ranges::find(kTolerated, fault.call, &Tolerated::call);
  return tolerated == std::end(kTolerated) ? scenario.left : tolerated->left;
}

// The selected faults.
struct Choice {
  bool all = false;
  unsigned seed = 0;
};

Choice SelectedFaults() {
  const std::string text(EnvironmentVariable("FAIRLEAD_FAULTS").value_or(""));
  if (text == "all") return {.all = true};
  return {.seed = text.empty() ? std::random_device{}()
                               : static_cast<unsigned>(std::stoul(text))};
}

constexpr std::size_t kSampleInterval = 18;

std::vector<Fault> SampleOf(std::vector<Fault> faults, unsigned seed) {
  std::ranges::shuffle(faults, std::mt19937(seed));
  faults.resize((faults.size() + kSampleInterval - 1) / kSampleInterval);
  return faults;
}

// Injects faults into one scenario, several runs at a time.
class FaultLoop {
 public:
  FaultLoop(const Scenario& scenario, Trial base, std::vector<Fault> faults,
            bool all)
      : scenario_(scenario),
        base_(std::move(base)),
        faults_(std::move(faults)),
        all_(all) {
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) threads.emplace_back([this] { Work(); });
    for (std::thread& thread : threads) thread.join();
  }

  int runs() const { return runs_; }
  const std::vector<std::string>& errors() const { return errors_; }

 private:
  static constexpr int kThreads = 3;

  // A fault may cause calls beyond the last one of the undisturbed run.
  void Work() {
    for (std::size_t i = 0; (i = next_++) < faults_.size();) {
      Fault fault = faults_[i];
      while (Inject(fault) && all_ && fault.is_last) ++fault.when;
    }
  }

  // Returns whether the call was made.
  bool Inject(const Fault& fault) {
    const std::string option =
        Concat(fault.call, ":error=", fault.error, ":when=", fault.when);
    const Trial run = RunTraced(
        scenario_, {"-e", "trace=" + fault.call, "-e", "inject=" + option});
    const std::string error =
        fault.error == "EINTR" && MayBeInterrupted(run.trace) &&
                !IsSame(run, base_)
            ? "did not repeat an interrupted call: " + Shown(run)
            : ErrorOf(run, base_, scenario_, LeftAfter(fault, scenario_));
    const std::lock_guard lock(mutex_);
    ++runs_;
    if (!error.empty()) errors_.push_back(option + ": " + error);
    return run.trace.find("(INJECTED)") != std::string::npos;
  }

  const Scenario& scenario_;
  const Trial base_;
  const std::vector<Fault> faults_;
  const bool all_;
  std::atomic<std::size_t> next_ = 0;
  std::mutex mutex_;
  int runs_ = 0;                     // Guarded by mutex_.
  std::vector<std::string> errors_;  // Guarded by mutex_.
};

class FaultTest : public testing::TestWithParam<Scenario> {
 protected:
  void SetUp() override {
    if (kSanitized) GTEST_SKIP() << "faults would hit the sanitizer's calls";
  }
};

TEST_P(FaultTest, AFailedCallLosesNothing) {
  if (const std::string why = WhyNoFaults(); !why.empty()) GTEST_SKIP() << why;
  const Choice choice = SelectedFaults();
  const Trial base = RunTraced(GetParam(), {});
  ASSERT_EQ(base.outcome.status, GetParam().status) << Shown(base);
  std::vector<Fault> faults = FaultsOf(base.trace);
  const std::size_t count = faults.size();
  EXPECT_GT(count, 30U) << base.trace;
  if (!choice.all) faults = SampleOf(std::move(faults), choice.seed);

  const FaultLoop loop(GetParam(), base, std::move(faults), choice.all);
  std::cout << count << " faults, "
            << (choice.all ? "all injected" : Concat("seed ", choice.seed))
            << "; " << loop.runs() << " runs\n";
  for (const std::string& error : loop.errors()) ADD_FAILURE() << error;
}

// A limit of three allows only the standard streams, and the loader fails.
TEST_P(FaultTest, TooFewDescriptorsLoseNothing) {
  const Trial base = RunScenario(GetParam(), {"env"});
  ASSERT_EQ(base.outcome.status, GetParam().status) << Shown(base);
  for (int limit = 3; limit <= 9; ++limit) {
    SCOPED_TRACE(limit);
    const Trial run = RunScenario(
        GetParam(),
        {"sh", "-c", Concat("ulimit -n ", limit, " && exec \"$0\" \"$@\"")});
    const bool loaded =
        run.outcome.error.find("shared librar") == std::string::npos;
    EXPECT_TRUE(loaded || run.outcome.status == 127) << Shown(run);
    if (!loaded) continue;
    EXPECT_EQ(ErrorOf(run, base, GetParam(), GetParam().left), "");
  }
}

INSTANTIATE_TEST_SUITE_P(Scenarios, FaultTest, testing::ValuesIn(Scenarios()),
                         [](const auto& given) {
                           return std::string(given.param.name);
                         });

}  // namespace
}  // namespace fairlead::tool
