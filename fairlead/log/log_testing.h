// What the tests of the log share. Not installed.

#ifndef FAIRLEAD_LOG_LOG_TESTING_H_
#define FAIRLEAD_LOG_LOG_TESTING_H_

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <string>

#include "fairlead/testing/temp_folder.h"

namespace fairlead::internal {

inline void FlushStandardOutput() {
  std::cout.flush();
  std::fflush(stdout);
}

// Redirects standard output to a file for a scope. Check results after it:
// GoogleTest reports failures on standard output.
class StandardOutputTo {
 public:
  explicit StandardOutputTo(const std::string& path) {
    FlushStandardOutput();
    saved_ = dup(STDOUT_FILENO);
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
    if (saved_ < 0 || file < 0 || dup2(file, STDOUT_FILENO) < 0) std::abort();
    close(file);
  }
  ~StandardOutputTo() {
    FlushStandardOutput();
    dup2(saved_, STDOUT_FILENO);
    close(saved_);
  }
  StandardOutputTo(const StandardOutputTo&) = delete;
  StandardOutputTo& operator=(const StandardOutputTo&) = delete;

 private:
  int saved_;
};

// Runs `act` in a child process whose standard output is a file; returns the
// wait status, which is 0 if `act` returns.
template <typename Act>
int StatusOfChild(const std::string& output, const Act& act) {
  FlushStandardOutput();
  const pid_t child = fork();
  if (child < 0) std::abort();
  if (child == 0) {
    const int file = open(output.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
    if (file < 0 || dup2(file, STDOUT_FILENO) < 0) _exit(1);
    act();
    _exit(0);
  }
  int status = 0;
  waitpid(child, &status, 0);
  return status;
}

inline std::string NumberedLine(int number) {
  return "line " + std::to_string(number) + "\n";
}

// Returns the numbered lines from 0 to `end`, exclusive.
inline std::string NumberedLines(int end) {
  std::string lines;
  for (int i = 0; i < end; ++i) lines += NumberedLine(i);
  return lines;
}

// A folder with a log file and a file for standard output.
class LogFolderTest : public testing::Test {
 protected:
  std::string Name() const { return folder_.Path("test.log"); }
  std::string OutputName() const { return folder_.Path("output"); }

  const TempFolder folder_;
};

}  // namespace fairlead::internal

#endif  // FAIRLEAD_LOG_LOG_TESTING_H_
