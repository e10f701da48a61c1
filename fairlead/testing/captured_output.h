// What a test prints, as a text. Not installed.

#ifndef FAIRLEAD_TESTING_CAPTURED_OUTPUT_H_
#define FAIRLEAD_TESTING_CAPTURED_OUTPUT_H_

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <string>

namespace fairlead::internal {

// Collects what is written to a standard stream, by stdio, iostream or
// descriptor, from its construction to Take() or destruction.
class CapturedOutput {
 public:
  // Takes the descriptor of the stream.
  explicit CapturedOutput(int stream = STDOUT_FILENO)
      : stream_(stream),
        before_(dup(stream)),
        file_(memfd_create("output", MFD_CLOEXEC)) {
    Flush();
    if (before_ == -1 || file_ == -1 || dup2(file_, stream) == -1) std::abort();
  }
  CapturedOutput(const CapturedOutput&) = delete;
  CapturedOutput& operator=(const CapturedOutput&) = delete;
  ~CapturedOutput() {
    if (before_ != -1) Take();
  }

  // Ends the capture and returns what was written. Call it once.
  std::string Take() {
    Flush();
    if (dup2(before_, stream_) == -1) std::abort();
    close(before_);
    before_ = -1;
    const off_t size = lseek(file_, 0, SEEK_END);
    std::string text(static_cast<std::size_t>(size), '\0');
    if (pread(file_, text.data(), text.size(), 0) != size) std::abort();
    close(file_);
    return text;
  }

 private:
  static void Flush() {
    std::cout.flush();
    std::fflush(stdout);
  }

  const int stream_;
  int before_;
  const int file_;
};

// What a function prints to standard output.
template <typename Function>
std::string PrintedBy(Function function) {
  CapturedOutput output;
  function();
  return output.Take();
}

}  // namespace fairlead::internal

#endif  // FAIRLEAD_TESTING_CAPTURED_OUTPUT_H_
