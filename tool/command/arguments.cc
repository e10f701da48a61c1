// Parses the arguments of a command against its parameters.

#include "tool/command/arguments.h"

#include <algorithm>
#include <charconv>

#include "fairlead/text/strings.h"
#include "tool/base/concat.h"
#include "tool/base/digits.h"
#include "tool/base/escapes.h"
#include "tool/base/failure.h"
#include "tool/command/command.h"
#include "tool/command/nearest.h"

namespace fairlead::tool {
namespace {

bool IsName(std::string_view argument) { return argument.starts_with('-'); }

// A second '-' is forgiven: the parser would make it a part of the name.
std::vector<char*> Forgiven(std::span<char* const> arguments) {
  std::vector<char*> forgiven(arguments.begin(), arguments.end());
  for (char*& argument : forgiven)
    if (std::string_view(argument).starts_with("--")) ++argument;
  return forgiven;
}

std::vector<const Parameter*> OperandsOf(const Command& command) {
  std::vector<const Parameter*> operands = ParametersOf(command);
  std::erase_if(operands, [](const Parameter* p) { return !p->name.empty(); });
  return operands;
}

// How to pass a value that begins with '-'.
std::string Remedy(const Parameter& parameter) {
  if (parameter.kind == Kind::kFile) return "; write ./ before it";
  return parameter.remedy.empty() ? "" : Concat("; ", parameter.remedy);
}

bool TakesSecret(const Command& command) {
  return std::ranges::any_of(ParametersOf(command), &Parameter::secret);
}

bool BelongsToSibling(const Command& command, std::string_view name) {
  return command.parent != nullptr && FindParameter(command, name) == nullptr &&
         std::ranges::any_of(command.parent->subcommands,
                             [name](const Command* sibling) {
                               return FindParameter(*sibling, name) != nullptr;
                             });
}

std::string SeeHelp(const Command& command) {
  return Concat("see 'fairlead help ", FullName(command), "'");
}

// What to write instead of an option, whose name is in lower case.
std::string Advice(const Command& command, const std::string& name) {
  const Parameter* const meant = FindParameter(command, name);
  if (meant != nullptr && !name.empty())
    return Concat("write ", Spelling(*meant));
  std::vector<std::string_view> names;
  for (const Parameter* const parameter : ParametersOf(command))
    if (!parameter->name.empty()) names.push_back(parameter->name);
  const std::string nearest = Suggestion(name, names);
  return nearest.empty() ? SeeHelp(command)
                         : Concat("did you mean -", nearest, "?");
}

}  // namespace

ParsedArguments::ParsedArguments(const Command& command,
                                 std::span<char* const> arguments)
    : command_(command),
      operands_(OperandsOf(command)),
      arguments_(Forgiven(arguments)),
      parser_(static_cast<int>(arguments_.size()), arguments_.data()) {
  Check();
}

void ParsedArguments::Check() {
  for (std::size_t i = 1; i < arguments_.size(); ++i) {
    const std::string_view argument = arguments_[i];
    if (!IsName(argument)) {
      TakeOperand(i);
      continue;
    }
    const Parameter& parameter = Known(argument.substr(1));
    if (i + 1 < arguments_.size() && !IsName(arguments_[i + 1]))
      CheckGiven(parameter, arguments_[++i]);
    else if (parameter.kind != Kind::kSwitch)
      FailForMissingValue(parameter, i);
  }
}

// What follows a switch may be a secret whose option is missing.
void ParsedArguments::CheckGiven(const Parameter& parameter,
                                 std::string_view value) const {
  Parameter checked = parameter;
  if (parameter.kind == Kind::kSwitch) checked.secret = TakesSecret(command_);
  CheckValue(checked, value);
}

bool ParsedArguments::FollowsOperands(std::size_t at) const {
  return operands_given_.size() + 1 == at;
}

void ParsedArguments::TakeOperand(std::size_t at) {
  if (!FollowsOperands(at) || at > operands_.size()) FailForUnexpected(at);
  CheckValue(*operands_[at - 1], arguments_[at]);
  operands_given_.emplace_back(arguments_[at]);
}

// In a command that takes a secret, the argument may be that secret.
void ParsedArguments::FailForUnexpected(std::size_t at) const {
  const bool leads = FollowsOperands(at);
  const std::string_view hint = at == 1 ? "; options are written -name value"
                                : leads ? ""
                                        : "; quote values that contain spaces";
  const std::string before = Quoted(arguments_[at - 1]);
  if (TakesSecret(command_))
    throw Failure(
        kWrongUsage,
        Concat("unexpected argument after ",
               leads ? before
                     : Concat("the value of ", MakeLower(arguments_[at - 2])),
               hint));
  throw Failure(kWrongUsage,
                Concat("unexpected argument ", Quoted(arguments_[at]),
                       at == 1 ? "" : Concat(" after ", before), hint));
}

const Parameter& ParsedArguments::Known(std::string_view name) const {
  const std::string lower = MakeLower(std::string(name));
  if (lower.empty())
    throw Failure(kWrongUsage,
                  Concat("a lone '-' names no option; ", SeeHelp(command_)));
  const Parameter* const known = FindParameter(command_, lower);
  if (known == nullptr) FailForName(name);
  return *known;
}

// What follows a '=' may be a key, so it is not shown.
void ParsedArguments::FailForName(std::string_view name) const {
  const std::size_t sign = std::min(name.find('='), name.size());
  const std::string lower = MakeLower(std::string(name.substr(0, sign)));
  const std::string shown = Concat("-", Shown(name.substr(0, sign)),
                                   sign < name.size() ? "=..." : "");
  if (BelongsToSibling(command_, lower))
    throw Failure(kWrongUsage,
                  Concat(shown, " does not go with '", FullName(command_),
                         "'; ", SeeHelp(command_)));
  throw Failure(kWrongUsage, Concat("unknown option ", shown, "; ",
                                    Advice(command_, lower)));
}

void ParsedArguments::FailForMissingValue(const Parameter& parameter,
                                          std::size_t at) const {
  if (at + 1 == arguments_.size() ||
      FindParameter(command_, MakeLower(arguments_[at + 1] + 1)) != nullptr)
    throw Failure(kWrongUsage,
                  Concat("-", parameter.name, ": missing value; write ",
                         Spelling(parameter)));
  if (parameter.kind == Kind::kNumber && Remedy(parameter).empty())
    CheckValue(parameter, arguments_[at + 1]);
  throw Failure(kWrongUsage,
                Concat("-", parameter.name, ": a value cannot begin with '-'",
                       Remedy(parameter)));
}

std::size_t ParsedArguments::PlaceOf(const Parameter& operand) const {
  const auto found = std::ranges::find(operands_, &operand);
  return static_cast<std::size_t>(found - operands_.begin());
}

bool ParsedArguments::Has(const Parameter& parameter) const {
  if (parameter.name.empty())
    return PlaceOf(parameter) < operands_given_.size();
  const std::string name(parameter.name);
  if (!parser_.PresentParam(name)) return false;
  return parameter.kind != Kind::kSwitch || !IsOff(parser_.GetStrParam(name));
}

std::string ParsedArguments::Text(const Parameter& parameter) const {
  if (!Has(parameter)) return std::string(parameter.fallback);
  return parameter.name.empty()
             ? operands_given_[PlaceOf(parameter)]
             : parser_.GetStrParam(std::string(parameter.name));
}

std::uint64_t NumberIn(std::string_view text) {
  std::uint64_t number = 0;
  std::from_chars(text.data(), text.data() + text.size(), number);
  return number;
}

std::int64_t IntegerIn(std::string_view text) {
  const std::string_view digits = AfterSpaces(text);
  std::int64_t number = 0;
  std::from_chars(digits.data(), digits.data() + digits.size(), number);
  return number;
}

}  // namespace fairlead::tool
