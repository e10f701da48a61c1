#include "tool/command/commands.h"

#include <algorithm>
#include <array>
#include <climits>

#include "tool/base/concat.h"
#include "tool/command/command_list.h"

namespace fairlead::tool {
namespace {

constexpr std::array kCommands = {
    &kSendCommand,       &kRecvCommand,  &kResolveCommand, &kIniCommand,
    &kLogCommand,        &kTimeCommand,  &kSizeCommand,    &kCodeCommand,
    &kSumCommand,        &kCryptCommand, &kHelpCommand,    &kVersionCommand,
    &kCompletionCommand,
};

}  // namespace

std::span<const Command* const> Commands() { return kCommands; }

const Command* FindCommand(std::string_view name) {
  const auto* const found = std::ranges::find(
      kCommands, name, [](const Command* c) { return c->name; });
  return found == kCommands.end() ? nullptr : *found;
}

const Parameter* FindParameter(const Command& command, std::string_view name) {
  const auto found =
      std::ranges::find(command.parameters, name, &Parameter::name);
  return found == command.parameters.end() ? nullptr : &*found;
}

std::string Spelling(const Parameter& parameter) {
  if (parameter.name.empty()) return std::string(parameter.word);
  std::string spelling = Concat("-", parameter.name);
  if (parameter.kind != Kind::kSwitch)
    spelling.append(" ").append(parameter.word);
  return spelling;
}

std::string Explanation(const Parameter& parameter) {
  std::string text(parameter.help);
  if (parameter.kind == Kind::kNumber)
    text += parameter.most == INT_MAX
                ? Concat(", at least ", parameter.least)
                : Concat(", ", parameter.least, " to ", parameter.most);
  if (!parameter.fallback.empty())
    text.append(" (default ").append(parameter.fallback).append(")");
  return text;
}

std::vector<std::string_view> Choices(const Parameter& parameter) {
  std::vector<std::string_view> choices;
  for (const Verb& verb : parameter.verbs) choices.push_back(verb.name);
  if (!choices.empty()) return choices;

  std::string_view rest = parameter.word;
  for (std::size_t bar = 0; (bar = rest.find('|')) != std::string_view::npos;
       rest.remove_prefix(bar + 1))
    choices.push_back(rest.substr(0, bar));
  choices.push_back(rest);
  return choices;
}

}  // namespace fairlead::tool
