// For tests of `log`: its file, and input written piece by piece.

#ifndef FAIRLEAD_TOOL_LOG_LOG_TESTING_H_
#define FAIRLEAD_TOOL_LOG_LOG_TESTING_H_

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "fairlead/testing/temp_folder.h"
#include "tool/testing.h"

namespace fairlead::tool {

inline std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  for (std::size_t at = 0, end = 0; at < text.size(); at = end + 1) {
    end = std::min(text.find('\n', at), text.size());
    lines.push_back(text.substr(at, end - at));
  }
  return lines;
}

// Waits until the condition holds. The timeout of the test is the limit.
template <typename Condition>
void Await(Condition holds) {
  while (!holds()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

class LogTest : public testing::Test {
 protected:
  Words Arguments(const Words& more = {}) const {
    return Words{"log", "-file", path_} + more;
  }

  // Runs the command on the input, without timestamps.
  Outcome Log(const std::string& input, const Words& more = {}) const {
    return RunProgram(
        {.arguments = Arguments({"-stamp", "none"}) + more, .input = input});
  }

  std::string File() const { return internal::ReadFile(path_); }

  void AwaitFile(const std::string& text) const {
    Await([&] { return File().find(text) != std::string::npos; });
  }

  const TempFolder folder_;
  const std::string path_ = folder_.path() + "/box.log";
};

// The command with input that the test writes piece by piece.
class Fed {
 public:
  // `before` is run by the shell that then executes the command.
  Fed(const TempFolder& folder, const Words& arguments,
      const std::string& before = "") {
    const std::string path = folder.path() + "/input";
    if (mkfifo(path.c_str(), 0600) != 0) throw std::runtime_error(path);
    process_ = std::make_unique<Process>(Launch{
        .arguments =
            Words{"-c", before + "exec \"$0\" \"$@\" < " + path, Program()} +
            arguments,
        .program = "/bin/sh"});
    input_ = open(path.c_str(), O_WRONLY | O_CLOEXEC);
    std::filesystem::remove(path);
  }
  Fed(const Fed&) = delete;
  Fed& operator=(const Fed&) = delete;
  ~Fed() { End(); }

  // Up to 4096 bytes arrive at once.
  void Write(const std::string& text) const {
    ASSERT_EQ(write(input_, text.data(), text.size()),
              static_cast<ssize_t>(text.size()));
  }

  void AwaitReading() const {
    int waiting = 1;
    Await([&] { return ioctl(input_, FIONREAD, &waiting) == 0 && !waiting; });
  }

  void Kill(int signal) const { kill(process_->pid(), signal); }
  void End() {
    if (input_ != -1) close(std::exchange(input_, -1));
  }
  Outcome Wait() const { return process_->Wait(); }

 private:
  std::unique_ptr<Process> process_;
  int input_ = -1;
};

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_LOG_LOG_TESTING_H_
