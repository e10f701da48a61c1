// A command that succeeds and needs no peer prints nothing on standard error.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <string>
#include <string_view>

#include "tool/command/command.h"
#include "tool/command/command_table.h"
#include "tool/testing.h"

namespace fairlead::tool::success_test {
namespace {

// What the file box.ini of an example may have to hold: an example that adds
// wants less than one that changes.
constexpr std::array<const char*, 4> kContents = {
    "[server]\nport=80\n[cache]\nlimit=4k\n", "[server]\n#port=80\n",
    "[server]\nhost=a\n", "[other]\n"};

bool NeedsPeer(std::string_view line) {
  return std::ranges::any_of(
      std::array{" -host ", " -port ", " -settings ", " listen "},
      [line](std::string_view word) {
        return line.find(word) != std::string_view::npos;
      });
}

// Runs the line as a user would, in a folder with the files that examples name.
Outcome RunIn(const TempFolder& folder, std::string_view line) {
  folder.File("a.txt", "hello");
  folder.File("a.aes", RandomBytes(32));
  folder.File("key", RandomBytes(32));
  folder.File("edits.txt", "");
  std::filesystem::create_symlink(Program(), folder.Path("fairlead"));
  std::filesystem::create_directories(folder.Path(".zsh/completions"));
  return RunProgram(
      {.arguments = {"-c",
                     "cd \"$0\" && HOME=$0 KEY=secret PATH=$0:$PATH && export "
                     "KEY PATH && " +
                         std::string(line),
                     folder.path()},
       .program = "/bin/sh"});
}

// Returns the outcome with the first content with which the line succeeds.
Outcome FirstSuccess(std::string_view line) {
  Outcome outcome;
  for (const char* const content : kContents) {
    const TempFolder folder;
    for (const char* const name : {"box.ini", "new.ini", "local.ini"})
      folder.File(name, content);
    outcome = RunIn(folder, line);
    if (outcome.status == 0) return outcome;
  }
  const TempFolder folder;
  return RunIn(folder, line);
}

void ExpectSilent(const Command& command) {
  for (const Example& example : command.examples) {
    if (NeedsPeer(example.line)) continue;
    SCOPED_TRACE(example.line);
    const Outcome outcome = FirstSuccess(example.line);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.error, "");
  }
}

TEST(SuccessTest, EveryExampleWithoutAPeerIsSilentOnStandardError) {
  for (const Command* const command : Commands()) {
    ExpectSilent(*command);
    for (const Command* const subcommand : command->subcommands)
      ExpectSilent(*subcommand);
  }
}

}  // namespace
}  // namespace fairlead::tool::success_test
