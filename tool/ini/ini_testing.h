// For tests of the command `ini`: runs it on a file of the test's own.

#ifndef FAIRLEAD_TOOL_INI_INI_TESTING_H_
#define FAIRLEAD_TOOL_INI_INI_TESTING_H_

#include <gtest/gtest.h>
#include <unistd.h>

#include <string>
#include <string_view>

#include "tool/io/read_file.h"
#include "tool/testing.h"

namespace fairlead::tool {

inline constexpr char kBox[] =
    "k0=first\n"
    "\n"
    "# where it listens\n"
    "[server]\n"
    "port = 7000\n"
    ";host = example.org\n"
    "\n"
    ";[backup]\n"
    "port=7001\n"
    "# the end\n";

class IniCommandTest : public testing::Test {
 protected:
  std::string Path() const { return folder_.path() + "/box.ini"; }
  void Write(std::string_view text) const { folder_.File("box.ini", text); }
  std::string Text() const { return ReadFile(Path()); }

  Words Line(const Words& words) const {
    return Words{"ini", words.at(0), "-file", Path()} +
           Words(words.begin() + 1, words.end());
  }

  Outcome Run(const Words& words, const std::string& input = "") const {
    return RunProgram({.arguments = Line(words), .input = input});
  }

  // Runs the command, which must succeed without messages. Returns its output.
  std::string Answer(const Words& words, const std::string& input = "") const {
    const Outcome outcome = Run(words, input);
    EXPECT_EQ(outcome.error, "");
    EXPECT_EQ(outcome.status, 0);
    return outcome.output;
  }

  // Runs the command, which must end with the status and not change the file.
  // Returns its message.
  std::string Refusal(int status, const Words& words,
                      const std::string& input = "") const {
    const bool exists = access(Path().c_str(), F_OK) == 0;
    const std::string before = exists ? Text() : "";
    const Outcome outcome = Run(words, input);
    EXPECT_EQ(outcome.status, status);
    EXPECT_EQ(outcome.output, "");
    EXPECT_EQ(access(Path().c_str(), F_OK) == 0, exists);
    EXPECT_EQ(exists ? Text() : "", before);
    return outcome.error;
  }

  const TempFolder folder_;
};

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_INI_INI_TESTING_H_
