// The small commands, and what holds the table together.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>

#include "tool/base/concat.h"
#include "tool/base/failure.h"
#include "tool/command/arguments.h"
#include "tool/command/command_table.h"
#include "tool/help/completion_scripts.h"
#include "tool/help/help_text.h"
#include "tool/help/man_page.h"
#include "tool/run_command.h"
#include "tool/testing.h"

namespace fairlead::tool {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

Words Split(std::string_view line) {
  Words words;
  std::string word;
  for (const char c : Concat(line, " ")) {
    if (c != ' ')
      word += c;
    else if (!word.empty())
      words.push_back(std::exchange(word, ""));
  }
  return words;
}

std::string Unroffed(std::string text) {
  for (const auto& [roff, plain] :
       {std::pair{"\\-", "-"}, {"\\e", "\\"}, {"\\(aq", "'"}, {"\\(ti", "~"}})
    for (std::size_t at = 0; (at = text.find(roff, at)) != std::string::npos;)
      text.replace(at++, std::string_view(roff).size(), plain);
  return text;
}

TEST(CommandsTest, EveryEntryIsComplete) {
  for (const Command* const command : Commands()) {
    SCOPED_TRACE(command->name);
    EXPECT_FALSE(command->summary.empty());
    EXPECT_FALSE(command->story.empty());
    EXPECT_TRUE(command->story.ends_with('.'));
    EXPECT_GE(command->examples.size(), 2U);
    EXPECT_NE(command->run, nullptr);
    EXPECT_EQ(FindCommand(command->name), command);
    EXPECT_NE(FindParameter(*command, "help"), nullptr);
    EXPECT_TRUE(std::ranges::is_sorted(command->statuses));
    for (const ExitStatus status : command->statuses)
      EXPECT_FALSE(Meaning(status).empty());
  }
  EXPECT_EQ(FindCommand("nosuch"), nullptr);
}

TEST(CommandsTest, EveryParameterIsSound) {
  for (const Command* const command : Commands()) {
    std::set<std::string_view> names;
    for (const Parameter& parameter : command->parameters) {
      SCOPED_TRACE(Spelling(parameter));
      EXPECT_TRUE(names.insert(parameter.name).second);
      EXPECT_EQ(parameter.name.find_first_not_of(
                    "abcdefghijklmnopqrstuvwxyz0123456789"),
                std::string_view::npos);
      EXPECT_EQ(parameter.word.empty(), parameter.kind == Kind::kSwitch);
      EXPECT_FALSE(parameter.group.empty());
      EXPECT_FALSE(parameter.help.empty());
      EXPECT_FALSE(parameter.help.ends_with('.'));
      EXPECT_EQ(parameter.least < parameter.most,
                parameter.kind == Kind::kNumber);
    }
  }
}

TEST(CommandsTest, HelpManPageAndCompletionsKnowEverything) {
  const std::string man = Unroffed(ManPage());
  const std::string bash = BashCompletion();
  const std::string zsh = ZshCompletion();
  for (const Command* const command : Commands()) {
    const std::string name(command->name);
    SCOPED_TRACE(name);
    EXPECT_THAT(GeneralHelp(), HasSubstr(Concat("\n  ", name, " ")));
    EXPECT_THAT(man, HasSubstr(Concat("\n.SS ", name, "\n")));
    EXPECT_THAT(bash, HasSubstr(Concat("\n    ", name, ")\n")));
    EXPECT_THAT(zsh, HasSubstr(Concat("\n    ", name, ")\n")));

    const std::string help = CommandHelp(*command);
    const std::string section =
        man.substr(man.find(Concat("\n.SS ", name, "\n")) + 1);
    for (const Parameter& parameter : command->parameters) {
      SCOPED_TRACE(parameter.name);
      EXPECT_THAT(help, HasSubstr(Concat("\n  ", Spelling(parameter))));
      EXPECT_THAT(section.substr(0, section.find("\n.SS ")),
                  HasSubstr(Concat("-", parameter.name)));
      EXPECT_THAT(bash.substr(bash.find(Concat("\n    ", name, ")\n"))),
                  HasSubstr(Concat("-", parameter.name)));
      EXPECT_THAT(zsh.substr(zsh.find(Concat("\n    ", name, ")\n"))),
                  HasSubstr(Concat("'-", parameter.name, "[")));
      for (const Verb& word : parameter.verbs) {
        SCOPED_TRACE(word.name);
        EXPECT_THAT(help, HasSubstr(Concat("\n    ", word.name, " ")));
        EXPECT_THAT(section, HasSubstr(Concat("\n.B ", word.name, "\n")));
      }
    }
    if (command->operand != nullptr)
      for (const Verb& verb : command->operand->verbs) {
        SCOPED_TRACE(verb.name);
        EXPECT_THAT(help, HasSubstr(Concat("\n  ", verb.name, " ")));
        EXPECT_THAT(section, HasSubstr(Concat("\n.BI ", verb.name, " ")));
        EXPECT_THAT(bash,
                    testing::ContainsRegex(Concat(" ", verb.name, "[ ']")));
        EXPECT_THAT(zsh,
                    testing::ContainsRegex(Concat("[( ]", verb.name, "[ )]")));
      }
    for (const Example& example : command->examples) {
      EXPECT_THAT(help, HasSubstr(std::string(example.line)));
      EXPECT_THAT(man, HasSubstr(std::string(example.line)));
    }
    for (const ExitStatus status : command->statuses)
      EXPECT_THAT(help, HasSubstr(Concat("  ", static_cast<int>(status), " ")));
  }
}

TEST(CommandsTest, HelpFitsATerminal) {
  std::string all = GeneralHelp();
  for (const Command* const command : Commands()) all += CommandHelp(*command);
  for (std::size_t at = 0; at < all.size();) {
    const std::size_t end = all.find('\n', at);
    EXPECT_LE(end - at, 79U) << all.substr(at, end - at);
    at = end + 1;
  }
}

// Of examples that need no server and no file, all are run; of the others, the
// words are checked. What follows a '>' is the shell's.
TEST(CommandsTest, EveryExampleIsRight) {
  for (const Command* const command : Commands()) {
    for (const Example& example : command->examples) {
      SCOPED_TRACE(example.line);
      Words words = Split(example.line.substr(0, example.line.find(" >")));
      ASSERT_EQ(words.at(0), "fairlead");
      words.erase(words.begin());
      const bool runs_anywhere =
          std::ranges::find(words, "-host") == words.end() &&
          std::ranges::find(words, "-file") == words.end() &&
          std::ranges::find(words, "-settings") == words.end();
      if (runs_anywhere) {
        const Outcome outcome = Fairlead(words);
        EXPECT_EQ(outcome.status, 0) << outcome.error;
        EXPECT_NE(outcome.output, "");
        continue;
      }
      std::vector<char*> pointers;
      for (std::string& word : words) pointers.push_back(word.data());
      EXPECT_NO_THROW(Arguments(KnownCommand(words.at(0)), pointers));
    }
  }
}

TEST(CommandsTest, HelpPrintsTheSameByEveryWay) {
  for (const Command* const command : Commands()) {
    const std::string name(command->name);
    SCOPED_TRACE(name);
    const std::string help = CommandHelp(*command);
    EXPECT_EQ(Fairlead({"help", name}).output, help);
    EXPECT_EQ(Fairlead({name, "-help"}).output, help);
    EXPECT_EQ(Fairlead({name, "--help"}).output, help);
  }
  EXPECT_EQ(Fairlead({"help"}).output, GeneralHelp());
  EXPECT_EQ(Fairlead({"-help"}).output, GeneralHelp());
  EXPECT_EQ(Fairlead({"--help", "send"}).output,
            CommandHelp(*FindCommand("send")));
}

TEST(CommandsTest, VersionIsOneLine) {
  const Outcome outcome = Fairlead({"version"});
  EXPECT_THAT(outcome.output, testing::MatchesRegex("fairlead [0-9.]+\n"));
  EXPECT_EQ(outcome.error, "");
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(Fairlead({"--version"}).output, outcome.output);
}

TEST(CommandsTest, ResolvePrintsAddresses) {
  const Outcome dotted = Fairlead({"resolve", "-host", "192.0.2.7"});
  EXPECT_EQ(dotted.output, "192.0.2.7\n");
  EXPECT_EQ(dotted.error, "dns resolved: 192.0.2.7\n");
  EXPECT_EQ(dotted.status, 0);
  const Outcome name = Fairlead({"resolve", "-host", "localhost", "-quiet"});
  EXPECT_THAT(name.output, StartsWith("127.0.0.1\n"));
  EXPECT_EQ(name.error, "");
}

TEST(CommandsTest, RecvPrintsABanner) {
  const Outcome demo = Fairlead({"recv", "-demo", "-idle", "86400"});
  EXPECT_EQ(demo.output, "fairlead at your service\r\n");
  EXPECT_EQ(demo.status, 0);

  ScriptedServer server([](int connection) {
    SendAll(connection, "220 ready\r\n");
    EXPECT_EQ(ReceiveAll(connection), "");
  });
  const Outcome banner =
      Fairlead(server.Arguments("recv") +
               Words{"-lines", "1", "-quiet", "-idle", "86400"});
  EXPECT_EQ(banner.output, "220 ready\r\n");
  EXPECT_EQ(banner.error, "");
  EXPECT_EQ(banner.status, 0);
}

bool IsInstalled(const std::string& program) {
  return RunProgram({.arguments = {"-c", "command -v " + program},
                     .program = "/bin/sh"})
             .status == 0;
}

// What the command says of the page on its standard output and error.
std::string Faults(const std::string& command) {
  const TempFolder folder;
  const std::string page = folder.File("fairlead.1", ManPage());
  const Outcome outcome =
      RunProgram({.arguments = {"-c", "PAGE=" + page + "; " + command},
                  .program = "/bin/sh"});
  return outcome.output + outcome.error;
}

TEST(CommandsTest, MandocFindsNoFaultInTheManPage) {
  if (!IsInstalled("mandoc")) GTEST_SKIP() << "mandoc is not installed";
  EXPECT_EQ(Faults("mandoc -T lint -W warning $PAGE"), "");
  EXPECT_NE(Faults("echo .XX >> $PAGE; mandoc -T lint -W warning $PAGE"), "");
}

TEST(CommandsTest, ManFindsNoFaultInTheManPage) {
  if (!IsInstalled("man")) GTEST_SKIP() << "man is not installed";
  const std::string check =
      "man --warnings -E UTF-8 -l -Tutf8 -Z $PAGE > /dev/null";
  EXPECT_EQ(Faults(check), "");
  EXPECT_NE(Faults("echo .XX >> $PAGE; " + check), "");
}

// What bash offers for the words, of which the last is being typed.
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

TEST(CommandsTest, BashCompletes) {
  if (!IsInstalled("bash")) GTEST_SKIP() << "bash is not installed";
  EXPECT_EQ(Completed("fairlead re"), "recv resolve\n");
  EXPECT_EQ(Completed("fairlead send -p"), "-port -profile -pascal\n");
  EXPECT_EQ(Completed("fairlead send -quiet -vi"), "-view\n");
  EXPECT_EQ(Completed("fairlead send -eol ''"), "none lf crlf\n");
  EXPECT_EQ(Completed("fairlead send -port ''"), "\n");
  EXPECT_EQ(Completed("fairlead send -file /dev/nul"), "/dev/null\n");
  EXPECT_EQ(Completed("fairlead completion z"), "zsh\n");
  EXPECT_EQ(Completed("fairlead help ver"), "version\n");
  EXPECT_EQ(Completed("fairlead ini s"), "set sections show\n");
  EXPECT_EQ(Completed("fairlead ini get -format j"), "json\n");
  EXPECT_EQ(Completed("fairlead time now -form str"),
            "strtime strtimeonly strdateonly\n");
}

TEST(CommandsTest, ZshTakesItsScript) {
  if (!IsInstalled("zsh")) GTEST_SKIP() << "zsh is not installed";
  const Outcome outcome = RunProgram({.arguments = {"-n", "/dev/stdin"},
                                      .input = ZshCompletion(),
                                      .program = "zsh"});
  EXPECT_EQ(outcome.error, "");
  EXPECT_EQ(outcome.status, 0);
}

}  // namespace
}  // namespace fairlead::tool
