// The command `completion`: scripts that teach a shell the table.

#include <array>

#include "tool/base/failure.h"
#include "tool/command/arguments.h"
#include "tool/command/command_list.h"
#include "tool/command/parameters.h"
#include "tool/help/completion_scripts.h"
#include "tool/io/output.h"

namespace fairlead::tool {
namespace {

constexpr Parameter kShell = {.name = "",
                              .word = "bash|zsh",
                              .kind = Kind::kChoice,
                              .group = "Words",
                              .help = "the shell for which to print it"};

ExitStatus Completion(const Arguments& arguments, const Output& output) {
  if (!arguments.Has(kShell))
    throw Failure(kWrongUsage, "which shell? bash or zsh");
  output.Write(arguments.Text(kShell) == "bash" ? BashCompletion()
                                                : ZshCompletion());
  return kDone;
}

constexpr std::array kParameters = {kHelp};

constexpr auto kExamples = std::to_array<Example>({
    {"fairlead completion bash >> ~/.bashrc",
     "Installs the completion for bash."},
    {"fairlead completion zsh > ~/.zsh/completions/_fairlead",
     "Installs it for zsh, where that folder is in fpath."},
});

constexpr std::array kStatuses = {kDone, kWrongUsage, kCannotWrite};

}  // namespace

constinit const Command kCompletionCommand = {
    .name = "completion",
    .usage = "bash|zsh",
    .summary = "print a script that completes commands and parameters",
    .story = "Prints to standard output; 'source' the script, or install it.",
    .operand = &kShell,
    .parameters = kParameters,
    .examples = kExamples,
    .statuses = kStatuses,
    .run = Completion,
};

}  // namespace fairlead::tool
