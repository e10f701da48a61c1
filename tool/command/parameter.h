// One parameter of a command, as the command table describes it.

#ifndef FAIRLEAD_TOOL_COMMAND_PARAMETER_H_
#define FAIRLEAD_TOOL_COMMAND_PARAMETER_H_

#include <algorithm>
#include <array>
#include <climits>
#include <cstdint>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>

namespace fairlead::tool {

/// What a parameter accepts.
enum class Kind {
  kSwitch,        ///< on, off, yes, no, true, false, 1, 0 or nothing
  kText,          ///< any text
  kNonEmptyText,  ///< any text but the empty one
  kFile,          ///< the path of a file
  kNumber,        ///< decimal digits, within `range`
  kInteger,       ///< the same or a '-' before them, after spaces or none
  kDuration,      ///< a time such as 30, 0.5 or 2m, within `range`
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

/// Its address identifies an enumeration.
template <typename Enumeration>
inline constexpr char kIdentity = 0;

/// One value that a parameter accepts: its name for users, and the value of an
/// enumeration for the code.
///
/// Code that asks for a choice switches over the enumeration, so that a choice
/// without code, or a misspelt one, does not compile.
struct Choice {
  /// @param clause its help, or empty if the name says it all
  template <typename Enumeration>
  requires std::is_enum_v<Enumeration>
  constexpr Choice(Enumeration choice, std::string_view spelling,
                   std::string_view clause = {})
      : name(spelling),
        help(clause),
        value(static_cast<int>(choice)),
        enumeration(&kIdentity<Enumeration>) {}

  /// Returns whether the choice is a value of that enumeration.
  template <typename Enumeration>
  constexpr bool IsOf() const {
    return enumeration == &kIdentity<Enumeration>;
  }

  std::string_view name;
  std::string_view help;
  int value;
  const char* enumeration;
};

/// The numbers that a parameter accepts; of a duration, the milliseconds; of an
/// integer, what follows the '-'.
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
  /// The word that a number or a duration may be instead, for no limit; empty
  /// if there must be one.
  std::string_view unlimited = {};
  std::span<const Choice> choices = {};
  std::string_view fallback = {};  ///< The default; empty for none.
  /// How to pass a value that begins with '-', which none can: an imperative.
  std::string_view remedy = {};
  /// The parameters that cannot be given with it.
  std::span<const Parameter* const> excluded = {};
  bool secret = false;  ///< Messages must not show the value.
};

/// Returns the placeholder, or the choices with '|' between them.
std::string Placeholder(const Parameter& parameter);

/// Returns "-port N", "-stdin", or for an operand the placeholder alone.
std::string Spelling(const Parameter& parameter);

/// Returns the help with the range, the default and what is excluded after it,
/// as in "the port [1..65535] (default 7000); not with -demo".
std::string Explanation(const Parameter& parameter);

/// Returns whether the parameter accepts the name, as one of its choices.
constexpr bool HasChoice(const Parameter& parameter, std::string_view name) {
  return std::ranges::find(parameter.choices, name, &Choice::name) !=
         parameter.choices.end();
}

/// Returns whether the parameter has choices, all of them values of the
/// enumeration, and a default that is one of them, or none.
template <typename Enumeration>
constexpr bool Offers(const Parameter& parameter) {
  return !parameter.choices.empty() &&
         std::ranges::all_of(parameter.choices, &Choice::IsOf<Enumeration>) &&
         (parameter.fallback.empty() ||
          HasChoice(parameter, parameter.fallback));
}

/// Returns the name of the choice. In a constant expression, a choice that the
/// parameter does not offer does not compile.
///
/// @throws std::logic_error for such a choice elsewhere
template <typename Enumeration>
constexpr std::string_view ChoiceName(const Parameter& parameter,
                                      Enumeration value) {
  for (const Choice& choice : parameter.choices)
    if (choice.IsOf<Enumeration>() && choice.value == static_cast<int>(value))
      return choice.name;
  throw std::logic_error("the parameter does not offer the choice");
}

/// Returns the parameter's choice of that name.
///
/// @throws Failure with kWrongUsage if there is none
const Choice& ChoiceNamed(const Parameter& parameter, std::string_view name);

/// Returns the value of the parameter's choice of that name. Offers() is true
/// for the enumeration.
///
/// @throws Failure with kWrongUsage if there is none
template <typename Enumeration>
Enumeration ValueNamed(const Parameter& parameter, std::string_view name) {
  return static_cast<Enumeration>(ChoiceNamed(parameter, name).value);
}

/// Throws for a value that the parameter does not accept.
///
/// @throws Failure with kWrongUsage
void CheckValue(const Parameter& parameter, std::string_view value);

/// Returns whether the text, one that CheckValue() passes for a switch, turns
/// it off.
bool IsOff(std::string_view text);

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_COMMAND_PARAMETER_H_
