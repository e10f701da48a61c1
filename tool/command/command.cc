// Names of commands and subcommands.

#include "tool/command/command.h"

#include <algorithm>
#include <functional>

#include "tool/base/concat.h"
#include "tool/command/parameters.h"

namespace fairlead::tool {
namespace {

using Parameters = std::vector<const Parameter*>;

bool Holds(const Parameters& parameters, const Parameter* parameter) {
  return std::ranges::find(parameters, parameter) != parameters.end();
}

Parameters Listed(std::span<const Use> uses) {
  Parameters listed;
  for (const Use& use : uses)
    if (IsParameter(use) && !Holds(listed, use.parameter))
      listed.push_back(use.parameter);
  return listed;
}

Parameters Shared(std::span<const Command* const> subcommands) {
  Parameters shared = Listed(subcommands.front()->action.uses);
  std::erase_if(shared, [subcommands](const Parameter* parameter) {
    return !std::ranges::all_of(subcommands, [parameter](const Command* c) {
      return Lists(c->action.uses, *parameter);
    });
  });
  return shared;
}

}  // namespace

std::string FullName(const Command& command) {
  return command.parent == nullptr
             ? std::string(command.name)
             : Concat(command.parent->name, " ", command.name);
}

std::string_view TopName(const Command& command) {
  return command.parent == nullptr ? command.name : command.parent->name;
}

Parameters ParametersOf(const Command& command) {
  Parameters parameters = command.subcommands.empty()
                              ? Listed(command.action.uses)
                              : Shared(command.subcommands);
  parameters.push_back(&kHelp);
  return parameters;
}

std::vector<std::string_view> ParagraphsOf(const Command& command) {
  std::vector<std::string_view> paragraphs;
  for (std::string_view text = command.description; !text.empty();) {
    paragraphs.push_back(text.substr(0, text.find('\n')));
    text.remove_prefix(std::min(paragraphs.back().size() + 1, text.size()));
  }
  return paragraphs;
}

std::vector<Status> StatusesOf(const Command& command) {
  std::vector<Status> statuses(command.statuses.begin(),
                               command.statuses.end());
  for (const Status& common :
       {Status{kCannotRead, "there is not enough memory"},
        Status{kReaderGone, Meaning(kReaderGone)}}) {
    const auto place = std::ranges::lower_bound(statuses, common.status,
                                                std::less(), &Status::status);
    if (place == statuses.end() || place->status != common.status)
      statuses.insert(place, common);
  }
  return statuses;
}

const Parameter* FindParameter(const Command& command, std::string_view name) {
  const Parameters parameters = ParametersOf(command);
  const auto found = std::ranges::find(parameters, name, &Parameter::name);
  return found == parameters.end() ? nullptr : *found;
}

}  // namespace fairlead::tool
