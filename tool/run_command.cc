// Runs the command that the arguments name.

#include "tool/run_command.h"

#include <exception>
#include <string>
#include <string_view>

#include "tool/base/concat.h"
#include "tool/base/escapes.h"
#include "tool/base/failure.h"
#include "tool/command/arguments.h"
#include "tool/command/command_table.h"
#include "tool/command/parameters.h"
#include "tool/command/usage.h"
#include "tool/help/help_text.h"
#include "tool/io/output.h"

namespace fairlead::tool {
namespace {

// Returns the name of the command. "-help" and "--version" in its place mean
// the command, "-h" and "-?" mean `help`.
std::string_view CommandName(std::string_view argument) {
  if (argument == "-h" || argument == "-?") return kHelpCommand.name;
  const std::string_view bare =
      argument.substr(argument.starts_with("--")  ? 2
                      : argument.starts_with('-') ? 1
                                                  : 0);
  return bare == kHelpCommand.name || bare == kVersionCommand.name ? bare
                                                                   : argument;
}

bool IsHelp(std::string_view argument) {
  return argument == "-help" || argument == "--help";
}

// Runs a command that has no subcommands.
//
// @param arguments the last part of its name and what follows it
ExitStatus RunAction(const Command& command, std::span<char* const> arguments,
                     const Output& output) {
  const ParsedArguments parsed(command, arguments);
  if (parsed.Has(kHelp)) {
    output.Write(CommandHelp(command));
    return kDone;
  }
  CheckUses(parsed);
  return command.action.run(parsed, output);
}

ExitStatus Run(const Command& command, std::span<char* const> arguments,
               const Output& output) {
  if (command.subcommands.empty()) return RunAction(command, arguments, output);
  const std::string_view next = arguments.size() > 1 ? arguments[1] : "-";
  if (IsHelp(next)) {
    output.Write(CommandHelp(command));
    return kDone;
  }
  if (next.starts_with('-'))
    throw Failure(kWrongUsage, Concat("missing subcommand; see 'fairlead help ",
                                      command.name, "'"));
  return RunAction(KnownSubcommand(command, next), arguments.subspan(1),
                   output);
}

const Command& CommandIn(std::span<char* const> arguments) {
  if (arguments.empty()) throw Failure(kWrongUsage, std::string(ShortUsage()));
  return KnownCommand(CommandName(arguments[0]));
}

}  // namespace

ExitStatus RunCommand(std::span<char* const> arguments) {
  std::string_view name;
  try {
    const Output output;
    const Command& command = CommandIn(arguments);
    name = command.name;
    return Run(command, arguments, output);
  } catch (const std::exception&) {
    const Failure failure = CaughtFailure();
    if (failure.status() != kReaderGone) PrintError(name, failure.what());
    return failure.status();
  }
}

}  // namespace fairlead::tool
