// Tests of the setup of the standard streams.

#include "tool/io/output.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <string>
#include <thread>

#include "tool/testing.h"

namespace fairlead::tool::output_test {
namespace {

// Commands whose data could be confused with a line of the library, and one
// that writes a file.
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
                                   fault + Words{Program()} + arguments,
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

// The first three calls check whether the streams are open.
TEST_F(OutputFaultTest, AFailedDuplicationEndsIt) {
  ExpectRefused(WithFault("fcntl:error=EMFILE:when=4"),
                "cannot write standard output: Too many open files");
}

TEST_F(OutputFaultTest, AFailedRedirectionEndsIt) {
  ExpectRefused(WithFault("dup2:error=EBUSY"),
                "cannot write standard output: Device or resource busy");
}

TEST_F(OutputFaultTest, AnInterruptedRedirectionIsRetried) {
  const Outcome outcome = RunProgram(
      {.arguments = WithFault("dup2:error=EINTR:when=1..3") +
                    Words{Program(), "resolve", "-host", "127.0.0.1"},
       .environment = {"ASAN_OPTIONS=detect_leaks=0"},
       .program = "strace"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.output, "127.0.0.1\n");
  EXPECT_EQ(outcome.error, "");
}

TEST_F(OutputFaultTest, AFailedCheckOfAStreamEndsIt) {
  ExpectRefused(WithFault("fcntl:error=EIO:when=2"),
                "cannot write standard output: Input/output error");
}

TEST_F(OutputFaultTest, AFailedReplacementOfAClosedStreamEndsIt) {
  ExpectRefused(Words{"-P", "/dev/null"} + WithFault("openat:error=ENOENT"),
                "cannot open '/dev/null' for a closed standard stream: No such "
                "file or directory",
                {0});
}

std::array<int, 2> Pipe() {
  std::array<int, 2> ends{};
  if (pipe(ends.data()) != 0) std::abort();
  return ends;
}

// Makes standard output the non-blocking write end of a pipe. Returns the read
// end.
int NonBlockingOutput() {
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
  const int pipe = NonBlockingOutput();
  std::string taken;
  std::thread reader([&] { taken = ReadFrom(pipe, bytes.size()); });
  const Output output;
  output.Write(bytes);
  reader.join();
  std::exit(taken == bytes ? 0 : 1);
}

[[noreturn]] void AwaitWritableAndAStop() {
  NonBlockingOutput();
  const auto [stop, stopper] = Pipe();
  const Output output;
  const bool writable = output.AwaitWritable(stop);
  output.Write(std::string(65536, 'x'));  // As much as a pipe holds.
  if (write(stopper, "", 1) != 1) std::abort();
  const bool stopped = !output.AwaitWritable(stop);
  std::exit(writable && stopped ? 0 : 1);
}

TEST(OutputDeathTest, WaitsForANonBlockingOutput) {
  EXPECT_EXIT(WriteMoreThanThePipeHolds(), testing::ExitedWithCode(0), "");
}

TEST(OutputDeathTest, DistinguishesAStopFromAWritableOutput) {
  EXPECT_EXIT(AwaitWritableAndAStop(), testing::ExitedWithCode(0), "");
}

// As long as it holds bytes, a pipe that is writable surely has one page.
TEST(RoomTest, APipeThatIsNotEmptyHasAPage) {
  const auto [reader, writer] = Pipe();
  EXPECT_EQ(RoomIn(writer),
            static_cast<std::size_t>(fcntl(writer, F_GETPIPE_SZ)));
  ASSERT_EQ(write(writer, "x", 1), 1);
  EXPECT_EQ(RoomIn(writer), 4096U);
  close(reader);
  close(writer);
}

}  // namespace
}  // namespace fairlead::tool::output_test
