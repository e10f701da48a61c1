#include "tool/help/man_page.h"

#include <array>
#include <string_view>

#include "tool/base/concat.h"
#include "tool/command/commands.h"

namespace fairlead::tool {
namespace {

constexpr std::string_view kDate = "2026-11-21";

// Roff reads backslashes, '-' and, first in a line, '.' and '\'' as its own.
std::string Roff(std::string_view text) {
  std::string roff;
  if (text.starts_with('.') || text.starts_with('\'')) roff = "\\&";
  for (const char c : text) {
    if (c == '\\')
      roff += "\\e";
    else if (c == '-')
      roff += "\\-";
    else if (c == '\'')
      roff += "\\(aq";
    else if (c == '~')
      roff += "\\(ti";
    else if (c == '^')
      roff += "\\(ha";
    else
      roff += c;
  }
  return roff;
}

// A paragraph with a tag; the tag is bold, the word for a value in it italic.
std::string Tagged(const Parameter& parameter) {
  std::string tag = ".TP\n";
  if (parameter.name.empty())
    tag += Concat(".I ", Roff(parameter.word));
  else if (parameter.kind == Kind::kSwitch)
    tag += Concat(".B ", Roff(Spelling(parameter)));
  else
    tag += Concat(".BI ", Roff(Concat("-", parameter.name)), " \" ",
                  Roff(parameter.word), "\"");
  return Concat(tag, "\n", Roff(Explanation(parameter)), ".\n");
}

std::string Verbs(const Parameter& operand) {
  std::string text;
  for (const Verb& verb : operand.verbs)
    text += Concat(".TP\n.BI ", Roff(verb.name), " \" ", Roff(verb.usage),
                   "\"\n", Roff(verb.help), ".\n");
  return text;
}

// The words of a parameter that has a line of help for each.
std::string Words(const Parameter& parameter) {
  if (parameter.verbs.empty()) return "";
  std::string text = ".RS\n";
  for (const Verb& word : parameter.verbs)
    text += Concat(".TP\n.B ", Roff(word.name), "\n", Roff(word.help), ".\n");
  return text + ".RE\n";
}

std::string Examples(const Command& command) {
  std::string text;
  for (const Example& example : command.examples)
    text += Concat(".PP\n", Roff(example.meaning), "\n.PP\n.nf\n.RS 4\n",
                   Roff(example.line), "\n.RE\n.fi\n");
  return text;
}

std::string CommandSection(const Command& command) {
  std::string text = Concat(".SS ", command.name, "\n.B ",
                            Roff(Concat("fairlead ", command.name)), "\n");
  if (!command.usage.empty())
    text += Concat(".RI ", "\"", Roff(command.usage), "\"\n");
  text += Concat(".PP\n", Roff(command.story), "\n");
  if (command.operand != nullptr)
    text += Tagged(*command.operand) + Verbs(*command.operand);
  for (const Parameter& parameter : command.parameters)
    text += Tagged(parameter) + Words(parameter);
  return text + Examples(command);
}

std::string Summaries() {
  std::string text;
  for (const Command* const command : Commands())
    text += Concat(".TP\n.B ", Roff(command->name), "\n",
                   Roff(command->summary), ".\n");
  return text;
}

// Every status that some command has, in rising order.
std::string Statuses() {
  std::array<bool, 256> used{};
  for (const Command* const command : Commands())
    for (const ExitStatus status : command->statuses)
      used.at(static_cast<std::size_t>(status)) = true;

  std::string text;
  for (std::size_t status = 0; status < used.size(); ++status)
    if (used.at(status))
      text += Concat(".TP\n.B ", status, "\n",
                     Roff(Meaning(static_cast<ExitStatus>(status))), ".\n");
  return text;
}

}  // namespace

std::string ManPage() {
  std::string page =
      Concat(".TH FAIRLEAD 1 ", kDate,
             " \"fairlead " FAIRLEAD_VERSION
             "\" \"User Commands\"\n"
             ".SH NAME\n"
             "fairlead \\- exchange messages with a TCP server; work on INI "
             "files, logs, times, codes, sums and ciphers\n"
             ".SH SYNOPSIS\n"
             ".B fairlead\n"
             ".I command\n"
             ".RI [ word ]\n"
             ".RI [\\- name \" [\" value ]]...\n"
             ".SH DESCRIPTION\n"
             "The first word is the command:\n");
  page += Summaries();
  page += Concat(
      ".PP\n",
      Roff("A value cannot begin with '-'. A switch may be followed by on, "
           "off, yes, no, true, false, 1 or 0. Names may be written in "
           "upper case and with two leading '-'; of a name given twice, the "
           "last counts. Standard output carries data only; all that is "
           "said to a person goes to standard error."),
      "\n.SH COMMANDS\n");
  for (const Command* const command : Commands())
    page += CommandSection(*command);
  page += Concat(".SH EXIT STATUS\n", Statuses(), ".TP\n.B 130\n",
                 Roff(kInterrupt), ".\n");
  page +=
      ".SH ENVIRONMENT\n"
      ".TP\n"
      ".B NO_COLOR\n"
      "Where it is set and not empty, no colour is used, not even on a "
      "terminal.\n"
      ".TP\n"
      ".B TERM\n"
      "Where it is not set or is\n"
      ".IR dumb ,\n"
      "neither colour nor a progress bar is used.\n";
  return page;
}

}  // namespace fairlead::tool
