// The table of every command and parameter, of which help, the man page and the
// shell completions are made.

#ifndef FAIRLEAD_TOOL_COMMAND_COMMANDS_H_
#define FAIRLEAD_TOOL_COMMAND_COMMANDS_H_

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "tool/base/exit_status.h"

namespace fairlead::tool {

class Arguments;
class Output;

/// A word that says what a command is to do, where there are several things, or
/// that is one of a parameter's words, where these need a line of help each.
struct Verb {
  std::string_view name;
  /// The parameters that go with it, as CheckUsage() reads them; empty for a
  /// parameter's word.
  std::string_view usage;
  std::string_view help;  ///< Half a sentence, without a full stop.
  /// Null for a parameter's word.
  ExitStatus (*run)(const Arguments& arguments, const Output& output);
};

/// What may stand after a parameter's name.
enum class Kind {
  kSwitch,  ///< on, off, yes, no, true, false, 1, 0 or nothing
  kText,    ///< any text, the empty one too
  kWord,    ///< any text but the empty one
  kFile,    ///< the path of a file
  kNumber,  ///< decimal digits, `least` to `most`
  kChoice,  ///< one of the words in `word`, which `|` separates, or a verb
};

/// One parameter of a command. The one without a name is the command's operand,
/// the bare word behind the command.
struct Parameter {
  std::string_view name;  ///< In lower case, without the '-'.
  std::string_view word;  ///< What stands for the value in the help texts.
  Kind kind;
  std::string_view group;  ///< The heading in the help text.
  std::string_view help;   ///< Half a sentence, without a full stop.
  int least = 0;
  int most = 0;
  std::string_view fallback = {};    ///< The value where none is given.
  std::span<const Verb> verbs = {};  ///< Among which a choice chooses.
};

/// A line that a user can copy, and what it does.
struct Example {
  std::string_view line;
  std::string_view meaning;
};

/// One command: what the help texts say of it, and the function behind it.
struct Command {
  std::string_view name;
  std::string_view usage;    ///< What follows the name in the usage line.
  std::string_view summary;  ///< Half a sentence, without a full stop.
  std::string_view story;    ///< Whole sentences.
  const Parameter* operand;  ///< Null where no bare word may stand.
  std::span<const Parameter> parameters;
  std::span<const Example> examples;
  std::span<const ExitStatus> statuses;
  ExitStatus (*run)(const Arguments& arguments, const Output& output);
};

/// Every command, in the order of the help text.
std::span<const Command* const> Commands();

/// The command of that name, or null.
const Command* FindCommand(std::string_view name);

/// The command's parameter of that name, or null.
const Parameter* FindParameter(const Command& command, std::string_view name);

/// "-port N", "-stdin", or for an operand its word alone.
std::string Spelling(const Parameter& parameter);

/// The help line with the range and the default behind it.
std::string Explanation(const Parameter& parameter);

/// The words among which a choice chooses.
std::vector<std::string_view> Choices(const Parameter& parameter);

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_COMMAND_COMMANDS_H_
