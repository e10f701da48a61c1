// Runs the command where something is missing: descriptors, standard streams,
// space on the disk, bytes of each read and write; and kills it at each call.

// The command must succeed completely, or report an error and leave the files
// unchanged. The environment variable FAIRLEAD_FAULTS selects the kills.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <string>
#include <string_view>
#include <vector>

#include "tool/base/concat.h"
#include "tool/base/exit_status.h"
#include "tool/fault_testing.h"
#include "tool/testing.h"

namespace fairlead::tool::fault_limits_test {
namespace {

// A limit is set, or a stream closed, by this command of a shell.
Trial RunAfter(const Scenario& scenario, const std::string& command) {
  return FaultPlace(scenario).Run({"sh", "-c", command, "sh"});
}

class FaultLimitsTest : public FaultTest {
 protected:
  void ExpectDoneOrRefused(const Trial& run) const {
    EXPECT_EQ(ErrorOf(run, base_, GetParam(), GetParam().left), "");
  }
  void ExpectDone(const Trial& run) const {
    EXPECT_TRUE(IsSame(run, base_, GetParam())) << Shown(run);
  }
  // Returns whether the command makes a file of some bytes, and succeeds: of
  // two failures, the other one is reported.
  bool Writes() const {
    return GetParam().status == kDone &&
           std::ranges::any_of(base_.files, [](const auto& file) {
             const auto& [name, text] = file;
             const auto old = GetParam().files.find(name);
             return !text.empty() &&
                    (old == GetParam().files.end() || old->second != text);
           });
  }

