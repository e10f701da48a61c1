// One command, as the command table describes it.

#ifndef FAIRLEAD_TOOL_COMMAND_COMMAND_H_
#define FAIRLEAD_TOOL_COMMAND_COMMAND_H_

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "tool/base/exit_status.h"
#include "tool/command/arguments.h"
#include "tool/command/uses.h"
#include "tool/io/output.h"

namespace fairlead::tool {

/// A line that a user can copy, and what it does.
struct Example {
  std::string_view line;
  std::string_view meaning;
};

/// An exit status of a command, and what it means there.
struct Status {
  ExitStatus status;
  std::string_view meaning;
};

/// What a command takes, and what it does. ActionOf() makes one.
struct Action {
  std::span<const Use> uses = {};
  ExitStatus (*run)(const ParsedArguments& arguments,
                    const Output& output) = nullptr;
};

/// Returns the action whose function reads its arguments through the table.
template <const auto& kTable,
          ExitStatus (*kRun)(const Arguments<kTable>&, const Output&)>
constexpr Action ActionOf() noexcept {
  return {kTable, [](const ParsedArguments& arguments, const Output& output) {
            return kRun(Arguments<kTable>(arguments), output);
          }};
}

/// A command, or a subcommand such as the `get` of `ini get`.
struct Command {
  std::string_view name;
  const Command* parent = nullptr;    ///< Of a subcommand.
  std::string_view summary = {};      ///< A clause, without a full stop.
  std::string_view description = {};  ///< Sentences, a paragraph a line.
  Action action = {};                 ///< Empty for one that has subcommands.
  std::span<const Example> examples = {};
  std::span<const Status> statuses = {};  ///< Without the common ones.
  std::span<const Command* const> subcommands = {};
};

/// Returns "ini get".
std::string FullName(const Command& command);

/// Returns what messages call the command: "ini" for each of its subcommands.
std::string_view TopName(const Command& command);

/// Returns the parameters that the command takes, each once, -help included; of
/// a command with subcommands, those that all of them take.
std::vector<const Parameter*> ParametersOf(const Command& command);

/// Returns the paragraphs of the command's description.
std::vector<std::string_view> ParagraphsOf(const Command& command);

/// Returns the command's statuses, and those that every command has, in rising
/// order: kCannotRead, for too little memory too, and kReaderGone.
std::vector<Status> StatusesOf(const Command& command);

/// Returns the command's parameter of that name, or null.
const Parameter* FindParameter(const Command& command, std::string_view name);

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_COMMAND_COMMAND_H_
