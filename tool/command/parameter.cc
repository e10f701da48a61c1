// How parameters are written, and which values they accept.

#include "tool/command/parameter.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <system_error>
#include <variant>
#include <vector>

#include "fairlead/text/strings.h"
#include "tool/base/alternatives.h"
#include "tool/base/concat.h"
#include "tool/base/digits.h"
#include "tool/base/escapes.h"
#include "tool/base/failure.h"
#include "tool/command/duration.h"

namespace fairlead::tool {
namespace {

constexpr auto kOn =
    std::to_array<std::string_view>({"on", "yes", "true", "1"});
constexpr auto kOff =
    std::to_array<std::string_view>({"off", "no", "false", "0"});

// "-port: ", or nothing for an operand.
std::string Prefix(const Parameter& parameter) {
  return parameter.name.empty() ? "" : Concat("-", parameter.name, ": ");
}

// "1 to 65535", or "-9 to 9" for an integer.
std::string Bounds(const Parameter& parameter, std::string_view separator) {
  const Range& range = parameter.range;
  return parameter.kind == Kind::kInteger
             ? Concat("-", range.most, separator, range.most)
             : Concat(range.least, separator, range.most);
}

void CheckSwitch(const Parameter& parameter, std::string_view value) {
  const std::string lower = MakeLower(std::string(value));
  if (std::ranges::find(kOn, lower) != kOn.end() || IsOff(value)) return;
  throw Failure(
      kWrongUsage,
      Concat("-", parameter.name, " is a switch and cannot be followed by ",
             parameter.secret ? "a value" : Quoted(value),
             " (expected on, off, yes, no, true, false, 1, 0 or nothing)"));
}

// Returns whether the value is the parameter's word for no limit.
bool IsUnlimited(const Parameter& parameter, std::string_view value) {
  return !parameter.unlimited.empty() && value == parameter.unlimited;
}

// Returns the word for no limit as the last of several, or "".
std::string OrUnlimited(const Parameter& parameter,
                        std::string_view separator) {
  return parameter.unlimited.empty() ? ""
                                     : Concat(separator, parameter.unlimited);
}

bool IsInRange(const Parameter& parameter, std::string_view digits,
               bool is_negative) {
  std::uint64_t number = 0;
  const std::errc error =
      std::from_chars(digits.data(), digits.data() + digits.size(), number).ec;
  return error == std::errc() && number >= parameter.range.least &&
         number <= parameter.range.most &&
         (!is_negative || parameter.kind == Kind::kInteger);
}

void CheckNumber(const Parameter& parameter, std::string_view value) {
  if (IsUnlimited(parameter, value)) return;
  const std::string expected = Concat(" (expected ", Bounds(parameter, " to "),
                                      OrUnlimited(parameter, " or "), ")");
  const std::string_view number =
      parameter.kind == Kind::kInteger ? AfterSpaces(value) : value;
  const bool is_negative = number.starts_with('-');
  const std::string_view digits = number.substr(is_negative ? 1 : 0);
  if (!IsDigits(digits))
    throw Failure(kWrongUsage, Concat(Prefix(parameter), Quoted(value),
                                      " is not an integer", expected));
  if (!IsInRange(parameter, digits, is_negative))
    throw Failure(kWrongUsage, Concat(Prefix(parameter), Shown(number),
                                      " is out of range", expected));
}

std::string DurationBound(std::uint64_t bound) {
  return DurationArgument(std::chrono::milliseconds(bound));
}

// Returns what the value is not, or "" if it is a duration in the range.
std::string_view DurationFault(const Range& range, std::string_view value) {
  const bool negative = value.starts_with('-');
  const auto read = ReadDuration(value.substr(negative ? 1 : 0));
  if (const auto* const error = std::get_if<DurationError>(&read)) {
    if (*error == DurationError::kMalformed) return "is not a time";
    if (*error == DurationError::kTooFine)
      return "is not a whole number of milliseconds";
    return "is out of range";
  }
  const auto count = static_cast<std::uint64_t>(
      std::get<std::chrono::milliseconds>(read).count());
  return negative || count < range.least || count > range.most
             ? "is out of range"
             : "";
}

void CheckDuration(const Parameter& parameter, std::string_view value) {
  if (IsUnlimited(parameter, value)) return;
  const std::string_view fault = DurationFault(parameter.range, value);
  if (!fault.empty())
    throw Failure(kWrongUsage,
                  Concat(Prefix(parameter), Quoted(value), " ", fault,
                         " (expected ", DurationBound(parameter.range.least),
                         " to ", DurationBound(parameter.range.most),
                         ": 30 or 0.5 for seconds, 500ms, 2m, 1h, 1d",
                         OrUnlimited(parameter, ", or "), ")"));
}

std::vector<std::string> NamesOf(std::span<const Choice> choices) {
  std::vector<std::string> names;
  for (const Choice& choice : choices) names.emplace_back(choice.name);
  return names;
}

std::vector<std::string> NamesOf(std::span<const Parameter* const> parameters) {
  std::vector<std::string> names;
  for (const Parameter* const parameter : parameters)
    names.push_back(Concat("-", parameter->name));
  return names;
}

// "'fish' is not valid", or what does not show a value that may be secret.
std::string Invalid(const Parameter& parameter, std::string_view value) {
  return Concat(Prefix(parameter),
                parameter.secret ? "the value" : Quoted(value),
                " is not valid");
}

}  // namespace

std::string_view Heading(Group group) {
  switch (group) {
    case Group::kArguments:
      return "Arguments";
    case Group::kWhere:
      return "Where";
    case Group::kWhat:
      return "What";
    case Group::kHow:
      return "How";
    case Group::kCipher:
      return "Cipher";
    case Group::kHowLong:
      return "How long";
    case Group::kLog:
      return "Log";
    case Group::kOutput:
      return "Output";
  }
  return {};
}

std::string Placeholder(const Parameter& parameter) {
  if (!parameter.placeholder.empty()) return std::string(parameter.placeholder);
  std::string text;
  for (const Choice& choice : parameter.choices)
    text.append(text.empty() ? "" : "|").append(choice.name);
  return text;
}

std::string Spelling(const Parameter& parameter) {
  std::string value = Placeholder(parameter);
  if (parameter.name.empty()) return value;
  return Concat("-", parameter.name, value.empty() ? "" : " ", value);
}

std::string Explanation(const Parameter& parameter) {
  std::string text(parameter.help);
  if (parameter.kind == Kind::kNumber || parameter.kind == Kind::kInteger)
    text += Concat(" [", Bounds(parameter, ".."),
                   OrUnlimited(parameter, " or "), "]");
  if (parameter.kind == Kind::kDuration)
    text += Concat(" [", DurationBound(parameter.range.least), "..",
                   DurationBound(parameter.range.most),
                   OrUnlimited(parameter, " or "), "]");
  if (!parameter.fallback.empty())
    text += Concat(" (default ", parameter.fallback, ")");
  if (!parameter.excluded.empty())
    text += Concat("; not with ", Alternatives(NamesOf(parameter.excluded)));
  return text;
}

const Choice& ChoiceNamed(const Parameter& parameter, std::string_view name) {
  const auto found = std::ranges::find(parameter.choices, name, &Choice::name);
  if (found == parameter.choices.end())
    throw Failure(kWrongUsage,
                  Concat(Invalid(parameter, name), "; choose ",
                         Alternatives(NamesOf(parameter.choices))));
  return *found;
}

void CheckValue(const Parameter& parameter, std::string_view value) {
  switch (parameter.kind) {
    case Kind::kSwitch:
      return CheckSwitch(parameter, value);
    case Kind::kNumber:
    case Kind::kInteger:
      return CheckNumber(parameter, value);
    case Kind::kDuration:
      return CheckDuration(parameter, value);
    case Kind::kChoice:
      ChoiceNamed(parameter, value);
      return;
    case Kind::kNonEmptyText:
    case Kind::kFile:
      if (value.empty())
        throw Failure(kWrongUsage,
                      Concat(Spelling(parameter), " must not be empty"));
      return;
    case Kind::kText:
    case Kind::kCommand:
    case Kind::kSubcommand:
      return;
  }
}

bool IsOff(std::string_view text) {
  return std::ranges::find(kOff, MakeLower(std::string(text))) != kOff.end();
}

}  // namespace fairlead::tool
