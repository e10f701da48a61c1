// Writes the completion scripts of the shells from the command table.

#include "tool/help/completion_scripts.h"

#include <string_view>
#include <vector>

#include "tool/base/concat.h"
#include "tool/command/command_table.h"
#include "tool/command/duration.h"

namespace fairlead::tool {
namespace {

using CommandList = std::span<const Command* const>;

// Calls the function for every command that runs: subcommands, and commands
// without any.
template <typename Function>
void ForEachAction(const Function& function) {
  for (const Command* const command : Commands()) {
    if (command->subcommands.empty()) function(*command);
    for (const Command* const subcommand : command->subcommands)
      function(*subcommand);
  }
}

std::string NamesOf(CommandList commands) {
  std::string names;
  for (const Command* const command : commands)
    names.append(names.empty() ? "" : " ").append(command->name);
  return names;
}

// Returns whether the name means the same to a shell without quotes. A choice
// that does not has another name.
bool IsPlain(std::string_view name) {
  return name.find_first_of("#;") == std::string_view::npos;
}

std::string ChoiceNames(std::span<const Choice> choices) {
  std::string names;
  for (const Choice& choice : choices)
    if (IsPlain(choice.name))
      names.append(names.empty() ? "" : " ").append(choice.name);
  return names;
}

// Returns what can be typed for the value, or "" if that is not known.
std::string ValuesOf(const Parameter& parameter) {
  if (parameter.kind == Kind::kCommand) return NamesOf(Commands());
  if (!parameter.unlimited.empty()) return std::string(parameter.unlimited);
  return ChoiceNames(parameter.choices);
}

// Returns a clause of a `case` for each command that has subcommands.
template <typename Function>
std::string SubcommandClauses(const Function& action) {
  std::string text;
  for (const Command* const command : Commands())
    if (!command->subcommands.empty())
      text += Concat(command->name, ") ", action(NamesOf(command->subcommands)),
                     " ;; ");
  return text;
}

std::string BashOffer(const std::string& names) {
  return Concat("mapfile -t COMPREPLY < <(compgen -W '", names,
                "' -- \"$word\")");
}

// What bash offers after the parameter's name; "" for a switch, after which the
// next name follows.
std::string BashValue(const Parameter& parameter) {
  if (parameter.kind == Kind::kSwitch) return "";
  const std::string pattern = Concat("        -", parameter.name, ") ");
  if (parameter.kind == Kind::kFile)
    return Concat(
        pattern,
        "compopt -o filenames; mapfile -t COMPREPLY < <(compgen -f -- "
        "\"$word\") ;;\n");
  const std::string values = ValuesOf(parameter);
  return Concat(pattern, values.empty() ? "" : BashOffer(values) + " ", ";;\n");
}

// What bash offers for the operand at that place of the line.
std::string BashOperand(const Parameter& operand, std::size_t place) {
  const std::string offer =
      operand.kind == Kind::kSubcommand
          ? Concat("case ${COMP_WORDS[", place - 1, "]} in ",
                   SubcommandClauses(BashOffer), "esac")
          : BashOffer(ValuesOf(operand));
  return Concat("      if ((COMP_CWORD == ", place, ")); then\n        ", offer,
                "\n        return\n      fi\n");
}

std::string BashClause(const Command& command) {
  std::string names;
  std::string values;
  std::string operands;
  std::size_t place = command.parent == nullptr ? 2 : 3;
  for (const Parameter* const parameter : ParametersOf(command)) {
    if (parameter->name.empty()) {
      operands += BashOperand(*parameter, place++);
      continue;
    }
    names.append(names.empty() ? "-" : " -").append(parameter->name);
    values += BashValue(*parameter);
  }
  return Concat("    '", FullName(command), "')\n", operands,
                "      case $previous in\n", values, "        *) ",
                BashOffer(names), " ;;\n      esac ;;\n");
}

// Offers the subcommands, or adds the one given to the command's name.
std::string BashSubcommands(const Command& command) {
  if (command.subcommands.empty()) return "";
  return Concat("    ", command.name,
                ")\n"
                "      if ((COMP_CWORD == 2)); then\n        ",
                BashOffer(Concat(NamesOf(command.subcommands), " -help")),
                "\n        return\n      fi\n"
                "      command+=\" ${COMP_WORDS[2]}\" ;;\n");
}

// Returns the text between single quotes, with a backslash before what is
// special to _arguments.
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
  if (parameter.kind == Kind::kSubcommand)
    return Concat("{case $words[2] in ",
                  SubcommandClauses([](const std::string& names) {
                    return "compadd " + names;
                  }),
                  "esac}");
  const std::string values = ValuesOf(parameter);
  return values.empty() ? "" : Concat("(", values, ")");
}

std::string ZshOperand(const Parameter& operand, std::size_t place) {
  return Concat(" '", place, ":", ZshText(operand.help), ":",
                ZshAction(operand), "'");
}

std::string ZshParameter(const Parameter& parameter) {
  std::string text =
      Concat(" '-", parameter.name, "[", ZshText(Explanation(parameter)), "]");
  if (parameter.kind != Kind::kSwitch)
    text +=
        Concat(":",
               ZshText(parameter.kind == Kind::kChoice ? parameter.name
                                                       : parameter.placeholder),
               ":", ZshAction(parameter));
  return Concat(text, "'");
}

std::string ZshClause(const Command& command) {
  std::string text = Concat("    '", FullName(command), "')\n      _arguments");
  std::size_t place = 1;
  for (const Parameter* const parameter : ParametersOf(command))
    text += Concat(" \\\n       ", parameter->name.empty()
                                       ? ZshOperand(*parameter, place++)
                                       : ZshParameter(*parameter));
  return Concat(text, " ;;\n");
}

// Offers the commands with their summaries.
std::string ZshDescribe(std::string_view what, CommandList commands,
                        const std::string& indent) {
  std::string text = Concat(indent, "local -a names\n", indent, "names=(\n");
  for (const Command* const command : commands)
    text += Concat(indent, "  '", command->name, ":", ZshText(command->summary),
                   "'\n");
  return Concat(text, indent, ")\n", indent, "_describe ", what, " names\n",
                indent, "return\n");
}

std::string ZshSubcommands(const Command& command) {
  if (command.subcommands.empty()) return "";
  return Concat("    ", command.name,
                ")\n"
                "      if ((CURRENT == 2)); then\n",
                ZshDescribe("subcommand", command.subcommands, "        "),
                "      fi\n"
                "      command+=\" $words[2]\"\n"
                "      shift words\n"
                "      ((CURRENT--)) ;;\n");
}

// Returns the end of a script's function: one `case` that treats subcommands,
// and one that offers what can follow the command.
template <typename Clause>
std::string Cases(const Clause& subcommands, const Clause& arguments) {
  std::string text = "  case $command in\n";
  for (const Command* const command : Commands()) text += subcommands(*command);
  text += "  esac\n  case $command in\n";
  ForEachAction([&](const Command& command) { text += arguments(command); });
  return Concat(text, "  esac\n}\n");
}

}  // namespace

