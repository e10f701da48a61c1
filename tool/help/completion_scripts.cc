#include "tool/help/completion_scripts.h"

#include <string_view>
#include <vector>

#include "tool/base/concat.h"
#include "tool/command/commands.h"

namespace fairlead::tool {
namespace {

std::string Joined(const std::vector<std::string_view>& words) {
  std::string text;
  for (const std::string_view word : words)
    text.append(text.empty() ? "" : " ").append(word);
  return text;
}

std::string CommandNames() {
  std::vector<std::string_view> names;
  for (const Command* const command : Commands())
    names.push_back(command->name);
  return Joined(names);
}

// The words that may stand in the parameter's place, or "" where any may.
std::string Words(const Parameter& parameter) {
  if (parameter.kind == Kind::kChoice) return Joined(Choices(parameter));
  return parameter.word == "COMMAND" ? CommandNames() : "";
}

std::string BashWords(const std::string& words) {
  return Concat("mapfile -t COMPREPLY < <(compgen -W '", words,
                "' -- \"$word\")");
}

// What bash offers behind the parameter's name; "" for a switch, behind which
// the next name stands.
std::string BashValue(const Parameter& parameter) {
  if (parameter.kind == Kind::kSwitch) return "";
  const std::string pattern = Concat("        -", parameter.name, ") ");
  if (parameter.kind == Kind::kFile)
    return Concat(
        pattern,
        "compopt -o filenames; mapfile -t COMPREPLY < <(compgen -f -- "
        "\"$word\") ;;\n");
  const std::string words = Words(parameter);
  return pattern + (words.empty() ? ";;\n" : Concat(BashWords(words), " ;;\n"));
}

std::string BashCommand(const Command& command) {
  std::string names;
  for (const Parameter& parameter : command.parameters)
    names.append(names.empty() ? "-" : " -").append(parameter.name);
  if (command.operand != nullptr) names += Concat(" ", Words(*command.operand));

  std::string text = Concat("    ", command.name,
                            ")\n"
                            "      case $previous in\n");
  for (const Parameter& parameter : command.parameters)
    text += BashValue(parameter);
  return Concat(text, "        *) ", BashWords(names),
                " ;;\n"
                "      esac ;;\n");
}

// The text between single quotes, with the letters that _arguments reads as its
// own behind a backslash.
std::string ZshText(std::string_view text) {
  std::string quoted;
  for (const char c : text) {
    if (c == '\'')
      quoted += "'\\'";
    else if (c == ':' || c == '[' || c == ']' || c == '\\')
      quoted += '\\';
    quoted += c;
  }
  return quoted;
}

std::string ZshAction(const Parameter& parameter) {
  if (parameter.kind == Kind::kFile) return "_files";
  const std::string words = Words(parameter);
  return words.empty() ? "" : Concat("(", words, ")");
}

std::string ZshParameter(const Parameter& parameter) {
  if (parameter.name.empty())
    return Concat(" '1:", ZshText(parameter.help), ":", ZshAction(parameter),
                  "'");
  std::string text =
      Concat(" '-", parameter.name, "[", ZshText(Explanation(parameter)), "]");
  if (parameter.kind != Kind::kSwitch)
    text += Concat(":",
                   ZshText(parameter.kind == Kind::kChoice ? parameter.name
                                                           : parameter.word),
                   ":", ZshAction(parameter));
  return Concat(text, "'");
}

std::string ZshCommand(const Command& command) {
  std::string text = Concat("    ", command.name,
                            ")\n"
                            "      _arguments");
  if (command.operand != nullptr)
    text += Concat(" \\\n       ", ZshParameter(*command.operand));
  for (const Parameter& parameter : command.parameters)
    text += Concat(" \\\n       ", ZshParameter(parameter));
  return Concat(text, " ;;\n");
}

}  // namespace

std::string BashCompletion() {
  std::string text = Concat(
      "# bash completion for fairlead\n"
      "_fairlead() {\n"
      "  local word=${COMP_WORDS[COMP_CWORD]}\n"
      "  local previous=${COMP_WORDS[COMP_CWORD - 1]}\n"
      "  COMPREPLY=()\n"
      "  if ((COMP_CWORD == 1)); then\n"
      "    ",
      BashWords(CommandNames()),
      "\n"
      "    return\n"
      "  fi\n"
      "  case ${COMP_WORDS[1]} in\n");
  for (const Command* const command : Commands()) text += BashCommand(*command);
  return Concat(text,
                "  esac\n"
                "}\n"
                "complete -F _fairlead fairlead\n");
}

std::string ZshCompletion() {
  std::string text =
      "#compdef fairlead\n"
      "_fairlead() {\n"
      "  if ((CURRENT == 2)); then\n"
      "    local -a commands\n"
      "    commands=(\n";
  for (const Command* const command : Commands())
    text +=
        Concat("      '", command->name, ":", ZshText(command->summary), "'\n");
  text +=
      "    )\n"
      "    _describe command commands\n"
      "    return\n"
      "  fi\n"
      "  shift words\n"
      "  ((CURRENT--))\n"
      "  case $words[1] in\n";
  for (const Command* const command : Commands()) text += ZshCommand(*command);
  return Concat(text,
                "  esac\n"
                "}\n"
                "if [[ $funcstack[1] == _fairlead ]]; then\n"
                "  _fairlead \"$@\"\n"
                "else\n"
                "  compdef _fairlead fairlead\n"
                "fi\n");
}

}  // namespace fairlead::tool
