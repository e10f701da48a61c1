// What the tests of the log share: a folder, standard output, and processes of
// their own.

#ifndef FAIRLEAD_LOG_LOG_TESTING_H_
#define FAIRLEAD_LOG_LOG_TESTING_H_

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <string>
#include <system_error>

// Clang tells by a question of its own which sanitizers it was given.
#ifndef __has_feature
#define __has_feature(feature) 0
#endif

namespace fairlead::log_testing {

// Under a sanitizer the long tests do less.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__) || \
    __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
inline constexpr bool kSanitized = true;
#else
inline constexpr bool kSanitized = false;
#endif

// A new folder, gone with all that is in it at the end.
class TempFolder {
 public:
  TempFolder() : path_(std::filesystem::temp_directory_path() / "log.XXXXXX") {
    if (mkdtemp(path_.data()) == nullptr) std::abort();
  }
  ~TempFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;

  std::string Path(const std::string& name) const { return path_ + "/" + name; }

 private:
  std::string path_;
};

// All that stands in the file at this moment; empty if there is none.
inline std::string Contents(const std::string& path) {
  std::string contents;
  const int file = open(path.c_str(), O_RDONLY);
  std::array<char, 4096> part;
  ssize_t size = 0;
  while (file >= 0 && (size = read(file, part.data(), part.size())) > 0)
    contents.append(part.data(), static_cast<std::size_t>(size));
  if (file >= 0) close(file);
  return contents;
}

inline void FlushStandardOutput() {
  std::cout.flush();
  std::fflush(stdout);
}

// Standard output goes into a file while this lives. Judge after it: until
// then, what GoogleTest says of a failure goes into the file as well.
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

// Runs `act` in a child, whose standard output is a file, and returns how the
// child ended: as waitpid tells it. A child that comes to its end ends with 0.
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

}  // namespace fairlead::log_testing

#endif  // FAIRLEAD_LOG_LOG_TESTING_H_
