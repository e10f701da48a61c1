// For the tests of `log`: its file, and an input given bit by bit.

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
#include <fstream>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "tool/testing.h"

namespace fairlead::tool {

inline std::string Read(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

inline std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  for (std::size_t at = 0, end = 0; at < text.size(); at = end + 1) {
    end = std::min(text.find('\n', at), text.size());
    lines.push_back(text.substr(at, end - at));
  }
  return lines;
}

// Waits for something that comes unless the command is wrong; then the limit
// on the test's time ends it.
template <typename Condition>
void Await(Condition holds) {
  while (!holds()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

class LogTest : public testing::Test {
 protected:
  Words Arguments(const Words& more = {}) const {
    return Words{"log", "-file", path_} + more;
  }

  // Runs the command with all of the input, without stamps.
  Outcome Log(const std::string& input, const Words& more = {}) const {
    return RunProgram(
        {.arguments = Arguments({"-stamp", "none"}) + more, .input = input});
  }

  std::string File() const { return Read(path_); }

  void AwaitFile(const std::string& text) const {
    Await([&] { return File().find(text) != std::string::npos; });
  }

  const TempFolder folder_;
  const std::string path_ = folder_.path() + "/box.log";
};

// The command with an input that the test gives bit by bit.
class Fed {
 public:
  // `before` is what the shell does before it becomes the command.
  Fed(const TempFolder& folder, const Words& arguments,
      const std::string& before = "") {
    const std::string path = folder.path() + "/input";
    if (mkfifo(path.c_str(), 0600) != 0) throw std::runtime_error(path);
    process_ = std::make_unique<Process>(
        Launch{.arguments = Words{"-c", before + "exec \"$0\" \"$@\" < " + path,
                                  FAIRLEAD_PROGRAM} +
                            arguments,
               .program = "/bin/sh"});
    input_ = open(path.c_str(), O_WRONLY | O_CLOEXEC);
    std::filesystem::remove(path);
  }
  Fed(const Fed&) = delete;
  Fed& operator=(const Fed&) = delete;
  ~Fed() { End(); }

  // What is shorter than 4096 bytes arrives at once.
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
