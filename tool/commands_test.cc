// Tests of the consistency of the command table.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>

#include "tool/base/concat.h"
#include "tool/command/arguments.h"
#include "tool/command/command_table.h"
#include "tool/command/parameters.h"
#include "tool/command/usage.h"
#include "tool/help/help_text.h"
#include "tool/testing.h"

namespace fairlead::tool::commands_test {
namespace {

// Returns the commands and their subcommands.
std::vector<const Command*> All() {
  std::vector<const Command*> all;
  for (const Command* const command : Commands()) {
    all.push_back(command);
    all.insert(all.end(), command->subcommands.begin(),
               command->subcommands.end());
  }
  return all;
}

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

TEST(CommandsTest, EveryEntryIsComplete) {
  for (const Command* const command : All()) {
    SCOPED_TRACE(FullName(*command));
    EXPECT_FALSE(command->summary.empty());
    EXPECT_FALSE(command->summary.ends_with('.'));
    EXPECT_TRUE(command->description.ends_with('.'));
    EXPECT_FALSE(command->examples.empty());
    EXPECT_EQ(command->action.run == nullptr, !command->subcommands.empty());
    for (const Example& example : command->examples) {
      EXPECT_TRUE(example.line.starts_with("fairlead "));
      EXPECT_TRUE(example.meaning.ends_with('.'));
    }
  }
}

TEST(CommandsTest, EveryStatusHasAMeaning) {
  for (const Command* const command : All()) {
    SCOPED_TRACE(FullName(*command));
    EXPECT_TRUE(std::ranges::is_sorted(
        command->statuses, std::ranges::less_equal(), &Status::status));
    EXPECT_EQ(command->statuses.front().status, kDone);
    for (const Status& status : command->statuses) {
      EXPECT_FALSE(status.meaning.empty());
      EXPECT_FALSE(Meaning(status.status).empty());
    }
  }
}

TEST(CommandsTest, EveryCommandHasTheCommonStatuses) {
  for (const Command* const command : All()) {
    SCOPED_TRACE(FullName(*command));
    const std::vector<Status> statuses = StatusesOf(*command);
    EXPECT_TRUE(std::ranges::is_sorted(statuses, std::ranges::less_equal(),
                                       &Status::status));
    for (const ExitStatus common : {kCannotRead, kReaderGone})
      EXPECT_EQ(std::ranges::count(statuses, common, &Status::status), 1);
  }
}

TEST(CommandsTest, OnlyACommandThatWaitsCanBeInterrupted) {
  const auto listed = [](std::string_view name) {
    return std::ranges::find(FindCommand(name)->statuses, kInterrupted,
                             &Status::status) !=
           FindCommand(name)->statuses.end();
  };
  for (const char* const name :
       {"send", "recv", "listen", "resolve", "log", "crypt"})
    EXPECT_TRUE(listed(name)) << name;
  for (const char* const name : {"time", "size", "code", "help", "version"})
    EXPECT_FALSE(listed(name)) << name;
}

TEST(CommandsTest, EveryCommandIsFoundByItsName) {
  for (const Command* const command : Commands()) {
    EXPECT_EQ(FindCommand(command->name), command);
    EXPECT_EQ(command->parent, nullptr);
    for (const Command* const subcommand : command->subcommands) {
      EXPECT_EQ(&KnownSubcommand(*command, subcommand->name), subcommand);
      EXPECT_EQ(subcommand->parent, command);
    }
  }
  EXPECT_EQ(FindCommand("nosuch"), nullptr);
}

bool HasRange(Kind kind) {
  return kind == Kind::kNumber || kind == Kind::kInteger ||
         kind == Kind::kDuration;
}

// A shell takes some characters as its own, so the same choice has a name
// without them.
void ExpectPlainName(const Parameter& parameter, const Choice& choice) {
  SCOPED_TRACE(choice.name);
  EXPECT_TRUE(
      std::ranges::any_of(parameter.choices, [&choice](const Choice& other) {
        return other.value == choice.value &&
               other.name.find_first_not_of(
                   "abcdefghijklmnopqrstuvwxyz0123456789") ==
                   std::string_view::npos;
      }));
}

void ExpectSound(const Parameter& parameter) {
  SCOPED_TRACE(Spelling(parameter));
  EXPECT_EQ(
      parameter.name.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789"),
      std::string_view::npos);
  EXPECT_EQ(Placeholder(parameter).empty(), parameter.kind == Kind::kSwitch);
  EXPECT_EQ(parameter.choices.empty(), parameter.kind != Kind::kChoice);
  EXPECT_FALSE(parameter.help.empty());
  EXPECT_FALSE(parameter.help.ends_with('.'));
  EXPECT_EQ(parameter.range.least < parameter.range.most,
            HasRange(parameter.kind));
  for (const Choice& choice : parameter.choices)
    ExpectPlainName(parameter, choice);
  if (parameter.kind == Kind::kInteger) {
    EXPECT_EQ(parameter.range.least, 0U);
    EXPECT_FALSE(parameter.remedy.empty());
  }
  EXPECT_TRUE(parameter.unlimited.empty() || parameter.kind == Kind::kNumber ||
              parameter.kind == Kind::kDuration);
  if (!parameter.fallback.empty()) {
    EXPECT_NO_THROW(CheckValue(parameter, parameter.fallback));
  }
}

TEST(CommandsTest, EveryParameterIsSound) {
  for (const Command* const command : All()) {
    SCOPED_TRACE(FullName(*command));
    std::set<std::string_view> names;
    for (const Parameter* const parameter : ParametersOf(*command)) {
      ExpectSound(*parameter);
      EXPECT_TRUE(parameter->name.empty() ||
                  names.insert(parameter->name).second);
    }
    EXPECT_EQ(FindParameter(*command, "help"), &kHelp);
  }
}

TEST(CommandsTest, EveryConditionIsAParameterOfItsCommand) {
  for (const Command* const command : All())
    for (const Use& use : command->action.uses)
      if (use.mark == Mark::kCondition) {
        EXPECT_TRUE(Lists(command->action.uses, *use.parameter));
      }
}

TEST(CommandsTest, EveryExcludedParameterIsOneOfItsCommand) {
  for (const Command* const command : All())
    for (const Parameter* const parameter : ParametersOf(*command))
      for (const Parameter* const excluded : parameter->excluded)
        EXPECT_TRUE(Lists(command->action.uses, *excluded))
            << parameter->name << " and " << excluded->name;
}

const Command& CommandOf(Words& words) {
  const Command& command = KnownCommand(words.at(0));
  if (command.subcommands.empty()) return command;
  words.erase(words.begin());
  return KnownSubcommand(command, words.at(0));
}

// Returns whether the example needs no server and no file.
bool RunsAnywhere(const Words& words) {
  return std::ranges::none_of(words, [](const std::string& word) {
    return word == "-host" || word == "-port" || word == "-file" ||
           word == "-settings";
  });
}

// Runs the examples that run anywhere, with and without a reader of their
// output. Of the others, checks the arguments. What follows a '>' is for the
// shell.
TEST(CommandsTest, EveryExampleIsRight) {
  for (const Command* const command : All()) {
    for (const Example& example : command->examples) {
      SCOPED_TRACE(example.line);
      Words words = Split(example.line.substr(0, example.line.find(" >")));
      words.erase(words.begin());
      if (RunsAnywhere(words)) {
        const Outcome outcome = Fairlead(words);
        EXPECT_EQ(outcome.status, 0) << outcome.error;
        EXPECT_NE(outcome.output, "");
        const Outcome unread =
            RunProgram({.arguments = words, .output_is_broken = true});
        EXPECT_EQ(unread.status, 141);
        EXPECT_EQ(unread.error.find("fairlead"), std::string::npos);
        continue;
      }
      const Command& called = CommandOf(words);
      std::vector<char*> pointers;
      for (std::string& word : words) pointers.push_back(word.data());
      EXPECT_NO_THROW(CheckUses(ParsedArguments(called, pointers)));
    }
  }
}

}  // namespace
}  // namespace fairlead::tool::commands_test
