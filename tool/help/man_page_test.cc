// Tests of the man page.

#include "tool/help/man_page.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "tool/base/concat.h"
#include "tool/command/command_table.h"
#include "tool/testing.h"

namespace fairlead::tool::man_page_test {
namespace {

using testing::HasSubstr;

std::string Unroffed(std::string text) {
  for (const auto& [roff, plain] :
       {std::pair{"\\-", "-"}, {"\\e", "\\"}, {"\\(aq", "'"}, {"\\(ti", "~"}})
    for (std::size_t at = 0; (at = text.find(roff, at)) != std::string::npos;)
      text.replace(at++, std::string_view(roff).size(), plain);
  return text;
}

std::string SectionOf(const Command& command) {
  const std::string page = Unroffed(ManPage());
  const std::string start = Concat("\n.SS ", FullName(command), "\n");
  const std::size_t at = page.find(start);
  EXPECT_NE(at, std::string::npos) << start;
  return page.substr(at, page.find("\n.SS ", at + 1) - at);
}

void ExpectExplained(const Command& command) {
  SCOPED_TRACE(FullName(command));
  const std::string section = SectionOf(command);
  for (const Parameter* const parameter : ParametersOf(command)) {
    EXPECT_THAT(section, HasSubstr(std::string(parameter->help)));
    for (const Choice& choice : parameter->choices)
      EXPECT_THAT(section, HasSubstr(std::string(choice.name)));
  }
  for (const Example& example : command.examples)
    EXPECT_THAT(section, HasSubstr(std::string(example.line)));
}

TEST(ManPageTest, ExplainsEveryCommandAndSubcommand) {
  for (const Command* const command : Commands()) {
    ExpectExplained(*command);
    for (const Command* const subcommand : command->subcommands)
      ExpectExplained(*subcommand);
  }
}

// Literal text is bold, a placeholder italic.
TEST(ManPageTest, DistinguishesOptionsFromOperands) {
  const std::string page = ManPage();
  EXPECT_THAT(page, HasSubstr("\n.TP\n.I COMMAND\nthe command to explain.\n"));
  EXPECT_THAT(page, HasSubstr("\n.TP\n.BI \\-timeout \" TIME\"\n"));
  EXPECT_THAT(page, HasSubstr("\n.TP\n.B \\-quiet\n"));
}

TEST(ManPageTest, HasTheParagraphsOfADescription) {
  const std::string page = ManPage();
  EXPECT_THAT(page, HasSubstr(".\n.PP\nA line such as #key=value or ;key = "
                              "value is a disabled key. "));
  EXPECT_THAT(page, HasSubstr(".\n.PP\nA header without \\(aq]\\(aq is "
                              "reported as a warning with its line. "));
}

TEST(ManPageTest, SumsUpTheStatuses) {
  const std::string page = ManPage();
  EXPECT_THAT(page, HasSubstr("\n.B 1\nthe answer is no.\n"));
  EXPECT_THAT(page, HasSubstr("\n.B 28\na time limit was reached.\n"));
  EXPECT_THAT(page, HasSubstr("\n.B 130\ninterrupted by Ctrl\\-C (SIGINT).\n"));
  EXPECT_THAT(page,
              HasSubstr("\n.B 141\nthe reader of standard output has ended, as "
                        "in \\(aq| head \\-1\\(aq; without a message.\n"));
}

TEST(ManPageTest, ExplainsDurations) {
  const std::string page = ManPage();
  EXPECT_THAT(page,
              HasSubstr("\n.PP\nTIME is a number of seconds, such as 30 or "
                        "0.5, or has a unit: 500ms, 30s, 2m, 1h, 1d.\n"));
  EXPECT_THAT(page,
              HasSubstr("\n.BI \\-idle \" TIME\"\nstop after TIME without "
                        "data [1ms..365d or none] (default 5).\n"));
}

bool IsInstalled(const std::string& program) {
  return RunProgram({.arguments = {"-c", "command -v " + program},
                     .program = "/bin/sh"})
             .status == 0;
}

// Returns what the command prints about the page.
std::string Faults(const std::string& command) {
  const TempFolder folder;
  const std::string page = folder.File("fairlead.1", ManPage());
  const Outcome outcome =
      RunProgram({.arguments = {"-c", "PAGE=" + page + "; " + command},
                  .program = "/bin/sh"});
  return outcome.output + outcome.error;
}

TEST(ManPageTest, MandocFindsNoFaultInTheManPage) {
  if (!IsInstalled("mandoc")) GTEST_SKIP() << "mandoc is not installed";
  EXPECT_EQ(Faults("mandoc -T lint -W warning $PAGE"), "");
  EXPECT_NE(Faults("echo .XX >> $PAGE; mandoc -T lint -W warning $PAGE"), "");
}

TEST(ManPageTest, ManFindsNoFaultInTheManPage) {
  if (!IsInstalled("man")) GTEST_SKIP() << "man is not installed";
  const std::string check =
      "man --warnings -E UTF-8 -l -Tutf8 -Z $PAGE > /dev/null";
  EXPECT_EQ(Faults(check), "");
  EXPECT_NE(Faults("echo .XX >> $PAGE; " + check), "");
}

}  // namespace
}  // namespace fairlead::tool::man_page_test
