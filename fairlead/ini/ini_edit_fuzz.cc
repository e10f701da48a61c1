// Any file and any script of edits: after each step the file holds what a
// second model of it holds, and the results are the same.
//
// The input is the text of a file, a line "----" and the script. Each line of
// the script is the letter of an operation (see EditStep) and up to three words
// after '|', in which '~' stands for LF.

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <string>

#include "fairlead/ini/ini_edit_model.h"
#include "fairlead/ini/memory_file.h"

namespace {

void Require(bool promise) {
  if (!promise) std::abort();
}

fairlead::EditStep ParseStep(const std::string& line) {
  fairlead::EditStep step{};
  std::istringstream in(line);
  std::string operation;
  std::getline(in, operation, '|');
  if (operation.size() == 1) step.operation = operation[0];
  for (std::string& word : step.words) {
    std::getline(in, word, '|');
    std::replace(word.begin(), word.end(), '~', '\n');
  }
  return step;
}

}  // namespace

// Saving prints, which is nothing to look at here.
extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
  const int null = open("/dev/null", O_WRONLY | O_CLOEXEC);
  Require(dup2(null, STDOUT_FILENO) == STDOUT_FILENO);
  return close(null);
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  static const fairlead::MemoryFile file;
  const std::string input(reinterpret_cast<const char*>(data), size);
  const std::string line_between = "----\n";
  const std::size_t end = std::min(input.find(line_between), size);

  fairlead::FileStore store{file.Path()};
  fairlead::FileModel model{input.substr(0, end), ""};
  file.Write(model.text);
  std::istringstream script(
      input.substr(std::min(size, end + line_between.size())));
  for (std::string line; std::getline(script, line);) {
    const fairlead::EditStep step = ParseStep(line);
    Require(Outcome(step, store) == Outcome(step, model));
    Require(file.Read() == model.text);
  }
  return 0;
}
