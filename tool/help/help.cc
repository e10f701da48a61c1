// The command `help`.

#include <array>

#include "tool/command/arguments.h"
#include "tool/command/command_list.h"
#include "tool/command/parameters.h"
#include "tool/help/help_text.h"
#include "tool/io/output.h"
#include "tool/run_command.h"

namespace fairlead::tool {
namespace {

constexpr Parameter kCommandName = {.name = "",
                                    .word = "COMMAND",
                                    .kind = Kind::kWord,
                                    .group = "Words",
                                    .help = "the command to explain"};

ExitStatus Help(const Arguments& arguments, const Output& output) {
  if (arguments.Has(kCommandName))
    output.Write(CommandHelp(KnownCommand(arguments.Text(kCommandName))));
  else
    output.Write(GeneralHelp());
  return kDone;
}

constexpr std::array kParameters = {kHelp};

constexpr auto kExamples = std::to_array<Example>({
    {"fairlead help", "Lists the commands."},
    {"fairlead help send", "Explains one of them; 'fairlead send -help' too."},
});

constexpr std::array kStatuses = {kDone, kWrongUsage, kCannotWrite};

}  // namespace

constinit const Command kHelpCommand = {
    .name = "help",
    .usage = "[COMMAND]",
    .summary = "list the commands, or explain one",
    .story = "Prints to standard output.",
    .operand = &kCommandName,
    .parameters = kParameters,
    .examples = kExamples,
    .statuses = kStatuses,
    .run = Help,
};

}  // namespace fairlead::tool
