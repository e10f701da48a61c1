// The command `help`.

#include <array>
#include <string>

#include "tool/command/command_table.h"
#include "tool/help/help_text.h"

namespace fairlead::tool::help {
namespace {

constexpr Parameter kCommandName = {.name = "",
                                    .placeholder = "COMMAND",
                                    .kind = Kind::kCommand,
                                    .group = Group::kArguments,
                                    .help = "the command to explain"};
constexpr Parameter kSubcommandName = {.name = "",
                                       .placeholder = "SUBCOMMAND",
                                       .kind = Kind::kSubcommand,
                                       .group = Group::kArguments,
                                       .help = "its subcommand to explain"};

constexpr auto kUses = Uses(Optional(kCommandName, Optional(kSubcommandName)));

ExitStatus Help(const Arguments<kUses>& arguments, const Output& output) {
  if (!arguments.Has(kCommandName)) {
    output.Write(GeneralHelp());
    return kDone;
  }
  const Command& command = KnownCommand(arguments.Text(kCommandName));
  output.Write(CommandHelp(
      arguments.Has(kSubcommandName)
          ? KnownSubcommand(command, arguments.Text(kSubcommandName))
          : command));
  return kDone;
}

constexpr auto kExamples = std::to_array<Example>({
    {"fairlead help", "Lists the commands."},
    {"fairlead help send", "Explains 'send', as 'fairlead send -help' does."},
    {"fairlead help ini set", "Explains the subcommand 'set' of 'ini'."},
});

constexpr auto kStatuses = std::to_array<Status>({
    {kDone, "success"},
    {kWrongUsage, "wrong usage, or no such command"},
    {kCannotWrite, "standard output cannot be written"},
});

}  // namespace
}  // namespace fairlead::tool::help

namespace fairlead::tool {

constinit const Command kHelpCommand = {
    .name = "help",
    .summary = "list the commands, or explain one",
    .description = "Prints the help to standard output.",
    .action = ActionOf<help::kUses, help::Help>(),
    .examples = help::kExamples,
    .statuses = help::kStatuses,
};

}  // namespace fairlead::tool
