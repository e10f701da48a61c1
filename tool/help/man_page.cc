// Writes the man page from the command table.

#include "tool/help/man_page.h"

#include <set>
#include <string_view>

#include "tool/base/concat.h"
#include "tool/command/command_table.h"
#include "tool/command/duration.h"
#include "tool/command/usage.h"
#include "tool/help/help_text.h"

namespace fairlead::tool {
namespace {

// Returns the character escaped for roff, which would print some as others: a
// '-' as a hyphen.
std::string Roff(char c) {
  switch (c) {
    case '\\':
      return "\\e";
    case '-':
      return "\\-";
    case '\'':
      return "\\(aq";
    case '~':
      return "\\(ti";
    case '^':
      return "\\(ha";
    default:
      return {c};
  }
}

// Returns the text in roff. First in a line, '.' and '\'' would be requests.
std::string Roff(std::string_view text) {
  const bool is_request = text.starts_with('.') || text.starts_with('\'');
  std::string roff = is_request ? "\\&" : "";
  for (const char c : text) roff += Roff(c);
  return roff;
}

// Returns a tagged paragraph; the tag is bold, the placeholder in it italic.
std::string Tagged(const Parameter& parameter) {
  const std::string placeholder = Placeholder(parameter);
  std::string tag = ".TP\n";
  if (parameter.name.empty())
    tag += Concat(".I ", Roff(placeholder));
  else if (placeholder.empty())
    tag += Concat(".B ", Roff(Spelling(parameter)));
  else
    tag += Concat(".BI ", Roff(Concat("-", parameter.name)), " \" ",
                  Roff(placeholder), "\"");
  return Concat(tag, "\n", Roff(Explanation(parameter)), ".\n");
}

// Returns the choices of a parameter that have a help of their own.
std::string ChoiceList(const Parameter& parameter) {
  std::string text;
  for (const Choice& choice : parameter.choices)
    if (!choice.help.empty())
      text +=
          Concat(".TP\n.B ", Roff(choice.name), "\n", Roff(choice.help), ".\n");
  return text.empty() ? "" : Concat(".RS\n", text, ".RE\n");
}

std::string RoffExamples(const Command& command) {
  std::string text;
  for (const Example& example : command.examples)
    text += Concat(".PP\n", Roff(example.meaning), "\n.PP\n.nf\n.RS 4\n",
                   Roff(example.line), "\n.RE\n.fi\n");
  return text;
}

std::string Section(const Command& command) {
  const std::string name = FullName(command);
  const std::string usage = UsageLine(command).substr(name.size());
  std::string text =
      Concat(".SS ", name, "\n.B ", Roff(Concat("fairlead ", name)), "\n");
  if (!usage.empty())
    text += Concat(".RI ", "\"", Roff(usage.substr(1)), "\"\n");
  for (const std::string_view paragraph : ParagraphsOf(command))
    text += Concat(".PP\n", Roff(paragraph), "\n");
  for (const Parameter* const parameter : ParametersOf(command))
    text += Tagged(*parameter) + ChoiceList(*parameter);
  return text + RoffExamples(command);
}

std::string Sections() {
  std::string text;
  for (const Command* const command : Commands()) {
    text += Section(*command);
    for (const Command* const subcommand : command->subcommands)
      text += Section(*subcommand);
  }
  return text;
}

std::string Summaries() {
  std::string text;
  for (const Command* const command : Commands())
    text += Concat(".TP\n.B ", Roff(command->name), "\n",
                   Roff(command->summary), ".\n");
  return text;
}

// Returns every status that some command has, in rising order.
std::string StatusList() {
  std::set<ExitStatus> statuses;
  for (const Command* const command : Commands())
    for (const Status& status : StatusesOf(*command))
      statuses.insert(status.status);

  std::string text;
  for (const ExitStatus status : statuses)
    text += Concat(".TP\n.B ", static_cast<int>(status), "\n",
                   Roff(Meaning(status)), ".\n");
  return text;
}

std::string TitleLine() {
  return Concat(".TH FAIRLEAD 1 " FAIRLEAD_DATE " \"fairlead " FAIRLEAD_VERSION
                "\" \"User Commands\"\n");
}

constexpr std::string_view kOpening =
    ".SH NAME\n"
    "fairlead \\- exchange messages with a TCP server; work on INI files, "
    "logs, "
    "times, codes, checksums and ciphers\n"
    ".SH SYNOPSIS\n"
    ".B fairlead\n"
    ".I command\n"
    ".RI [ subcommand ]\n"
    ".RI [\\- name \" [\" value ]]...\n"
    ".SH DESCRIPTION\n"
    "The first argument is the command:\n";

constexpr std::string_view kEnvironment =
    ".SH ENVIRONMENT\n"
    ".TP\n"
    ".B NO_COLOR\n"
    "If it is set and not empty, no colour is used.\n"
    ".TP\n"
    ".B TERM\n"
    "If it is not set or is\n"
    ".IR dumb ,\n"
    "neither colour nor a progress bar is used.\n";

}  // namespace

std::string ManPage() {
  return Concat(TitleLine(), kOpening, Summaries(), ".PP\n", Roff(kConventions),
                "\n.PP\n", Roff(kDurationForms), "\n.SH COMMANDS\n", Sections(),
                ".SH EXIT STATUS\n", StatusList(), kEnvironment);
}

}  // namespace fairlead::tool
