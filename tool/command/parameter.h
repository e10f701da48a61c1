// One parameter of a command, as the command table describes it.

#ifndef FAIRLEAD_TOOL_COMMAND_PARAMETER_H_
#define FAIRLEAD_TOOL_COMMAND_PARAMETER_H_

#include <array>
#include <climits>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace fairlead::tool {

/// What a parameter accepts.
enum class Kind {
  kSwitch,        ///< on, off, yes, no, true, false, 1, 0 or nothing
  kText,          ///< any text
  kNonEmptyText,  ///< any text but the empty one
  kFile,          ///< the path of a file
  kNumber,        ///< decimal digits, within `range`
  kChoice,        ///< one of `choices`
  kCommand,       ///< the name of a command
  kSubcommand,    ///< the name of a subcommand of the command before it
};

/// Where the help lists a parameter, in the order of the headings.
enum class Group {
  kArguments,  ///< What has no name.
  kWhere,
  kWhat,
  kHow,
  kCipher,
  kHowLong,
  kLog,
  kOutput,
};

inline constexpr std::array kGroups = {
    Group::kArguments, Group::kWhere,   Group::kWhat, Group::kHow,
    Group::kCipher,    Group::kHowLong, Group::kLog,  Group::kOutput,
};

/// The heading of the group in the help.
std::string_view Heading(Group group);

/// One value that a parameter accepts.
struct Choice {
  std::string_view name;
  std::string_view help = {};  ///< A clause, or empty if the name says it all.
};

/// The numbers that a parameter accepts.
struct Range {
  std::uint64_t least = 0;
  std::uint64_t most = 0;
};
inline constexpr Range kNaturalInt = {.least = 0, .most = INT_MAX};

/// One parameter. Without a name it is an operand: it has its place right after
/// the command.
///
/// Tables refer to a parameter by its address, so one is a constant with static
/// storage.
struct Parameter {
  std::string_view name;  ///< In lower case, without the '-'.
  /// What the help calls the value. Empty for a switch, and for a choice that
  /// lists its choices instead.
  std::string_view placeholder = {};
  Kind kind;
  Group group;
  std::string_view help;  ///< A clause, without a full stop.
  Range range = {};
  std::span<const Choice> choices = {};
  std::string_view fallback = {};  ///< The default; empty for none.
  /// How to pass a value that begins with '-', which none can: an imperative.
  std::string_view remedy = {};
  bool secret = false;  ///< Messages must not show the value.
};

/// Returns the placeholder, or the choices with '|' between them.
std::string Placeholder(const Parameter& parameter);

/// Returns "-port N", "-stdin", or for an operand the placeholder alone.
std::string Spelling(const Parameter& parameter);

/// Returns the help with the range and the default after it.
std::string Explanation(const Parameter& parameter);

/// Returns "[1..65535]".
std::string Spelled(const Range& range);

/// Throws for a value that the parameter does not accept.
///
/// @throws Failure with kWrongUsage
void CheckValue(const Parameter& parameter, std::string_view value);

/// Returns whether the text, one that CheckValue() passes for a switch, turns
/// it off.
bool IsOff(std::string_view text);

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_COMMAND_PARAMETER_H_
