// The command `help` as a process.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "tool/base/concat.h"
#include "tool/command/command_table.h"
#include "tool/help/help_text.h"
#include "tool/testing.h"

namespace fairlead::tool::help_command_test {
namespace {

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

std::size_t Count(const std::string& text, const std::string& part) {
  std::size_t count = 0;
  for (std::size_t at = 0; (at = text.find(part, at)) != std::string::npos;
       ++at)
    ++count;
  return count;
}

TEST(HelpCommandTest, PrintsTheSameByEveryWay) {
  for (const Command* const command : Commands()) {
    const std::string name(command->name);
    SCOPED_TRACE(name);
    const std::string help = CommandHelp(*command);
    EXPECT_EQ(Fairlead({"help", name}).output, help);
    EXPECT_EQ(Fairlead({name, "-help"}).output, help);
    EXPECT_EQ(Fairlead({name, "--help"}).output, help);
  }
  for (const char* const word : {"help", "-help", "--help", "-h", "-?"})
    EXPECT_EQ(Fairlead({word}).output, GeneralHelp()) << word;
  EXPECT_EQ(Fairlead({"--help", "send"}).output,
            CommandHelp(*FindCommand("send")));
}

TEST(HelpCommandTest, ExplainsASubcommand) {
  const std::string help = Fairlead({"help", "ini", "set"}).output;
  EXPECT_EQ(Fairlead({"ini", "set", "-help"}).output, help);
  EXPECT_THAT(help, StartsWith("usage: fairlead ini set -file FILE (-section S "
                               "-key K -value V [-index N] |\n"
                               "       -stdin) [-records] [-dryrun] [-check] "
                               "[-inplace] [-backup SUFFIX]\n\n"
                               "Examples:\n  fairlead ini set "));
  EXPECT_THAT(help, HasSubstr("\n  -value V "));
  EXPECT_THAT(help, Not(HasSubstr("-default")));
  EXPECT_THAT(help, HasSubstr("\n  23   the file cannot be written\n"));
  EXPECT_THAT(help, Not(HasSubstr("\n  6    ")));
}

TEST(HelpCommandTest, ListsTheSubcommandsAndWhatTheyShare) {
  const std::string help = Fairlead({"help", "ini"}).output;
  EXPECT_THAT(help, StartsWith("usage: fairlead ini SUBCOMMAND -file FILE "
                               "[-name value]...\n"));
  for (const Command* const subcommand : FindCommand("ini")->subcommands)
    EXPECT_THAT(help, HasSubstr(Concat("\n  ", subcommand->name, " ")));
  EXPECT_THAT(help, HasSubstr("\n  -file FILE "));
  EXPECT_THAT(help, Not(HasSubstr("\n  -value")));
}

TEST(HelpCommandTest, PrintsEachHeadingOnceAndInOrder) {
  const std::string help = Fairlead({"help", "send"}).output;
  std::size_t last = 0;
  for (const char* const heading :
       {"\nExamples:\n", "\nWhere:\n", "\nWhat:\n", "\nCipher:\n",
        "\nHow long:\n", "\nLog:\n", "\nOutput:\n", "\nExit status:\n"}) {
    EXPECT_EQ(Count(help, heading), 1U) << heading;
    EXPECT_GT(help.find(heading), last);
    last = help.find(heading);
  }
}

TEST(HelpCommandTest, ShowsRangesDefaultsAndChoices) {
  const std::string send = Fairlead({"help", "send"}).output;
  EXPECT_THAT(send, HasSubstr("  -port N            the server's port "
                              "[1..65535]\n"));
  EXPECT_THAT(send, HasSubstr("  -eol none|lf|crlf  append a line end (default "
                              "none)\n"));
  EXPECT_THAT(Fairlead({"help", "time", "day"}).output,
              HasSubstr("  -form FORM         output format (default all)\n"
                        "    clock            20:57:54; the hours continue "
                        "above 24\n"));
}

TEST(HelpCommandTest, ExplainsDurations) {
  const std::string forms =
      "\nTIME is a number of seconds, such as 30 or 0.5, or has a unit: 500ms, "
      "30s, 2m,\n1h, 1d.\n\nExit status:\n";
  for (const char* const name : {"send", "recv", "resolve"}) {
    const std::string help = Fairlead({"help", name}).output;
    EXPECT_THAT(help, HasSubstr("\n  -timeout TIME "));
    EXPECT_THAT(OneLine(help), HasSubstr("[1ms..365d or none] (default 30) "));
    EXPECT_THAT(help, HasSubstr(forms));
  }
  EXPECT_THAT(Fairlead({"help", "size"}).output, Not(HasSubstr("TIME is")));
}

TEST(HelpCommandTest, ATimeLimitIsWhatItsCommandMakesOfIt) {
  const auto help = [](const char* command) {
    return OneLine(Fairlead({"help", command}).output);
  };
  for (const char* const name : {"send", "recv"})
    EXPECT_THAT(help(name),
                HasSubstr("-timeout TIME time limit of each "
                          "attempt, including name resolution and, "));
  EXPECT_THAT(help("resolve"), HasSubstr("-timeout TIME give up after TIME ["));
  EXPECT_THAT(help("listen"),
              HasSubstr("-timeout TIME end TIME after listening "
                        "began, with status 28 ["));
}

TEST(HelpCommandTest, HasTheStatusesOfTheCommand) {
  EXPECT_THAT(Fairlead({"help", "recv"}).output,
              HasSubstr("\n  1    the text of -until or -expect did not come"));
  EXPECT_THAT(
      Fairlead({"help", "ini"}).output,
      HasSubstr(
          "\n  1    not found, disabled, different, or already exists\n"));
  EXPECT_THAT(Fairlead({"help", "size"}).output, Not(HasSubstr("130")));
  for (const char* const name : {"send", "size", "help", "ini"})
    EXPECT_THAT(
        Fairlead({"help", name}).output,
        HasSubstr("\n  141  the reader of standard output has ended, as "
                  "in '| head -1'; without a\n       message\n"));
}

TEST(HelpCommandTest, FitsATerminal) {
  std::string all = GeneralHelp();
  for (const Command* const command : Commands()) {
    all += CommandHelp(*command);
    for (const Command* const subcommand : command->subcommands)
      all += CommandHelp(*subcommand);
  }
  for (std::size_t at = 0; at < all.size();) {
    const std::size_t end = all.find('\n', at);
    EXPECT_LE(end - at, 79U) << all.substr(at, end - at);
    at = end + 1;
  }
}

TEST(HelpCommandTest, FillsTheLinesOfEachParagraph) {
  EXPECT_THAT(Fairlead({"help", "ini"}).output,
              HasSubstr(".\n\nA line such as #key=value or ;key = value is a "
                        "disabled key. Disabled keys and\n"));
}

TEST(HelpCommandTest, ListsEveryParameterAndExample) {
  for (const Command* const command : Commands()) {
    const std::string help = CommandHelp(*command);
    EXPECT_THAT(GeneralHelp(), HasSubstr(Concat("\n  ", command->name, " ")));
    for (const Parameter* const parameter : ParametersOf(*command))
      EXPECT_THAT(help, HasSubstr(Concat("\n  ", Spelling(*parameter))));
    for (const Example& example : command->examples)
      EXPECT_THAT(help, HasSubstr(Concat("\n  ", example.line, "\n")));
  }
}

}  // namespace
}  // namespace fairlead::tool::help_command_test