  const Trial base_ = FaultPlace(GetParam()).Run({"env"});
};

// A limit of three allows only the standard streams, and the loader fails.
TEST_P(FaultLimitsTest, TooFewDescriptorsLoseNothing) {
  int done = 0;
  for (int limit = 3; limit <= 14; ++limit) {
    SCOPED_TRACE(limit);
    const Trial run =
        RunAfter(GetParam(), Concat("ulimit -n ", limit, " && exec \"$@\""));
    const bool loaded =
        run.outcome.error.find("shared librar") == std::string::npos;
    EXPECT_TRUE(loaded || run.outcome.status == 127) << Shown(run);
    if (!loaded) continue;
    ExpectDoneOrRefused(run);
    if (IsSame(run, base_, GetParam())) ++done;
  }
  EXPECT_GT(done, 0);
}

TEST_P(FaultLimitsTest, WithoutStandardInputOnlyItsReadersFail) {
  const Trial run = RunAfter(GetParam(), "exec \"$@\" <&-");
  if (GetParam().input.empty()) return ExpectDone(run);
  EXPECT_EQ(run.outcome.status, kCannotRead);
  ExpectDoneOrRefused(run);
}

TEST_P(FaultLimitsTest, WithoutStandardOutputOnlyItsWritersFail) {
  const Trial run = RunAfter(GetParam(), "exec \"$@\" >&-");
  if (base_.outcome.output.empty()) return ExpectDone(run);
  EXPECT_EQ(run.outcome.status, kCannotWrite);
  ExpectDoneOrRefused(run);
}

TEST_P(FaultLimitsTest, WithoutStandardErrorNothingIsLost) {
  ExpectDone(RunAfter(GetParam(), "exec \"$@\" 2>&-"));
}

// No file may have a byte, as on a full disk without its errors.
TEST_P(FaultLimitsTest, ALimitOfFileSizesLosesNothing) {
  const Trial run = RunAfter(GetParam(), "ulimit -f 0 && exec \"$@\"");
  ExpectDoneOrRefused(run);
  if (Writes()) {
    EXPECT_EQ(run.outcome.status, kCannotWrite);
  }
}

// A kill during an edit in place may leave anything.
Left LeftByKill(const Scenario& scenario) {
  if (scenario.left == Left::kBeginning || scenario.left == Left::kAppended)
    return scenario.left;
  return std::ranges::find(scenario.arguments, "-inplace") ==
                 scenario.arguments.end()
             ? Left::kOldOrNew
             : Left::kMixed;
}

// Mounts a file system, copies the files there, fills it, runs the command, and
// copies the files back. Text appended to a file may fit into its last block,
// and one written in place into all of them.
constexpr char kOnFullDisk[] = R"(
mkdir ../disk && mount -t tmpfs -o size=256k none ../disk || exit 99
cp -a ./. ../disk && cd ../disk || exit 99
dd if=/dev/zero of=../disk/filler bs=4k 2>../notes
"$@"
status=$?
rm -rf filler ../place/* && cp -a ./. ../place || exit 99
exit $status
)";

TEST_P(FaultLimitsTest, AFullDiskLosesNothing) {
  const Words namespaces = {"unshare", "-rm", "sh", "-c"};
  const Trial mounted =
      FaultPlace(GetParam())
          .Run(namespaces + Words{"mount -t tmpfs none /mnt || exit 99; "
                                  "exec \"$@\"",
                                  "sh"});
  if (mounted.outcome.status != base_.outcome.status)
    GTEST_SKIP() << "no file system can be mounted: " << mounted.outcome.error;
  const Trial run =
      FaultPlace(GetParam()).Run(namespaces + Words{kOnFullDisk, "sh"});
  ExpectDoneOrRefused(run);
  if (Writes() && LeftByKill(GetParam()) == Left::kOldOrNew) {
    EXPECT_EQ(run.outcome.status, kCannotWrite);
  }
}

// Each read and write takes at most so many bytes.
TEST_P(FaultLimitsTest, ShortCountsChangeNothing) {
  for (const int count : {1, 7, 1000}) {
    SCOPED_TRACE(count);
    ExpectDone(FaultPlace(GetParam())
                   .Run({"env", "LD_PRELOAD=" FAIRLEAD_SHORT_COUNTS,
                         Concat("SHORT_COUNT=", count)}));
  }
}

struct Kill {
  std::string call;
  int when;
};

std::vector<Kill> KillsOf(const std::string& trace) {
  std::vector<Kill> kills;
  for (const auto& [call, calls] : CallsIn(trace))
    for (int i = 1; i <= calls.program; ++i)
      kills.push_back({call, calls.loader + i});
  return kills;
}

// The names of the command's own hidden files are not among those.
Files WithoutHidden(Files files) {
  std::erase_if(files, [](const auto& file) {
    return file.first.starts_with(".fairlead.");
  });
  return files;
}

// Kills the command once, and runs it again if that left the old files: it must
// then do its work, and leave nothing of the killed run.
std::string TryKill(const Scenario& scenario, const Trial& base,
                    const Kill& kill) {
  const FaultPlace place(scenario);
  const Trial run = place.RunTraced(
      {"-e", "trace=" + kill.call, "-e",
       Concat("inject=", kill.call, ":signal=KILL:when=", kill.when)});
  const std::string at = Concat(kill.call, " ", kill.when, ": ");
  if (run.outcome.signal == 0) {
    const std::string error = ErrorOf(run, base, scenario, scenario.left);
    return error.empty() ? "" : at + error;
  }
  if (run.outcome.signal != SIGKILL) return at + "crashed: " + Shown(run);
  const Files files = WithoutHidden(run.files);
  const std::string error =
      ErrorOfFiles(files, base, scenario, LeftByKill(scenario));
  if (!error.empty()) return at + error + ": " + Shown(run);
  if (files != scenario.files) return "";
  const Trial again = place.Run({"env"});
  return IsSame(again, base, scenario) ? ""
                                       : at + "then wrong: " + Shown(again);
}

constexpr std::size_t kKillInterval = 16;

TEST_P(FaultLimitsTest, AKillLosesNothing) {
  if (const std::string why = WhyNoFaults(); !why.empty()) GTEST_SKIP() << why;
  const FaultChoice choice = SelectedFaults();
  const Trial base = BaseRun(GetParam());
  const std::vector<Kill> kills = KillsOf(base.trace);
  EXPECT_GT(kills.size(), 10U);
  TryEach(SampleOf(kills.size(), kKillInterval, choice),
          [&](std::size_t i) { return TryKill(GetParam(), base, kills[i]); });
}

INSTANTIATE_TEST_SUITE_P(Scenarios, FaultLimitsTest,
                         testing::ValuesIn(Scenarios()), [](const auto& given) {
                           return std::string(given.param.name);
                         });

}  // namespace
}  // namespace fairlead::tool::fault_limits_test
