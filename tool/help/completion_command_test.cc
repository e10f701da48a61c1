// The command `completion` as a process, and its scripts in shells.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "tool/base/concat.h"
#include "tool/command/command_table.h"
#include "tool/help/completion_scripts.h"
#include "tool/testing.h"

namespace fairlead::tool::completion_command_test {
namespace {

using testing::HasSubstr;
using testing::Not;

bool IsInstalled(const std::string& program) {
  return RunProgram({.arguments = {"-c", "command -v " + program},
                     .program = "/bin/sh"})
             .status == 0;
}

// Returns what bash offers for the line, whose last word is being typed.
std::string Completed(const std::string& words) {
  return RunProgram({.arguments = {"-c",
                                   "source /dev/stdin\n"
                                   "COMP_WORDS=(" +
                                       words +
                                       ")\n"
                                       "COMP_CWORD=$((${#COMP_WORDS[@]} - 1))\n"
                                       "_fairlead 2>/dev/null\n"
                                       "echo \"${COMPREPLY[@]}\""},
                     .input = Fairlead({"completion", "bash"}).output,
                     .program = "bash"})
      .output;
}

TEST(CompletionCommandTest, BashCompletes) {
  if (!IsInstalled("bash")) GTEST_SKIP() << "bash is not installed";
  EXPECT_EQ(Completed("fairlead re"), "recv resolve\n");
  EXPECT_EQ(Completed("fairlead send -p"),
            "-port -profile -pascal -prefix -prefixadd -perline\n");
  EXPECT_EQ(Completed("fairlead send -quiet -vi"), "-view\n");
  EXPECT_EQ(Completed("fairlead send -eol ''"), "none lf crlf\n");
  EXPECT_EQ(Completed("fairlead send -port ''"), "\n");
  EXPECT_EQ(Completed("fairlead send -timeout ''"), "none\n");
  EXPECT_EQ(Completed("fairlead send -file /dev/nul"), "/dev/null\n");
  EXPECT_EQ(Completed("fairlead completion z"), "zsh\n");
}

TEST(CompletionCommandTest, BashCompletesASubcommand) {
  if (!IsInstalled("bash")) GTEST_SKIP() << "bash is not installed";
  EXPECT_EQ(Completed("fairlead ini s"), "set sections show\n");
  EXPECT_EQ(
      Completed("fairlead ini get -"),
      "-file -section -key -index -default -type -records -disabled -format "
      "-help\n");
  EXPECT_EQ(Completed("fairlead ini create -"), "-file -dryrun -check -help\n");
  EXPECT_EQ(Completed("fairlead ini get -format j"), "json\n");
  EXPECT_EQ(Completed("fairlead ini show -format ''"), "text json\n");
  EXPECT_EQ(Completed("fairlead ini disable -char ''"), "hash semicolon\n");
  EXPECT_EQ(Completed("fairlead time now -form str"),
            "strtime strtimeonly strdateonly\n");
  EXPECT_EQ(Completed("fairlead time day -form ''"),
            "clock seconds number all\n");
}

TEST(CompletionCommandTest, BashCompletesHelp) {
  if (!IsInstalled("bash")) GTEST_SKIP() << "bash is not installed";
  EXPECT_EQ(Completed("fairlead help ver"), "version\n");
  EXPECT_EQ(Completed("fairlead help ini s"), "set sections show\n");
  EXPECT_EQ(Completed("fairlead help code ''"), "make read\n");
  EXPECT_EQ(Completed("fairlead help send ''"), "\n");
}

TEST(CompletionCommandTest, ZshOffersPerSubcommand) {
  const std::string script = ZshCompletion();
  const std::size_t at = script.find("\n    'ini get')\n");
  ASSERT_NE(at, std::string::npos);
  const std::string get = script.substr(at, script.find(";;", at) - at);
  EXPECT_THAT(get, HasSubstr("'-default["));
  EXPECT_THAT(get, HasSubstr("'-format["));
  EXPECT_THAT(get, HasSubstr(":format:(text sh json nul assign)'"));
  EXPECT_THAT(get, Not(HasSubstr("'-value[")));
}

// In the list, '#' and ';' would be the shell's own.
TEST(CompletionCommandTest, ZshOffersNoSpecialCharacter) {
  EXPECT_THAT(ZshCompletion(),
              HasSubstr("'-char[the comment character (default #)]:char:(hash "
                        "semicolon)'"));
}

TEST(CompletionCommandTest, ZshOffersNoLimit) {
  EXPECT_THAT(ZshCompletion(),
              HasSubstr("'-idle[stop after TIME without data \\[1ms..365d or "
                        "none\\] (default 5)]:TIME:(none)'"));
}

TEST(CompletionCommandTest, ZshTakesItsScript) {
  if (!IsInstalled("zsh")) GTEST_SKIP() << "zsh is not installed";
  const Outcome outcome = RunProgram({.arguments = {"-n", "/dev/stdin"},
                                      .input = ZshCompletion(),
                                      .program = "zsh"});
  EXPECT_EQ(outcome.error, "");
  EXPECT_EQ(outcome.status, 0);
}

}  // namespace
}  // namespace fairlead::tool::completion_command_test
