// The command `log` as a process: how it ends, and several at once.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "tool/log/log_testing.h"
#include "tool/testing.h"

namespace fairlead::tool::log_endings_test {
namespace {

using std::string_literals::operator""s;
using testing::HasSubstr;
using testing::StartsWith;

using LogEndingsTest = LogTest;

// The lines of one writer: most are short, some exceed every buffer.
std::string LinesOf(char writer, int count) {
  std::string text;
  for (int i = 0; i < count; ++i)
    text += writer + std::to_string(i) + " " +
            std::string(i % 500 == 0 ? 20'000U : static_cast<unsigned>(i % 90),
                        writer) +
            "\n";
  return text;
}

TEST_F(LogEndingsTest, SeveralProcessesAppendWholeLines) {
  constexpr int kCount = 2000;
  const std::string writers = "abcd";
  std::vector<std::unique_ptr<Process>> processes;
  for (const char writer : writers)
    processes.push_back(std::make_unique<Process>(
        Launch{.arguments = Arguments({"-stamp", "none"}),
               .input = LinesOf(writer, kCount),
               .output_path = "/dev/null"}));
  for (const auto& process : processes) EXPECT_EQ(process->Wait().status, 0);

  std::map<char, std::string> seen;
  for (const std::string& line : Lines(File()))
    seen[line.empty() ? ' ' : line[0]] += line + "\n";
  EXPECT_EQ(seen.size(), writers.size());
  for (const char writer : writers)
    EXPECT_TRUE(seen[writer] == LinesOf(writer, kCount)) << writer;
}

// The kernel ends the write of a killed process only between two pages.
TEST_F(LogEndingsTest, WhenKilledItLeavesWholeLines) {
  const std::string text = LinesOf('k', 30'000);
  Process process({.arguments = Arguments({"-stamp", "none"}),
                   .input = text,
                   .input_stays_open = true});
  Await([&] { return File().size() > 50'000; });
  kill(process.pid(), SIGKILL);
  const Outcome outcome = process.Wait();
  EXPECT_EQ(outcome.signal, SIGKILL);
  EXPECT_TRUE(text.starts_with(File()));
  EXPECT_TRUE(File().back() == '\n' || File().size() % 4096 == 0);
  EXPECT_TRUE(File().starts_with(outcome.output));
}

TEST_F(LogEndingsTest, ASignalEndsItAfterAllIsWritten) {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    SCOPED_TRACE(signal);
    std::filesystem::remove(path_);
    Fed fed(folder_, Arguments({"-stamp", "none", "-once", "3600"}));
    fed.Write("a\na\na\nmark\nbegun");
    AwaitFile("mark\n");
    fed.Kill(signal);
    const Outcome outcome = fed.Wait();
    EXPECT_EQ(outcome.signal, signal);
    EXPECT_EQ(File(), "a\nmark\nbegun\nrepeated 2 times: a\n");
    EXPECT_EQ(outcome.output, File());
    EXPECT_EQ(outcome.error, "");
  }
}

TEST_F(LogEndingsTest, ASignalThatIsIgnoredStaysIgnored) {
  Fed fed(folder_, Arguments({"-stamp", "none"}), "trap '' INT; ");
  fed.Write("a\n");
  AwaitFile("a\n");
  fed.Kill(SIGINT);
  fed.Write("b\n");
  AwaitFile("b\n");
  fed.End();
  EXPECT_EQ(fed.Wait().status, 0);
}

TEST_F(LogEndingsTest, ASignalEndsItWhileTheOutputBlocks) {
  Process process({.arguments = Arguments({"-stamp", "none", "-once", "3600"}),
                   .input = "a\nb\na\nc",
                   .input_stays_open = true,
                   .output_is_stuck = true});
  AwaitFile("a\n");
  kill(process.pid(), SIGTERM);
  EXPECT_EQ(process.Wait().signal, SIGTERM);
  EXPECT_EQ(File(), "a\nb\nc\nrepeated 1 time: a\n");
}

TEST_F(LogEndingsTest, ASignalEndsItWhileTheFileBlocks) {
  if (HasThreadSanitizer())
    GTEST_SKIP() << "the thread sanitizer runs no handler inside a write";
  ASSERT_EQ(mkfifo(path_.c_str(), 0600), 0);
  const int pipe = open(path_.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
  while (write(pipe, "x", 1) == 1) {
  }
  const Fed fed(folder_, Arguments());
  fed.Write("a\n");
  fed.AwaitReading();
  fed.Kill(SIGTERM);
  EXPECT_EQ(fed.Wait().signal, SIGTERM);
  close(pipe);
}

// The input is longer than what is read at once.
TEST_F(LogEndingsTest, TheFileGetsAllLinesWithoutAReaderOfTheOutput) {
  const std::string text = LinesOf('r', 5000);
  ASSERT_GT(text.size(), 200'000U);
  const Outcome outcome =
      RunProgram({.arguments = Arguments({"-stamp", "none"}),
                  .input = text,
                  .output_is_broken = true});
  EXPECT_EQ(outcome.status, 141);
  EXPECT_EQ(outcome.error, "");
  EXPECT_TRUE(File() == text);
}

TEST_F(LogEndingsTest, RepeatsAreCountedWithoutAReaderOfTheOutput) {
  const Outcome outcome =
      RunProgram({.arguments = Arguments({"-stamp", "none", "-once", "3600"}),
                  .input = "a\nb\na\nc",
                  .output_is_broken = true});
  EXPECT_EQ(outcome.status, 141);
  EXPECT_EQ(outcome.error, "");
  EXPECT_EQ(File(), "a\nb\nc\nrepeated 1 time: a\n");
}

TEST_F(LogEndingsTest, ReportsMissingBytesWithoutAReaderOfTheOutput) {
  const std::string text = LinesOf('m', 400);
  const Outcome full = RunProgram(
      {.arguments = Words{"-c", "ulimit -f 8; exec \"$0\" \"$@\"", Program()} +
                    Arguments({"-stamp", "none"}),
       .input = text,
       .output_is_broken = true,
       .program = "/bin/sh"});
  EXPECT_EQ(full.status, 23);
  EXPECT_THAT(full.error, HasSubstr("are missing: the disk is full"));
}

TEST_F(LogEndingsTest, ASignalEndsItWithoutAReaderOfTheOutput) {
  Process process({.arguments = Arguments({"-stamp", "none"}),
                   .input = "a\n",
                   .input_stays_open = true,
                   .output_is_broken = true});
  AwaitFile("a\n");
  kill(process.pid(), SIGTERM);
  EXPECT_EQ(process.Wait().signal, SIGTERM);
}

TEST_F(LogEndingsTest, AFullOutputEndsIt) {
  const Outcome full = RunProgram({.arguments = Arguments({"-stamp", "none"}),
                                   .input = "a\nb\n",
                                   .output_path = "/dev/full"});
  EXPECT_EQ(full.status, 23);
  EXPECT_THAT(full.error, HasSubstr("cannot write standard output: No space"));
  EXPECT_EQ(File(), "a\nb\n");
  EXPECT_EQ(RunProgram({.arguments = Arguments(), .input = "a", .closed = {1}})
                .status,
            23);
}

TEST_F(LogEndingsTest, ReportsAnUnreadableInput) {
  const Outcome closed = RunProgram({.arguments = Arguments(), .closed = {0}});
  EXPECT_EQ(closed.status, 26);
  EXPECT_EQ(closed.error,
            "fairlead log: cannot read standard input: Bad file descriptor\n");
  const Outcome folder = RunProgram(
      {.arguments =
           Words{"-c", "exec \"$0\" \"$@\" < /", Program()} + Arguments(),
       .program = "/bin/sh"});
  EXPECT_EQ(folder.status, 26);
  EXPECT_THAT(folder.error, HasSubstr("standard input: Is a directory"));
}

// The input stays open: a command that read it first would never end.
TEST_F(LogEndingsTest, OpensTheFileBeforeReading) {
  for (const auto& [path, why] :
       {std::pair{folder_.path(), "cannot open '%': Is a directory"},
        {folder_.path() + "/no/file", "cannot open '%': No such file or"},
        {path_ + "/file", "cannot open '%': Not a directory"},
        {"/dev/full"s, "cannot write '%': No space left on device"}}) {
    SCOPED_TRACE(path);
    folder_.File("box.log", "");
    std::string message = why;
    message.replace(message.find('%'), 1, path);
    const Outcome outcome = RunProgram({.arguments = {"log", "-file", path},
                                        .input = "a\n",
                                        .input_stays_open = true});
    EXPECT_EQ(outcome.status, 23);
    EXPECT_THAT(outcome.error, StartsWith("fairlead log: " + message));
    EXPECT_EQ(outcome.output, "");
  }
}

// Runs it with a fault in poll(). The first call waits for input.
Outcome LogWithFault(const Words& arguments, const std::string& fault) {
  return RunProgram({.arguments = WithFault("poll:error=ENOMEM" + fault) +
                                  Words{Program()} + arguments,
                     .input = "a\nb\na\nc",
                     .environment = {"ASAN_OPTIONS=detect_leaks=0"},
                     .program = "strace"});
}

TEST_F(LogEndingsTest, AFailedPollOfTheInputEndsIt) {
  if (const std::string why = WhyNoFaults(); !why.empty()) GTEST_SKIP() << why;
  for (const char* const fault : {"", ":when=1"}) {
    SCOPED_TRACE(fault);
    const Outcome outcome = LogWithFault(Arguments(), fault);
    EXPECT_EQ(outcome.status, 26);
    EXPECT_EQ(outcome.error,
              "fairlead log: cannot read standard input: Cannot allocate "
              "memory\n");
    EXPECT_EQ(outcome.output, "");
    EXPECT_EQ(File(), "");
  }
}

TEST_F(LogEndingsTest, AFailedPollOfTheOutputEndsIt) {
  if (const std::string why = WhyNoFaults(); !why.empty()) GTEST_SKIP() << why;
  for (const char* const fault : {":when=2+", ":when=2"}) {
    SCOPED_TRACE(fault);
    std::filesystem::remove(path_);
    const Outcome outcome =
        LogWithFault(Arguments({"-stamp", "none", "-once", "3600"}), fault);
    EXPECT_EQ(outcome.status, 23);
    EXPECT_EQ(outcome.error,
              "fairlead log: cannot write standard output: Cannot allocate "
              "memory\n");
    EXPECT_EQ(outcome.output, "");
    EXPECT_EQ(File(), "a\nb\nc\nrepeated 1 time: a\n");
  }
}

TEST_F(LogEndingsTest, AFileWithoutAKnownSizeEndsIt) {
  if (const std::string why = WhyNoFaults(); !why.empty()) GTEST_SKIP() << why;
  folder_.File("box.log", "");
  const Outcome outcome =
      RunProgram({.arguments = Words{"-P", path_} +
                               WithFault("fstat,newfstatat:error=EIO:when=1") +
                               Words{Program()} + Arguments(),
                  .input = "a\n",
                  .environment = {"ASAN_OPTIONS=detect_leaks=0"},
                  .program = "strace"});
  EXPECT_EQ(outcome.status, 23);
  EXPECT_EQ(outcome.error, "fairlead log: cannot get the size of '" + path_ +
                               "': Input/output error\n");
  EXPECT_EQ(outcome.output + File(), "");
}

// Runs a command in a folder with the files "a" and "b" and expects the
// message. The limit on the file size stops an endless loop.
void ExpectClash(const TempFolder& folder, const std::string& command,
                 const std::string& message) {
  SCOPED_TRACE(command);
  folder.File("a", "one\n");
  folder.File("b", "two\n");
  const Outcome outcome = RunProgram(
      {.arguments = {"-c", "ulimit -f 100; cd \"$1\" && \"$0\" log " + command,
                     Program(), folder.path()},
       .program = "/bin/sh"});
  EXPECT_EQ(outcome.status, 23);
  EXPECT_EQ(outcome.error, "fairlead log: " + message + "\n");
  EXPECT_EQ(internal::ReadFile(folder.path() + "/a"), "one\n");
  EXPECT_EQ(internal::ReadFile(folder.path() + "/b"), "two\n");
}

TEST_F(LogEndingsTest, TheFileMayNotBeStandardInput) {
  const std::string message = " is also standard input; choose another file";
  ExpectClash(folder_, "-file a < a", "-file 'a'" + message);
  ExpectClash(folder_, "-file a < a > /dev/null", "-file 'a'" + message);
  ASSERT_EQ(
      link((folder_.path() + "/a").c_str(), (folder_.path() + "/name").c_str()),
      0);
  ExpectClash(folder_, "-file name < a", "-file 'name'" + message);
}

TEST_F(LogEndingsTest, TheFileMayNotBeStandardOutput) {
  const std::string message =
      " is also standard output, so every line would be written twice; "
      "redirect standard output (> /dev/null drops the copy)";
  ExpectClash(folder_, "-file a < b >> a", "-file 'a'" + message);
}

TEST_F(LogEndingsTest, StandardOutputMayNotBeStandardInput) {
  ExpectClash(folder_, "-file c < a >> a",
              "standard output and standard input are the same file; redirect "
              "standard output (> /dev/null drops the copy)");
  EXPECT_FALSE(std::filesystem::exists(folder_.path() + "/c"));
}

// A limit on the size of files simulates a full disk.
TEST_F(LogEndingsTest, ReportsMissingBytesAtTheEnd) {
  const std::string text = LinesOf('f', 400);
  const Outcome outcome = RunProgram(
      {.arguments = Words{"-c", "ulimit -f 8; exec \"$0\" \"$@\"", Program()} +
                    Arguments({"-stamp", "none"}),
       .input = text,
       .program = "/bin/sh"});
  EXPECT_EQ(outcome.status, 23);
  EXPECT_TRUE(outcome.output == text);
  EXPECT_THAT(outcome.error,
              StartsWith("fairlead log: " +
                         std::to_string(text.size() - File().size()) + " of " +
                         std::to_string(text.size()) + " bytes written to '" +
                         path_ + "' are missing: the disk is full"));
}

TEST_F(LogEndingsTest, ReportsWhatNoReaderOfANamedPipeGets) {
  ASSERT_EQ(mkfifo(path_.c_str(), 0600), 0);
  const int reader = open(path_.c_str(), O_RDWR | O_CLOEXEC);
  ASSERT_NE(reader, -1);
  Fed fed(folder_, Arguments({"-stamp", "none"}));
  fed.Write("a\n");
  std::array<char, 10> got{};
  EXPECT_EQ(read(reader, got.data(), got.size()), 2);
  close(reader);
  fed.Write("bcd\n");
  fed.End();
  const Outcome outcome = fed.Wait();
  EXPECT_EQ(outcome.status, 23);
  EXPECT_EQ(outcome.error, "fairlead log: 4 of 6 bytes written to '" + path_ +
                               "' are missing: no program reads it\n");
}

TEST_F(LogEndingsTest, ADeviceAndAPipeMayBeTheFile) {
  const Outcome outcome = RunProgram(
      {.arguments = {"log", "-file", "/dev/null", "-crlf", "-stamp", "none"},
       .input = "a\n"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.output, "a\r\n");
}

}  // namespace
}  // namespace fairlead::tool::log_endings_test
