// Writes help texts from the command table.

#include "tool/help/help_text.h"

#include <algorithm>
#include <string_view>

#include "tool/base/concat.h"
#include "tool/command/command_table.h"
#include "tool/command/duration.h"
#include "tool/command/usage.h"

namespace fairlead::tool {
namespace {

constexpr std::size_t kLineWidth = 79;

// Appends the text in lines of at most kLineWidth characters. The first
// continues where `lines` ends, at column `margin`; the others are indented to
// it.
void AppendWrapped(std::string& lines, std::size_t margin,
                   std::string_view text) {
  std::size_t column = margin;
  while (!text.empty()) {
    const std::string_view word = text.substr(0, text.find(' '));
    if (column > margin && column + 1 + word.size() > kLineWidth) {
      lines.append("\n").append(margin, ' ');
      column = margin;
    } else if (column > margin) {
      lines += ' ';
      ++column;
    }
    lines += word;
    column += word.size();
    text.remove_prefix(std::min(text.size(), word.size() + 1));
  }
  lines += '\n';
}

// Returns "  term      text", with the text below a term that is too long.
std::string Entry(std::string_view term, std::size_t margin,
                  std::string_view text) {
  std::string lines = Concat("  ", term);
  if (lines.size() + 2 > margin)
    lines.append("\n").append(margin, ' ');
  else
    lines.append(margin - lines.size(), ' ');
  AppendWrapped(lines, margin, text);
  return lines;
}

std::string ExampleList(const Command& command) {
  std::string text = "\nExamples:\n";
  for (const Example& example : command.examples) {
    text.append("  ").append(example.line).append("\n      ");
    AppendWrapped(text, 6, example.meaning);
  }
  return text;
}

std::string SubcommandList(const Command& command) {
  if (command.subcommands.empty()) return "";
  std::string text = "\nSubcommands:\n";
  for (const Command* const subcommand : command.subcommands)
    text += Entry(subcommand->name, 13, subcommand->summary);
  return Concat(text, "\n'fairlead help ", command.name,
                " SUBCOMMAND' explains one. All of them take:\n");
}

std::string ParameterEntry(const Parameter& parameter) {
  constexpr std::size_t kMargin = 21;
  std::string text =
      Entry(Spelling(parameter), kMargin, Explanation(parameter));
  for (const Choice& choice : parameter.choices)
    if (!choice.help.empty())
      text += Entry(Concat("  ", choice.name), kMargin, choice.help);
  return text;
}

std::string ParameterList(const Command& command) {
  const std::vector<const Parameter*> parameters = ParametersOf(command);
  std::string text;
  for (const Group group : kGroups) {
    std::string entries;
    for (const Parameter* const parameter : parameters)
      if (parameter->group == group) entries += ParameterEntry(*parameter);
    if (!entries.empty()) text += Concat("\n", Heading(group), ":\n", entries);
  }
  return text;
}

// Returns the forms of a duration if the command takes one.
std::string DurationList(const Command& command) {
  if (std::ranges::none_of(ParametersOf(command), [](const Parameter* p) {
        return p->kind == Kind::kDuration;
      }))
    return "";
  std::string text = "\n";
  AppendWrapped(text, 0, kDurationForms);
  return text;
}

std::string StatusList(const Command& command) {
  std::string text = "\nExit status:\n";
  for (const auto& [status, meaning] : StatusesOf(command))
    text += Entry(Concat(static_cast<int>(status)), 7, meaning);
  return text;
}

}  // namespace

std::string ShortUsage() {
  return "usage: fairlead COMMAND [-name value]...; 'fairlead help' lists the "
         "commands, and 'fairlead send -demo -text hello' shows the main one";
}

std::string GeneralHelp() {
  std::string text =
      "usage: fairlead COMMAND [-name value]...\n\n"
      "Examples:\n"
      "  fairlead send -demo -text hello\n"
      "  fairlead help send\n\n"
      "Exchanges messages with a TCP server, and works on INI files, logs, "
      "times,\ncodes, checksums and ciphers.\n\n"
      "Commands:\n";
  for (const Command* const command : Commands())
    text += Entry(command->name, 14, command->summary);
  text += "\n";
  AppendWrapped(text, 0, kConventions);
  return text;
}

std::string CommandHelp(const Command& command) {
  constexpr std::size_t kUsageMargin = 7;
  std::string text = "usage: ";
  AppendWrapped(text, kUsageMargin, Concat("fairlead ", UsageLine(command)));
  text += ExampleList(command);
  for (const std::string_view paragraph : ParagraphsOf(command)) {
    text += '\n';
    AppendWrapped(text, 0, paragraph);
  }
  return text + SubcommandList(command) + ParameterList(command) +
         DurationList(command) + StatusList(command);
}

}  // namespace fairlead::tool
