// The command `log` as a process: the lines that it writes.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "fairlead/time/the_time.h"
#include "tool/help/man_page.h"
#include "tool/log/log_testing.h"
#include "tool/testing.h"

namespace fairlead::tool::log_command_test {
namespace {

using std::string_literals::operator""s;
using testing::AllOf;
using testing::Ge;
using testing::HasSubstr;
using testing::Le;
using testing::MatchesRegex;

using LogCommandTest = LogTest;

constexpr const char* kStampPattern =
    "\\[[0-9]{4}\\.[0-9]{2}\\.[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}\\] ";

TEST_F(LogCommandTest, TimestampsEachLineInFileAndOutput) {
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

TEST_F(LogCommandTest, TheTimestampHasThreeForms) {
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

TEST_F(LogCommandTest, CrlfPutsACarriageReturnBeforeEveryNewline) {
  const Outcome outcome = Log("a\n\nb\r\nc\rd", {"-crlf"});
  EXPECT_EQ(File(), "a\r\n\r\nb\r\r\nc\rd\r\n");
  EXPECT_EQ(outcome.output, File());
  EXPECT_EQ(outcome.status, 0);
}

TEST_F(LogCommandTest, WithoutCrlfACarriageReturnIsKept) {
  Log("a\r\nb");
  EXPECT_EQ(File(), "a\r\nb\n");
}

TEST_F(LogCommandTest, TheOldContentIsKept) {
  folder_.File("box.log", "old\n");
  Log("new\n");
  Log("newer\n");
  EXPECT_EQ(File(), "old\nnew\nnewer\n");
}

TEST_F(LogCommandTest, AnEmptyInputCreatesAnEmptyFile) {
  const Outcome outcome = Log("");
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.output, "");
  EXPECT_TRUE(std::filesystem::exists(path_));
  EXPECT_EQ(File(), "");
}

TEST_F(LogCommandTest, EveryByteButTheNewlineIsKept) {
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

TEST_F(LogCommandTest, SplitsRandomTextIntoLines) {
  std::mt19937 random(7);
  std::string text;
  for (int i = 0; i < 300'000; ++i) text += "abc \n"[random() % 5];
  text += "end";
  EXPECT_EQ(Log(text).status, 0);
  EXPECT_TRUE(File() == text + "\n");
}

TEST_F(LogCommandTest, ALineIsWrittenAtItsNewline) {
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

TEST_F(LogCommandTest, RepeatsAreCountedAtTheEnd) {
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

TEST_F(LogCommandTest, CountsHaveTimestamps) {
  RunProgram({.arguments = Arguments({"-once", "0.5"}), .input = "a\na\n"});
  EXPECT_THAT(Lines(File()).back(),
              MatchesRegex(kStampPattern + "repeated 1 time: a"s));
}

TEST_F(LogCommandTest, WithoutOnceNothingIsSuppressed) {
  Log("a\na\na\n");
  EXPECT_EQ(File(), "a\na\na\n");
}

// Returns the number of lines, written or counted.
int Accounted(const std::string& text, const std::string& line) {
  int count = 0;
  for (const std::string& written : Lines(text)) {
    if (written == line) ++count;
    if (written.starts_with("repeated ")) count += std::stoi(written.substr(9));
  }
  return count;
}

// On a busy machine, the lines may be further apart than the interval. Then a
// longer interval is tried.
TEST_F(LogCommandTest, AWaveIsReportedWhileTheInputStaysOpen) {
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

void ExpectRefused(const Words& arguments, const std::string& message) {
  SCOPED_TRACE(message);
  const Outcome outcome = RunProgram(
      {.arguments = Words{"log"} + arguments, .input_stays_open = true});
  EXPECT_EQ(outcome.status, 2);
  EXPECT_EQ(outcome.error, "fairlead log: " + message + "\n");
  EXPECT_EQ(outcome.output, "");
}

TEST_F(LogCommandTest, AWrongUsageCreatesNoFile) {
  ExpectRefused({}, "missing -file FILE; see 'fairlead help log'");
  ExpectRefused({"-file", ""}, "-file FILE must not be empty");
  ExpectRefused({"-file", path_, "-stamp", "odd"},
                "-stamp: 'odd' is not valid; choose bracket, plain or none");
  const std::string expected =
      " (expected 1ms to 365d: 30 or 0.5 for seconds, 500ms, 2m, 1h, 1d)";
  for (const std::string value : {"", "x", "1x", "1e3", "0x1", "inf", "nan",
                                  ".", " 1", "+1", "1,5", "1.5.5", "none"})
    ExpectRefused({"-file", path_, "-once", value},
                  "-once: '" + value + "' is not a time" + expected);
  for (const std::string value : {"0", "0.0", "366d", "31536000.001"})
    ExpectRefused({"-file", path_, "-once", value},
                  "-once: '" + value + "' is out of range" + expected);
  ExpectRefused(
      {"-file", path_, "-once", "0.0005"},
      "-once: '0.0005' is not a whole number of milliseconds" + expected);
  ExpectRefused({"-file", path_, "-once", "-1"},
                "-once: a value cannot begin with '-'");
  ExpectRefused({"-file", path_, "-once"},
                "-once: missing value; write -once TIME");
  ExpectRefused(
      {"-file", path_, "-crlf", "yep"},
      "-crlf is a switch and cannot be followed by 'yep' (expected on, "
      "off, yes, no, true, false, 1, 0 or nothing)");
  EXPECT_FALSE(std::filesystem::exists(path_));
}

TEST_F(LogCommandTest, AcceptsFractionsOfSecondsAndUnits) {
  for (const std::string value : {"5", "0.5", ".5", "5.", "0.001", "1000000",
                                  "500ms", "2m", "1.5h", "365d"})
    EXPECT_EQ(Log("a\n", {"-once", value}).status, 0) << value;
}

TEST_F(LogCommandTest, HelpDocumentsWhatCanBeMissing) {
  const std::string help = Fairlead({"log", "-help"}).output;
  for (const char* const text :
       {"-file FILE", "-crlf", "-stamp bracket|plain|none", "(default bracket)",
        "-once TIME", "TIME is a number", "Ctrl-C", "\n  23 ", "\n  26 ",
        "\n  130 ", "\n  141 "})
    EXPECT_THAT(help, HasSubstr(text));
  for (const char* const text :
       {"bytes are missing", "no line is lost or torn", "stay in memory",
        "the file still gets every line up to the end of the input"})
    EXPECT_THAT(OneLine(help), HasSubstr(text));
  EXPECT_THAT(ManPage(), HasSubstr("\n.SS log\n"));
}

TEST_F(LogCommandTest, ATerminalShowsNoControlBytes) {
  if (const std::string why = WhyNoTerminal(); !why.empty())
    GTEST_SKIP() << why;
  const Outcome outcome =
      RunProgram({.arguments = Arguments({"-stamp", "none"}),
                  .input = "\033[1m \xc3\xa4\n",
                  .output_is_terminal = true});
  EXPECT_EQ(outcome.output, "\\x1b[1m \xc3\xa4\n");
  EXPECT_EQ(File(), "\033[1m \xc3\xa4\n");
}

}  // namespace
}  // namespace fairlead::tool::log_command_test
