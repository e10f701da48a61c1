// Fuzzes sequences of edits on any file: after each one, the file and the
// result are those of a second implementation.
//
// The input is the text of a file, a line "----" and a line for each edit: the
// name of an operation and up to three arguments, separated by '|', in which
// '~' means LF. See EditStep.

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <sstream>
#include <string>

#include "fairlead/ini/ini_edit_model.h"
#include "fairlead/testing/memory_file.h"

namespace fairlead::internal {
namespace {

void Require(bool condition) {
  if (!condition) std::abort();
}

std::optional<EditOperation> ParseOperation(const std::string& text) {
  for (const auto& [operation, name] : kEditOperations)
    if (name == text) return operation;
  return std::nullopt;
}

std::optional<EditStep> ParseStep(const std::string& line) {
  std::istringstream in(line);
  std::string name;
  std::getline(in, name, '|');
  const std::optional<EditOperation> operation = ParseOperation(name);
  if (!operation) return std::nullopt;
  EditStep step{*operation, {}};
  for (std::string& argument : step.arguments) {
    std::getline(in, argument, '|');
    std::replace(argument.begin(), argument.end(), '~', '\n');
  }
  return step;
}

}  // namespace

// Discards what saving prints.
extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
  const int null = open("/dev/null", O_WRONLY | O_CLOEXEC);
  Require(dup2(null, STDOUT_FILENO) == STDOUT_FILENO);
  return close(null);
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  static const MemoryFile file;
  const std::string input(reinterpret_cast<const char*>(data), size);
  const std::string line_between = "----\n";
  const std::size_t end = std::min(input.find(line_between), size);

  FileStore store{file.Path()};
  FileModel model{input.substr(0, end), ""};
  file.Write(model.text);
  std::istringstream script(
      input.substr(std::min(size, end + line_between.size())));
  for (std::string line; std::getline(script, line);) {
    const std::optional<EditStep> step = ParseStep(line);
    if (!step) continue;
    Require(Outcome(*step, store) == Outcome(*step, model));
    Require(file.Read() == model.text);
  }
  return 0;
}

}  // namespace fairlead::internal
