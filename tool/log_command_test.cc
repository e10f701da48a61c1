// The command `log`, as a process.

#include <fcntl.h>
#include <gmock/gmock.h>
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
#include <map>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "fairlead/time/the_time.h"
#include "tool/help_text.h"
#include "tool/man_page.h"
#include "tool/testing.h"

namespace fairlead::tool {
namespace {

using std::string_literals::operator""s;
using testing::AllOf;
using testing::EndsWith;
using testing::Ge;
using testing::HasSubstr;
using testing::Le;
using testing::MatchesRegex;
using testing::StartsWith;

constexpr const char* kStampPattern =
    "\\[[0-9]{4}\\.[0-9]{2}\\.[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}\\] ";

std::string Read(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

std::vector<std::string> Lines(const std::string& text) {
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

class LogCommandTest : public testing::Test {
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

TEST_F(LogCommandTest, EachLineHasAStampInFileAndOutput) {
  const std::string before = TheTime().GetStr(true);
  const Outcome outcome =
      RunProgram({.arguments = Arguments(), .input = "one\n\nthree\n"});
  const std::string after = TheTime().GetStr(true);
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.error, "");
  EXPECT_EQ(outcome.output, File());
  const std::vector<std::string> lines = Lines(File());
  ASSERT_EQ(lines.size(), 3U);
  EXPECT_EQ(File().back(), '\n');
  EXPECT_THAT(lines[0], MatchesRegex(kStampPattern + "one"s));
  EXPECT_THAT(lines[1], MatchesRegex(kStampPattern));
  EXPECT_THAT(lines[2], MatchesRegex(kStampPattern + "three"s));
  for (const std::string& line : lines)
    EXPECT_THAT(line.substr(0, before.size()), AllOf(Ge(before), Le(after)));
}

TEST_F(LogCommandTest, TheStampHasThreeForms) {
  const auto logged = [this](const std::string& form) {
    std::filesystem::remove(path_);
    RunProgram({.arguments = Arguments({"-stamp", form}), .input = "a b\n"});
    return File();
  };
  EXPECT_THAT(logged("bracket"), MatchesRegex(kStampPattern + "a b\n"s));
  EXPECT_THAT(logged("plain"),
              MatchesRegex("[0-9]{4}\\.[0-9]{2}\\.[0-9]{2} "
                           "[0-9]{2}:[0-9]{2}:[0-9]{2} a b\n"));
  EXPECT_EQ(logged("none"), "a b\n");
}

TEST_F(LogCommandTest, CrlfPutsACarriageReturnBeforeEveryLineFeed) {
  const Outcome outcome = Log("a\n\nb\r\nc\rd", {"-crlf"});
  EXPECT_EQ(File(), "a\r\n\r\nb\r\r\nc\rd\r\n");
  EXPECT_EQ(outcome.output, File());
  EXPECT_EQ(outcome.status, 0);
}

TEST_F(LogCommandTest, WithoutCrlfACarriageReturnStays) {
  Log("a\r\nb");
  EXPECT_EQ(File(), "a\r\nb\n");
}

TEST_F(LogCommandTest, TheOldContentStays) {
  folder_.File("box.log", "old\n");
  Log("new\n");
  Log("newer\n");
  EXPECT_EQ(File(), "old\nnew\nnewer\n");
}

TEST_F(LogCommandTest, AnEmptyInputMakesAnEmptyFile) {
  const Outcome outcome = Log("");
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.output, "");
  EXPECT_TRUE(std::filesystem::exists(path_));
  EXPECT_EQ(File(), "");
}

TEST_F(LogCommandTest, EveryByteButTheLineFeedPasses) {
  std::string bytes;
  for (int c = 0; c < 256; ++c)
    if (c != '\n') bytes += static_cast<char>(c);
  bytes += "\n\0\n\xff\n"s;
  const Outcome outcome = Log(bytes);
  EXPECT_EQ(File(), bytes);
  EXPECT_EQ(outcome.output, bytes);
}

TEST_F(LogCommandTest, ALineMayBeLong) {
  std::mt19937 random(1'000'000);
  std::string bytes(1'000'000, ' ');
  for (char& c : bytes) c = static_cast<char>(random() % 256);
  std::ranges::replace(bytes, '\n', 'n');
  const std::string text = "short\n" + bytes + "\nnext\n" + bytes;
  const Outcome outcome = Log(text);
  EXPECT_TRUE(File() == text + "\n");
  EXPECT_TRUE(outcome.output == text + "\n");
}

TEST_F(LogCommandTest, RandomPiecesOfTextAreItsLines) {
  std::mt19937 random(7);
  std::string text;
  for (int i = 0; i < 300'000; ++i) text += "abc \n"[random() % 5];
  text += "end";
  EXPECT_EQ(Log(text).status, 0);
  EXPECT_TRUE(File() == text + "\n");
}

TEST_F(LogCommandTest, ALineIsWrittenAsSoonAsItsLineFeedIsThere) {
  Fed fed(folder_, Arguments({"-stamp", "none"}));
  fed.Write("hel");
  fed.AwaitReading();
  fed.Write("lo\nwor");
  AwaitFile("hello\n");
  EXPECT_EQ(File(), "hello\n");
  fed.Write("ld\nlast");
  AwaitFile("world\n");
  fed.End();
  const Outcome outcome = fed.Wait();
  EXPECT_EQ(File(), "hello\nworld\nlast\n");
  EXPECT_EQ(outcome.output, File());
  EXPECT_EQ(outcome.status, 0);
}

// --- Several at once, and killed ---------------------------------------------

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

TEST_F(LogCommandTest, SeveralAppendWithoutLosingOrTearingALine) {
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

TEST_F(LogCommandTest, KilledItLeavesWholeLinesAndAllThatWasPassedOn) {
  const std::string text = LinesOf('k', 30'000);
  Process process({.arguments = Arguments({"-stamp", "none"}),
                   .input = text,
                   .input_stays_open = true});
  Await([&] { return File().size() > 50'000; });
  kill(process.pid(), SIGKILL);
  const Outcome outcome = process.Wait();
  EXPECT_EQ(outcome.signal, SIGKILL);
  EXPECT_TRUE(text.starts_with(File()));
  EXPECT_EQ(File().back(), '\n');
  EXPECT_TRUE(File().starts_with(outcome.output));
}

// --- Its other ends ----------------------------------------------------------

TEST_F(LogCommandTest, ASignalEndsItWhenAllIsWritten) {
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

TEST_F(LogCommandTest, ASignalThatIsIgnoredStaysIgnored) {
  Fed fed(folder_, Arguments({"-stamp", "none"}), "trap '' INT; ");
  fed.Write("a\n");
  AwaitFile("a\n");
  fed.Kill(SIGINT);
  fed.Write("b\n");
  AwaitFile("b\n");
  fed.End();
  EXPECT_EQ(fed.Wait().status, 0);
}

TEST_F(LogCommandTest, ASignalEndsItWhereNobodyTakesTheOutput) {
  Process process({.arguments = Arguments({"-stamp", "none", "-once", "3600"}),
                   .input = "a\nb\na\nc",
                   .input_stays_open = true,
                   .output_is_stuck = true});
  AwaitFile("a\n");
  kill(process.pid(), SIGTERM);
  EXPECT_EQ(process.Wait().signal, SIGTERM);
  EXPECT_EQ(File(), "a\nb\nc\nrepeated 1 time: a\n");
}

TEST_F(LogCommandTest, ASignalEndsItEvenWhereTheFileIsAPipeThatNobodyReads) {
#ifdef __SANITIZE_THREAD__
  GTEST_SKIP() << "the thread sanitizer runs no handler inside a write";
#endif
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

TEST_F(LogCommandTest, AClosedPipeEndsItWhenAllThatWasReadIsInTheFile) {
  const Outcome outcome =
      RunProgram({.arguments = Arguments({"-stamp", "none", "-once", "3600"}),
                  .input = "a\nb\na\nc",
                  .input_stays_open = true,
                  .output_is_broken = true});
  EXPECT_EQ(outcome.status, 23);
  EXPECT_EQ(outcome.error,
            "fairlead log: cannot write standard output: Broken pipe\n");
  EXPECT_EQ(File(), "a\nb\nc\nrepeated 1 time: a\n");
}

TEST_F(LogCommandTest, AFullOutputEndsItToo) {
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

TEST_F(LogCommandTest, AnInputThatCannotBeRead) {
  const Outcome closed = RunProgram({.arguments = Arguments(), .closed = {0}});
  EXPECT_EQ(closed.status, 26);
  EXPECT_EQ(closed.error,
            "fairlead log: cannot read standard input: Bad file descriptor\n");
  const Outcome folder = RunProgram(
      {.arguments = Words{"-c", "exec \"$0\" \"$@\" < /", FAIRLEAD_PROGRAM} +
                    Arguments(),
       .program = "/bin/sh"});
  EXPECT_EQ(folder.status, 26);
  EXPECT_THAT(folder.error, HasSubstr("standard input: Is a directory"));
}

// The input stays open: who reads before opening the file never ends.
TEST_F(LogCommandTest, AFileThatCannotBeOpenedIsToldBeforeAnythingIsRead) {
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

// A limit on the size of files stands for the full disk.
TEST_F(LogCommandTest, WhatTheFileDoesNotTakeIsToldAtTheEnd) {
  const std::string text = LinesOf('f', 400);
  const Outcome outcome =
      RunProgram({.arguments = Words{"-c", "ulimit -f 8; exec \"$0\" \"$@\"",
                                     FAIRLEAD_PROGRAM} +
                               Arguments({"-stamp", "none"}),
                  .input = text,
                  .program = "/bin/sh"});
  EXPECT_EQ(outcome.status, 23);
  EXPECT_TRUE(outcome.output == text);
  EXPECT_THAT(outcome.error,
              StartsWith("fairlead log: of " + std::to_string(text.size()) +
                         " bytes written to '" + path_ + "', " +
                         std::to_string(text.size() - File().size()) +
                         " are not in it: the disk is full"));
}

TEST_F(LogCommandTest, ADeviceAndAPipeMayBeTheFile) {
  const Outcome outcome = RunProgram(
      {.arguments = {"log", "-file", "/dev/null", "-crlf", "-stamp", "none"},
       .input = "a\n"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.output, "a\r\n");
}

// --- What repeats ------------------------------------------------------------

TEST_F(LogCommandTest, RepeatsAreHeldBackAndToldAtTheEnd) {
  const Outcome outcome = Log("a\na\nb\na\nc\nc\nb\na\n", {"-once", "3600"});
  EXPECT_EQ(File(),
            "a\nb\nc\nrepeated 1 time: c\nrepeated 1 time: b\n"
            "repeated 3 times: a\n");
  EXPECT_EQ(outcome.output, File());
  EXPECT_EQ(outcome.status, 0);
}

TEST_F(LogCommandTest, TheLastLineMayBeARepeat) {
  Log("a\nb\na", {"-once", "3600", "-crlf"});
  EXPECT_EQ(File(), "a\r\nb\r\nrepeated 1 time: a\r\n");
}

TEST_F(LogCommandTest, WhatIsToldIsStamped) {
  RunProgram({.arguments = Arguments({"-once", "0.5"}), .input = "a\na\n"});
  EXPECT_THAT(Lines(File()).back(),
              MatchesRegex(kStampPattern + "repeated 1 time: a"s));
}

TEST_F(LogCommandTest, WithoutOnceNothingIsHeldBack) {
  Log("a\na\na\n");
  EXPECT_EQ(File(), "a\na\na\n");
}

// How many of the lines are accounted for, written or counted.
int Accounted(const std::string& text, const std::string& line) {
  int count = 0;
  for (const std::string& written : Lines(text)) {
    if (written == line) ++count;
    if (written.starts_with("repeated ")) count += std::stoi(written.substr(9));
  }
  return count;
}

// A busy machine may see the three lines too far apart for so short an
// interval. Then they are three waves, and a longer one is tried.
TEST_F(LogCommandTest, TheEndOfAWaveIsToldWhileTheInputStaysOpen) {
  for (double seconds = 0.05; seconds < 20; seconds *= 2) {
    SCOPED_TRACE(seconds);
    std::filesystem::remove(path_);
    const Fed fed(folder_, Arguments({"-stamp", "none", "-once",
                                      std::to_string(seconds)}));
    fed.Write("x\nx\nx\n");
    Await([&] { return Accounted(File(), "x") == 3; });
    if (File() == "x\nrepeated 2 times: x\n") return;
  }
  FAIL() << "nothing was held back";
}

// --- Usage -------------------------------------------------------------------

void ExpectRefused(const Words& arguments, const std::string& message) {
  SCOPED_TRACE(message);
  const Outcome outcome = RunProgram(
      {.arguments = Words{"log"} + arguments, .input_stays_open = true});
  EXPECT_EQ(outcome.status, 2);
  EXPECT_EQ(outcome.error, "fairlead log: " + message + "\n");
  EXPECT_EQ(outcome.output, "");
}

TEST_F(LogCommandTest, WrongUsageIsToldBeforeTheFileIsMade) {
  ExpectRefused({}, "-file FILE is missing");
  ExpectRefused({"-file", ""}, "-file FILE must not be empty");
  ExpectRefused({"-file", path_, "-stamp", "odd"},
                "-stamp 'odd' is none of bracket|plain|none");
  for (const std::string value : {"0", "0.0", "x", "1x", "1e3", "0x1", "inf",
                                  "nan", ".", " 1", "+1", "1,5", "1.5.5"})
    ExpectRefused({"-file", path_, "-once", value},
                  "-once '" + value +
                      "' is no number of seconds above 0, such as 10 or 0.5");
  ExpectRefused({"-file", path_, "-once", ""},
                "-once SECONDS must not be empty");
  ExpectRefused({"-file", path_, "-once", "-1"},
                "-once SECONDS: the value cannot begin with '-'");
  ExpectRefused({"-file", path_, "-once"},
                "-once SECONDS: the value is missing");
  ExpectRefused({"-file", path_, "-crlf", "yep"},
                "the switch -crlf took the word 'yep': only on, off, yes, no, "
                "true, false, 1, 0 or nothing may follow it");
  EXPECT_FALSE(std::filesystem::exists(path_));
}

TEST_F(LogCommandTest, FractionsOfSecondsAreTaken) {
  for (const std::string value : {"5", "0.5", ".5", "5.", "0.001", "1000000"})
    EXPECT_EQ(Log("a\n", {"-once", value}).status, 0) << value;
}

TEST_F(LogCommandTest, HelpTellsWhatIsNotNoticed) {
  const std::string help = Fairlead({"log", "-help"}).output;
  for (const char* const text :
       {"-file FILE", "-crlf", "-stamp bracket|plain|none", "(default bracket)",
        "-once SECONDS", "Ctrl-C", "is not noticed", "no line is lost or torn",
        "\n  23 ", "\n  26 ", "\n  130 "})
    EXPECT_THAT(help, HasSubstr(text));
  EXPECT_THAT(ManPage(), HasSubstr("\n.SS log\n"));
}

TEST_F(LogCommandTest, ATerminalIsShownControlBytesAsText) {
  const Outcome outcome =
      RunProgram({.arguments = Arguments({"-stamp", "none"}),
                  .input = "\033[1m \xc3\xa4\n",
                  .output_is_terminal = true});
  EXPECT_EQ(outcome.output, "\\x1b[1m \xc3\xa4\n");
  EXPECT_EQ(File(), "\033[1m \xc3\xa4\n");
}

}  // namespace
}  // namespace fairlead::tool
