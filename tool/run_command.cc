#include "tool/run_command.h"

#include <cstdio>
#include <cstdlib>
#include <new>
#include <string>
#include <system_error>
#include <vector>

#include "tool/base/concat.h"
#include "tool/base/escapes.h"
#include "tool/base/failure.h"
#include "tool/command/arguments.h"
#include "tool/command/nearest.h"
#include "tool/command/parameters.h"
#include "tool/help/help_text.h"

namespace fairlead::tool {
namespace {

// The command that runs, for as long as it does.
const Command* running = nullptr;

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
  if (!arguments.Has(kHelp)) {
    running = &command;
    return command.run(arguments, output);
  }
  output.Write(CommandHelp(command));
  return kDone;
}

struct Idle {
  Idle() = default;
  Idle(const Idle&) = delete;
  Idle& operator=(const Idle&) = delete;
  ~Idle() { running = nullptr; }
};

// With `silent`, the library prints "-33" and ends the process where a name is
// not resolved; nothing else ends it inside a command. So that the person is
// told, a line follows.
void SayWhyItEnded() {
  if (running == nullptr) return;
  std::puts("");
  Complain(running->name, "no IPv4 address is known for the host");
}

}  // namespace

const Command& KnownCommand(std::string_view name) {
  if (const Command* const known = FindCommand(name)) return *known;
  if (name.starts_with('-'))
    throw Failure(kWrongUsage, Concat(Quoted(name),
                                      " stands where the command belongs: "
                                      "fairlead COMMAND [-name value]..."));
  std::vector<std::string_view> names;
  for (const Command* const command : Commands())
    names.push_back(command->name);
  throw Failure(kWrongUsage,
                Concat(Quoted(name), " is no command",
                       Suggestion("; the nearest is ", name, names),
                       " ('fairlead help' lists all)"));
}

ExitStatus RunCommand(std::span<char* const> words, const Output& output) {
  static const bool registered = std::atexit(SayWhyItEnded) == 0;
  (void)registered;
  const Idle idle_at_the_end;
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
    Complain(name, "there is not enough memory for what is read");
    return kCannotRead;
  } catch (const std::system_error& error) {
    Complain(name, Concat("no thread can be started: ", error.what()));
    return kNotConnected;
  }
}

}  // namespace fairlead::tool
