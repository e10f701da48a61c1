// The command fairlead.

#include <cstddef>
#include <span>

#include "tool/run_command.h"

// A program may be started with no arguments at all, not even its own path.
int main(int argc, char** argv) {
  const std::span<char* const> words(argv, static_cast<std::size_t>(argc));
  return fairlead::tool::RunCommand(words.subspan(words.empty() ? 0 : 1));
}