std::string BashCompletion() {
  return Concat(
      "# bash completion for fairlead\n"
      "_fairlead() {\n"
      "  local word=${COMP_WORDS[COMP_CWORD]}\n"
      "  local previous=${COMP_WORDS[COMP_CWORD - 1]}\n"
      "  local command=${COMP_WORDS[1]}\n"
      "  COMPREPLY=()\n"
      "  if ((COMP_CWORD == 1)); then\n"
      "    ",
      BashOffer(NamesOf(Commands())),
      "\n"
      "    return\n"
      "  fi\n",
      Cases(BashSubcommands, BashClause), "complete -F _fairlead fairlead\n");
}

std::string ZshCompletion() {
  return Concat(
      "#compdef fairlead\n"
      "_fairlead() {\n"
      "  if ((CURRENT == 2)); then\n",
      ZshDescribe("command", Commands(), "    "),
      "  fi\n"
      "  shift words\n"
      "  ((CURRENT--))\n"
      "  local command=$words[1]\n",
      Cases(ZshSubcommands, ZshClause),
      "if [[ $funcstack[1] == _fairlead ]]; then\n"
      "  _fairlead \"$@\"\n"
      "else\n"
      "  compdef _fairlead fairlead\n"
      "fi\n");
}

}  // namespace fairlead::tool
