#include "tool/run_command.h"

#include <new>
#include <string>
#include <system_error>
#include <vector>

#include "tool/arguments.h"
#include "tool/concat.h"
#include "tool/failure.h"
#include "tool/help_text.h"
#include "tool/nearest.h"
#include "tool/parameters.h"

namespace fairlead::tool {
namespace {

// "-help" and "--version" in the place of the command mean the command.
std::string_view CommandName(std::string_view word) {
  const std::string_view bare = word.substr(word.starts_with("--")  ? 2
                                            : word.starts_with('-') ? 1
                                                                    : 0);
  return bare == "help" || bare == "version" ? bare : word;
}

ExitStatus Run(const Command& command, std::span<char* const> words,
               const Output& output) {
  const Arguments arguments(command, words);
  if (!arguments.Has(kHelp)) return command.run(arguments, output);
  output.Write(CommandHelp(command));
  return kDone;
}

}  // namespace

const Command& KnownCommand(std::string_view name) {
  if (const Command* const known = FindCommand(name)) return *known;
  if (name.starts_with('-'))
    throw Failure(kWrongUsage, Concat("'", name,
                                      "' stands where the command belongs: "
                                      "fairlead COMMAND [-name value]..."));
  std::vector<std::string_view> names;
  for (const Command* const command : Commands())
    names.push_back(command->name);
  throw Failure(kWrongUsage,
                Concat("'", name, "' is no command; the nearest is ",
                       Nearest(name, names), " ('fairlead help' lists all)"));
}

ExitStatus RunCommand(std::span<char* const> words, const Output& output) {
  std::string_view name;
  try {
    if (words.empty()) throw Failure(kWrongUsage, std::string(ShortUsage()));
    const Command& command = KnownCommand(CommandName(words[0]));
    name = command.name;
    return Run(command, words, output);
  } catch (const Failure& failure) {
    Complain(name, failure.what());
    return failure.status();
  } catch (const std::bad_alloc&) {
    Complain(name, "there is not enough memory for the body");
    return kCannotRead;
  } catch (const std::system_error& error) {
    Complain(name, Concat("no thread can be started: ", error.what()));
    return kNotConnected;
  }
}

}  // namespace fairlead::tool
