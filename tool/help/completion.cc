// The command `completion`: scripts that complete commands and parameters.

#include <array>

#include "tool/command/command_table.h"
#include "tool/help/completion_scripts.h"

namespace fairlead::tool::completion {
namespace {

enum class Shell { kBash, kZsh };

constexpr auto kShells =
    std::to_array<Choice>({{Shell::kBash, "bash"}, {Shell::kZsh, "zsh"}});

constexpr Parameter kShell = {.name = "",
                              .kind = Kind::kChoice,
                              .group = Group::kArguments,
                              .help = "the shell that runs the script",
                              .choices = kShells};

constexpr auto kUses = Uses(kShell);

std::string ScriptFor(Shell shell) {
  switch (shell) {
    case Shell::kBash:
      return BashCompletion();
    case Shell::kZsh:
      return ZshCompletion();
  }
  return {};
}

ExitStatus Completion(const Arguments<kUses>& arguments, const Output& output) {
  output.Write(ScriptFor(arguments.Chosen<Shell>(kShell)));
  return kDone;
}

constexpr auto kExamples = std::to_array<Example>({
    {"fairlead completion bash >> ~/.bashrc",
     "Installs the completion for bash."},
    {"fairlead completion zsh > ~/.zsh/completions/_fairlead",
     "Installs it for zsh, if that folder is in fpath."},
});

constexpr auto kStatuses = std::to_array<Status>({
    {kDone, "success"},
    {kWrongUsage, "wrong usage"},
    {kCannotWrite, "standard output cannot be written"},
});

}  // namespace
}  // namespace fairlead::tool::completion

namespace fairlead::tool {

constinit const Command kCompletionCommand = {
    .name = "completion",
    .summary = "print a script that completes commands and parameters",
    .description =
        "Prints the script to standard output; 'source' it, or install it.",
    .action = ActionOf<completion::kUses, completion::Completion>(),
    .examples = completion::kExamples,
    .statuses = completion::kStatuses,
};

}  // namespace fairlead::tool
