// Parses any arguments of any command and compares the values with a slower
// parser; a refusal has one line, and shows no key.
//
// The input has an argument in each line; the first lines name the command.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "fairlead/cmdline/simple_cmd_line_model.h"
#include "fairlead/testing/fuzzing.h"
#include "tool/base/failure.h"
#include "tool/command/command_table.h"
#include "tool/command/usage.h"

namespace fairlead::tool {
namespace {

using internal::ParameterTable;
using internal::RequireLaw;
using Words = std::vector<std::string>;

constexpr std::string_view kKey = "Wy9kT";  // In no help and no message.

// A message is one line of visible characters.
void CheckMessage(std::string_view message) {
  RequireLaw(!message.empty());
  RequireLaw(std::ranges::none_of(message, [](char c) {
    return (c >= 0 && c < ' ' && c != '\n') || c == '\x7f';
  }));
}

// A key behind an option that takes one must not be shown.
bool HidesKey(const Words& arguments) {
  const auto has_key = [](const std::string& text) {
    return text.find(kKey) != std::string::npos;
  };
  const auto found = std::ranges::find_if(arguments, has_key);
  return found != arguments.end() && *found == kKey &&
         found != arguments.begin() &&
         (found[-1] == "-aes" || found[-1] == "-rc4") &&
         std::none_of(found + 1, arguments.end(), has_key);
}

// Returns the command that the first arguments name, and removes them but the
// last part of its name.
const Command& CommandOf(Words& arguments) {
  const Command& command = KnownCommand(arguments.front());
  if (command.subcommands.empty()) return command;
  arguments.erase(arguments.begin());
  return KnownSubcommand(command, arguments.empty() ? "" : arguments.front());
}

// Returns the table of the arguments after the operands.
ParameterTable ExpectedTable(const Words& arguments) {
  Words rest(std::ranges::find_if(
                 arguments,
                 [](const std::string& text) { return text.starts_with('-'); }),
             arguments.end());
  for (std::string& text : rest)
    if (text.starts_with("--")) text.erase(0, 1);
  return internal::TableOfArguments(rest);
}

bool IsOn(const std::string& value) {
  const std::string lower = internal::LowerText(value);
  return lower != "off" && lower != "no" && lower != "false" && lower != "0";
}

void CheckParsed(const ParsedArguments& parsed, const Words& arguments) {
  const ParameterTable expected =
      ExpectedTable(Words(arguments.begin() + 1, arguments.end()));
  for (const Parameter* const parameter : ParametersOf(parsed.command())) {
    if (parameter->name.empty()) continue;
    const auto given = expected.find(std::string(parameter->name));
    const bool has = given != expected.end() &&
                     (parameter->kind != Kind::kSwitch || IsOn(given->second));
    RequireLaw(parsed.Has(*parameter) == has);
    RequireLaw(parsed.Text(*parameter) ==
               (has ? given->second : std::string(parameter->fallback)));
  }
}

void Try(Words arguments) {
  const bool hides_key = HidesKey(arguments);
  try {
    const Command& command = CommandOf(arguments);
    std::vector<char*> pointers;
    for (std::string& text : arguments) pointers.push_back(text.data());
    const ParsedArguments parsed(command, pointers);
    CheckParsed(parsed, arguments);
    CheckUses(parsed);
  } catch (const Failure& failure) {
    const std::string_view message = failure.what();
    RequireLaw(failure.status() == kWrongUsage);
    CheckMessage(message);
    RequireLaw(!hides_key || message.find(kKey) == std::string_view::npos);
  }
}

}  // namespace
}  // namespace fairlead::tool

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  const auto arguments =
      fairlead::internal::LinesOf(fairlead::internal::InputText(data, size));
  if (!arguments.empty() && size < 500) fairlead::tool::Try(arguments);
  return 0;
}
