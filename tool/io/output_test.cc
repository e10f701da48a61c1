// The standard streams, kept apart or not used at all.

#include "tool/io/output.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <string>
#include <thread>

#include "tool/testing.h"

namespace fairlead::tool {
namespace {

// Commands for whose data a line of the library could be taken, and one that
// writes a file.
const Words kCommands[] = {{"send", "-demo", "-text", "x"},
                           {"recv", "-demo"},
                           {"resolve", "-host", "127.0.0.1"},
                           {"ini", "create", "-file", "box.ini"}};

class OutputFaultTest : public testing::Test {
 protected:
  void SetUp() override {
    if (const std::string why = WhyNoFaults(); !why.empty())
      GTEST_SKIP() << why;
  }

  // Runs each command with the fault: it is to say so and do nothing else.
  void ExpectRefused(const Words& fault, const std::string& message,
                     const std::vector<int>& closed = {}) const {
    for (const Words& arguments : kCommands) {
      SCOPED_TRACE(arguments[0]);
      const Outcome outcome =
          RunProgram({.arguments = Words{"-C", folder_.path(), "strace"} +
                                   fault + Words{FAIRLEAD_PROGRAM} + arguments,
                      .closed = closed,
                      .environment = {"ASAN_OPTIONS=detect_leaks=0"},
                      .program = "env"});
      EXPECT_EQ(outcome.status, 23);
      EXPECT_EQ(outcome.output, "");
      EXPECT_EQ(outcome.error, "fairlead: " + message + "\n");
      EXPECT_NE(access((folder_.path() + "/box.ini").c_str(), F_OK), 0);
    }
  }

  const TempFolder folder_;
};

// Three calls look whether the streams are there.
TEST_F(OutputFaultTest, AStandardOutputThatCannotBeKeptEndsItAtOnce) {
  ExpectRefused(WithFault("fcntl:error=EMFILE:when=4"),
                "cannot write standard output: Too many open files");
}

TEST_F(OutputFaultTest, AStandardOutputThatStaysTheLibrarysEndsItAtOnce) {
  ExpectRefused(WithFault("dup2:error=EBUSY"),
                "cannot write standard output: Device or resource busy");
}

TEST_F(OutputFaultTest, AnInterruptedMoveIsTriedAgain) {
  const Outcome outcome = RunProgram(
      {.arguments = WithFault("dup2:error=EINTR:when=1..3") +
                    Words{FAIRLEAD_PROGRAM, "resolve", "-host", "127.0.0.1"},
       .environment = {"ASAN_OPTIONS=detect_leaks=0"},
       .program = "strace"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.output, "127.0.0.1\n");
  EXPECT_EQ(outcome.error, "dns resolved: 127.0.0.1\n");
}

TEST_F(OutputFaultTest, AStreamThatCannotBeLookedAtEndsItAtOnce) {
  ExpectRefused(WithFault("fcntl:error=EIO:when=2"),
                "cannot write standard output: Input/output error");
}

TEST_F(OutputFaultTest, AClosedStreamThatNothingReplacesEndsItAtOnce) {
  ExpectRefused(Words{"-P", "/dev/null"} + WithFault("openat:error=ENOENT"),
                "cannot open '/dev/null' in the place of a closed standard "
                "stream: No such file or directory",
                {0});
}

// --- In a process of its own, whose streams the test lays out
// -----------------

std::array<int, 2> Pipe() {
  std::array<int, 2> ends{};
  if (pipe(ends.data()) != 0) std::abort();
  return ends;
}

// A pipe of which standard output is the writing end, which does not wait.
// Returns the reading end.
int UnwaitingOutput() {
  const auto [reading, writing] = Pipe();
  if (fcntl(writing, F_SETFL, O_NONBLOCK) != 0 ||
      dup2(writing, STDOUT_FILENO) == -1)
    std::abort();
  return reading;
}

std::string ReadFrom(int pipe, std::size_t count) {
  std::string bytes(count, '\0');
  std::size_t done = 0;
  while (done < count) {
    const ssize_t got = read(pipe, bytes.data() + done, count - done);
    if (got <= 0) break;
    done += static_cast<std::size_t>(got);
  }
  return bytes.substr(0, done);
}

[[noreturn]] void WriteMoreThanThePipeHolds() {
  const std::string bytes(1'000'000, 'x');
  const int pipe = UnwaitingOutput();
  std::string taken;
  std::thread reader([&] { taken = ReadFrom(pipe, bytes.size()); });
  const Output output;
  output.Write(bytes);
  reader.join();
  std::exit(taken == bytes ? 0 : 1);
}

[[noreturn]] void AwaitRoomAndAStop() {
  UnwaitingOutput();
  const auto [stop, stopper] = Pipe();
  const Output output;
  const bool room = output.AwaitRoom(stop);
  output.Write(std::string(65536, 'x'));  // As much as a pipe holds.
  if (write(stopper, "", 1) != 1) std::abort();
  const bool stopped = !output.AwaitRoom(stop);
  std::exit(room && stopped ? 0 : 1);
}

TEST(OutputDeathTest, AnOutputThatDoesNotWaitIsWaitedFor) {
  EXPECT_EXIT(WriteMoreThanThePipeHolds(), testing::ExitedWithCode(0), "");
}

TEST(OutputDeathTest, AStopIsToldFromRoom) {
  EXPECT_EXIT(AwaitRoomAndAStop(), testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace fairlead::tool
