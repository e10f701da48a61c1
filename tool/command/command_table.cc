// The table of all commands, and look-ups in it.

#include "tool/command/command_table.h"

#include <algorithm>
#include <array>
#include <string>
#include <vector>

#include "fairlead/text/strings.h"
#include "tool/base/concat.h"
#include "tool/base/escapes.h"
#include "tool/base/failure.h"
#include "tool/command/nearest.h"

namespace fairlead::tool {
namespace {

constexpr std::array kCommands = {
    &kSendCommand,    &kRecvCommand,       &kListenCommand, &kResolveCommand,
    &kIniCommand,     &kLogCommand,        &kTimeCommand,   &kSizeCommand,
    &kCodeCommand,    &kSumCommand,        &kCryptCommand,  &kHelpCommand,
    &kVersionCommand, &kCompletionCommand,
};

const Command* Find(std::span<const Command* const> commands,
                    std::string_view name) {
  const auto found = std::ranges::find(
      commands, name, [](const Command* command) { return command->name; });
  return found == commands.end() ? nullptr : *found;
}

// "unknown command 'sned'; did you mean 'send'?"
[[noreturn]] void FailForUnknown(std::string_view what, std::string_view name,
                                 std::span<const Command* const> commands,
                                 std::string_view help) {
  std::vector<std::string_view> names;
  for (const Command* const command : commands) names.push_back(command->name);
  const std::string nearest = Suggestion(MakeLower(std::string(name)), names);
  throw Failure(
      kWrongUsage,
      Concat("unknown ", what, " ", Quoted(name), "; ",
             nearest.empty() ? Concat("see 'fairlead ", help, "'")
                             : Concat("did you mean '", nearest, "'?")));
}

}  // namespace

std::span<const Command* const> Commands() { return kCommands; }

const Command* FindCommand(std::string_view name) {
  return Find(kCommands, name);
}

const Command& KnownCommand(std::string_view name) {
  if (const Command* const known = FindCommand(name)) return *known;
  if (name.starts_with('-'))
    throw Failure(kWrongUsage,
                  Concat("expected a command before ", Quoted(name),
                         ": fairlead COMMAND [-name value]..."));
  FailForUnknown("command", name, kCommands, "help");
}

const Command& KnownSubcommand(const Command& command, std::string_view name) {
  if (const Command* const known = Find(command.subcommands, name))
    return *known;
  if (command.subcommands.empty())
    throw Failure(kWrongUsage,
                  Concat("'", command.name, "' has no subcommands"));
  FailForUnknown("subcommand", name, command.subcommands,
                 Concat("help ", command.name));
}

}  // namespace fairlead::tool
