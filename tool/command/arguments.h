// A command's arguments: checked against the table, then asked of the parser.

#ifndef FAIRLEAD_TOOL_COMMAND_ARGUMENTS_H_
#define FAIRLEAD_TOOL_COMMAND_ARGUMENTS_H_

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "fairlead/cmdline/simple_cmd_line.h"
#include "tool/command/commands.h"

namespace fairlead::tool {

/// The parameters given to one command.
///
/// Values come from CSimpleCmdLine. Because it cannot list what was given and
/// takes everything, the words themselves are looked at first: a wrong one is
/// told to the user instead of being lost.
class Arguments {
 public:
  /// @param words the command and what follows it; they outlive the object
  /// @throws Failure with kWrongUsage for whatever the table does not allow
  Arguments(const Command& command, std::span<char* const> words);

  const Command& command() const { return command_; }

  /// Whether the parameter was given; a switch, whether it is on.
  bool Has(const Parameter& parameter) const;

  /// The value given, else the fallback of the table.
  std::string Text(const Parameter& parameter) const;

  /// The number given, else the fallback of the table, else 0.
  int Number(const Parameter& parameter) const;

  /// @throws Failure with kWrongUsage for what may not stand behind the
  ///     parameter
  static void CheckValue(const Parameter& parameter, std::string_view value);

 private:
  void Check() const;
  void CheckBareWord(std::size_t at) const;
  const Parameter& Known(std::string_view name) const;
  [[noreturn]] void FailForMissingValue(const Parameter& parameter,
                                        std::size_t at) const;
  std::string NameInParser(const Parameter& parameter) const;

  const Command& command_;
  std::vector<char*> words_;  // With one leading '-' where two were given.
  CSimpleCmdLine parser_;
};

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_COMMAND_ARGUMENTS_H_
