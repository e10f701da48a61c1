#include "tool/help/help_text.h"

#include <algorithm>
#include <string_view>

#include "fairlead/text/strings.h"
#include "tool/base/concat.h"
#include "tool/base/exit_status.h"

namespace fairlead::tool {
namespace {

constexpr std::size_t kLineWidth = 79;

// The text in lines of at most kLineWidth letters; the first goes on from where
// `lines` ends, the others begin below it, `margin` letters from the left.
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

// "  term      text", or the text below a term that is too long.
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

std::string VerbList(const Parameter& operand) {
  constexpr std::size_t kMargin = 12;
  std::string text;
  for (const Verb& verb : operand.verbs) {
    text += Entry(verb.name, kMargin, verb.usage).append(kMargin, ' ');
    AppendWrapped(text, kMargin, verb.help);
  }
  return text;
}

std::string ParameterList(const Command& command) {
  constexpr std::size_t kMargin = 21;
  std::string text;
  std::string_view group;
  for (const Parameter& parameter : command.parameters) {
    if (parameter.group != group)
      text.append("\n").append(parameter.group).append(":\n");
    group = parameter.group;
    text += Entry(Spelling(parameter), kMargin, Explanation(parameter));
    for (const Verb& word : parameter.verbs)
      text += Entry(Concat("  ", word.name), kMargin, word.help);
  }
  return text;
}

std::string ExampleList(const Command& command) {
  std::string text = "\nExamples:\n";
  for (const Example& example : command.examples) {
    text.append("  ").append(example.line).append("\n      ");
    AppendWrapped(text, 6, example.meaning);
  }
  return text;
}

std::string StatusList(const Command& command) {
  std::string text = "\nExit status:\n";
  for (const ExitStatus status : command.statuses)
    text += Entry(inttostr(status), 7, Meaning(status));
  return text + Entry("130", 7, kInterrupt);
}

}  // namespace

std::string ShortUsage() {
  return "usage: fairlead COMMAND [-name value]...; 'fairlead help' lists the "
         "commands, and 'fairlead send -demo -text hello' shows the main one";
}

std::string GeneralHelp() {
  std::string text =
      "usage: fairlead COMMAND [-name value]...\n\n"
      "Exchanges messages with a TCP server, and works on INI files, logs, "
      "times,\ncodes, sums and ciphers.\n\n"
      "Commands:\n";
  for (const Command* const command : Commands())
    text += Entry(command->name, 14, command->summary);
  text +=
      "\nExamples:\n"
      "  fairlead send -demo -text hello\n"
      "  fairlead help send\n\n";
  AppendWrapped(text, 0,
                "A value cannot begin with '-', and only a command's own words "
                "stand bare. A switch may be followed by on, off, yes, no, "
                "true, false, 1 or 0. Names may be written in upper case and "
                "with two leading '-'; of a name given twice, the last counts. "
                "Standard output carries data only.");
  return text;
}

std::string CommandHelp(const Command& command) {
  std::string text = Concat("usage: fairlead ", command.name);
  if (!command.usage.empty()) text.append(" ").append(command.usage);
  text += "\n\n";
  AppendWrapped(text, 0, command.story);
  if (command.operand != nullptr)
    text += Concat(
        "\n", command.operand->group, ":\n",
        Entry(Spelling(*command.operand), 21, Explanation(*command.operand)),
        VerbList(*command.operand));
  return text + ParameterList(command) + ExampleList(command) +
         StatusList(command);
}

}  // namespace fairlead::tool
