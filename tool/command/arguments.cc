// Parses the arguments of a command against its parameters.

#include "tool/command/arguments.h"

#include <algorithm>
#include <charconv>

#include "fairlead/text/strings.h"
#include "tool/base/concat.h"
#include "tool/base/escapes.h"
#include "tool/base/failure.h"
#include "tool/command/command.h"
#include "tool/command/nearest.h"

namespace fairlead::tool {
namespace {

bool IsName(std::string_view argument) { return argument.starts_with('-'); }

[[noreturn]] void Fail(const std::string& text) {
  throw Failure(kWrongUsage, text);
}

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

bool IsKnownToSibling(const Command& command, std::string_view name) {
  return command.parent != nullptr &&
         std::ranges::any_of(command.parent->subcommands,
                             [name](const Command* sibling) {
                               return FindParameter(*sibling, name) != nullptr;
                             });
}

std::string SeeHelp(const Command& command) {
  return Concat("see 'fairlead help ", FullName(command), "'");
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
      CheckOperand(i);
      continue;
    }
    const Parameter& parameter = Known(argument.substr(1));
    if (i + 1 < arguments_.size() && !IsName(arguments_[i + 1]))
      CheckValue(parameter, arguments_[++i]);
    else if (parameter.kind != Kind::kSwitch)
      FailForMissingValue(parameter, i);
  }
}

void ParsedArguments::CheckOperand(std::size_t at) {
  const std::string_view argument = arguments_[at];
  const bool leads = operands_given_.size() + 1 == at;
  if (leads && at <= operands_.size()) {
    CheckValue(*operands_[at - 1], argument);
    operands_given_.emplace_back(argument);
    return;
  }
  if (at == 1)
    Fail(Concat("unexpected argument ", Quoted(argument),
                "; options are written -name value"));
  const Parameter* const before =
      FindParameter(command_, MakeLower(arguments_[at - 2] + 1));
  if (before != nullptr && before->secret)
    Fail(Concat("unexpected argument after the value of -", before->name,
                "; quote values that contain spaces"));
  Fail(Concat("unexpected argument ", Quoted(argument), " after ",
              Quoted(arguments_[at - 1]),
              leads ? "" : "; quote values that contain spaces"));
}

const Parameter& ParsedArguments::Known(std::string_view name) const {
  const std::string lower = MakeLower(std::string(name));
  if (lower.empty())
    Fail(Concat("a lone '-' names no option; ", SeeHelp(command_)));
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
  if (const Parameter* const meant = FindParameter(command_, lower);
      meant != nullptr && !lower.empty())
    Fail(Concat("unknown option ", shown, "; write ", Spelling(*meant)));
  if (IsKnownToSibling(command_, lower))
    Fail(Concat(shown, " does not go with '", FullName(command_), "'; ",
                SeeHelp(command_)));

  std::vector<std::string_view> names;
  for (const Parameter* const parameter : ParametersOf(command_))
    if (!parameter->name.empty()) names.push_back(parameter->name);
  const std::string nearest = Suggestion(lower, names);
  Fail(Concat("unknown option ", shown, "; ",
              nearest.empty() ? SeeHelp(command_)
                              : Concat("did you mean -", nearest, "?")));
}

void ParsedArguments::FailForMissingValue(const Parameter& parameter,
                                          std::size_t at) const {
  if (at + 1 == arguments_.size() ||
      FindParameter(command_, MakeLower(arguments_[at + 1] + 1)) != nullptr)
    Fail(Concat("-", parameter.name, ": missing value; write ",
                Spelling(parameter)));
  if (parameter.kind == Kind::kNumber && Remedy(parameter).empty())
    CheckValue(parameter, arguments_[at + 1]);
  Fail(Concat("-", parameter.name, ": a value cannot begin with '-'",
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

}  // namespace fairlead::tool
