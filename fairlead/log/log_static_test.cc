// Tests a log among the static objects of a program that never includes
// <iostream>: what is written in constructors and destructors must reach the
// file and standard output. GoogleTest includes <iostream> and ends before the
// destructors run, so the program checks itself and exits with 0 on success.

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "fairlead/log/log.h"
#include "fairlead/testing/temp_folder.h"

namespace {

constexpr char kWritten[] = "constructed\nmain\ndestroyed\nat the end";

// Constructed first and destroyed last; creates the files and checks them.
class Check {
 public:
  Check() {
    const int output = open(Output().c_str(), O_WRONLY | O_CREAT, 0600);
    if (output < 0 || dup2(output, STDOUT_FILENO) < 0) std::abort();
    close(output);
  }
  ~Check() {
    std::fflush(stdout);
    const bool file = fairlead::internal::ReadFile(Log()) == kWritten;
    const bool output = fairlead::internal::ReadFile(Output()) == kWritten;
    if (!file) std::fputs("wrong contents of the file\n", stderr);
    if (!output) std::fputs("wrong standard output\n", stderr);
    if (!file || !output) _exit(1);
  }
  Check(const Check&) = delete;
  Check& operator=(const Check&) = delete;

  std::string Log() const { return folder_.Path("log"); }
  std::string Output() const { return folder_.Path("output"); }

 private:
  const fairlead::internal::TempFolder folder_;
};

class User {
 public:
  explicit User(fairlead::CLog& log) : log_(log) { log_ << "constructed\n"; }
  ~User() {
    log_ << "destroyed\n"
         << "at the end";
  }
  User(const User&) = delete;
  User& operator=(const User&) = delete;

 private:
  fairlead::CLog& log_;
};

const Check check;
fairlead::CLog the_log(check.Log(), false);
const User user(the_log);

}  // namespace

int main() { the_log << "main\n"; }
