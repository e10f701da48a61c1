// The command `sum` as a process.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <string>

#include "fairlead/bits/crc.h"
#include "tool/base/concat.h"
#include "tool/testing.h"

namespace fairlead::tool::sum_command_test {
namespace {

using testing::EndsWith;
using testing::HasSubstr;

// Runs the command, which must succeed without messages. Returns its output.
std::string Answer(const Words& words) {
  const Outcome outcome = Fairlead(Words{"sum"} + words);
  EXPECT_EQ(outcome.error, "");
  EXPECT_EQ(outcome.status, 0);
  return outcome.output;
}

// Runs the command, which must end with the status and print nothing. Returns
// its message.
std::string Refusal(int status, const Words& words) {
  const Outcome outcome = Fairlead(Words{"sum"} + words);
  EXPECT_EQ(outcome.status, status);
  EXPECT_EQ(outcome.output, "");
  return outcome.error;
}

struct SumCase {
  Words words;
  const char* lines;
};

TEST(SumCommandTest, EveryForm) {
  const SumCase cases[] = {
      // A fresh value.
      {{"-hex", ""}, "64 0000000000000000\n24 000000\n16 0000\n8 00\n"},
      {{"-text", ""}, "64 0000000000000000\n24 000000\n16 0000\n8 00\n"},
      // Two steps: 1, then 1 ^ 2.
      {{"-hex", "01", "-rotation", "1"},
       "64 0000000000000001\n24 000001\n16 0001\n8 01\n"},
      {{"-hex", "0101", "-rotation", "1"},
       "64 0000000000000003\n24 000003\n16 0003\n8 03\n"},
      // The state is 0x11223344.
      {{"-hex", "11223344", "-rotation", "8"},
       "64 0000000011223344\n24 333344\n16 2266\n8 44\n"},
      // 68, d65, 1accc, 3599ec, 6b33def.
      {{"-text", "hello"}, "64 0000000006b33def\n24 b53def\n16 3b5c\n8 67\n"},
      {{"-hex", "68656c6c6f", "-rotation", "5"},
       "64 0000000006b33def\n24 b53def\n16 3b5c\n8 67\n"},
      // The bit that leaves bit 31 stays above it, and comes back below.
      {{"-hex", Concat("01", std::string(62, '0')), "-rotation", "1"},
       "64 0000000080000000\n24 800000\n16 8000\n8 80\n"},
      {{"-hex", Concat("01", std::string(64, '0')), "-rotation", "1"},
       "64 0000000100000001\n24 000001\n16 0001\n8 01\n"},
  };
  for (const SumCase& c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.words));
    EXPECT_EQ(Answer(c.words), c.lines);
    EXPECT_EQ(Answer(c.words + Words{"-form", "all"}), c.lines);
  }
}

TEST(SumCommandTest, OneFormIsPrintedAlone) {
  const Words sum = {"-hex", "11223344", "-rotation", "8", "-form"};
  EXPECT_EQ(Answer(sum + Words{"64"}), "0000000011223344\n");
  EXPECT_EQ(Answer(sum + Words{"24"}), "333344\n");
  EXPECT_EQ(Answer(sum + Words{"16"}), "2266\n");
  EXPECT_EQ(Answer(sum + Words{"8"}), "44\n");
  EXPECT_EQ(Refusal(2, sum + Words{"32"}),
            "fairlead sum: -form: '32' is not valid; choose 64, 24, 16, 8 or "
            "all\n");
}

TEST(SumCommandTest, TheSixteenBitsAreTheLowHalf) {
  // dw() of 0x100000001 is 0x10001.
  CCRC crc{.state = 0x100000001};
  ASSERT_EQ(crc.ReadCRC16(), 0x10001U);
  EXPECT_EQ(Answer({"-hex", Concat("01", std::string(64, '0')), "-rotation",
                    "1", "-form", "16"}),
            "0001\n");
}

TEST(SumCommandTest, WordsEnterSignExtendedAndBytesDoNot) {
  const TempFolder folder;
  constexpr char kWords[] = "64 00000000ffffffe9\n24 00ffe9\n16 0016\n8 16\n";
  constexpr char kBytes[] = "64 00000000000000e9\n24 0000e9\n16 00e9\n8 e9\n";
  EXPECT_EQ(Answer({"-text", "\\xe9"}), kWords);
  EXPECT_EQ(Answer({"-text", "\xe9"}), kWords);
  EXPECT_EQ(Answer({"-hex", "e9"}), kBytes);
  EXPECT_EQ(Answer({"-file", folder.File("byte", "\xe9")}), kBytes);
  EXPECT_EQ(
      RunProgram({.arguments = {"sum", "-stdin"}, .input = "\xe9"}).output,
      kBytes);
}

TEST(SumCommandTest, TheEscapesOfWordsAreOneByteEach) {
  EXPECT_EQ(Answer({"-text", "\\x68\\r\\n\\t\\\\\\x00"}),
            Answer({"-hex", "68 0d 0a 09 5c 00"}));
  EXPECT_EQ(
      Refusal(2, {"-text", "\\q"}),
      "fairlead sum: -text: '\\q' is not one of \\r \\n \\t \\\\ \\xHH\n");
  EXPECT_THAT(Refusal(2, {"-text", "-x"}),
              EndsWith("cannot begin with '-'; write \\x2d for it\n"));
}

// The state after the bytes 1 and 2, for each rotation: 2 ^ (1 rotated).
TEST(SumCommandTest, ARotationAndItsInverse) {
  const auto state = [](const char* name, const char* turn) {
    return Answer({"-hex", "0102", name, turn, "-form", "64"});
  };
  EXPECT_EQ(state("-rotation", "0"), "0000000000000003\n");
  EXPECT_EQ(state("-rotation", "1"), "0000000000000000\n");
  EXPECT_EQ(state("-rotation", "2"), "0000000000000006\n");
  EXPECT_EQ(state("-rotation", "31"), "0000000080000002\n");
  EXPECT_EQ(state("-rotation", "32"), "0000000100000003\n");
  EXPECT_EQ(state("-back", "0"), "0000000000000003\n");
  EXPECT_EQ(state("-back", "1"), "0000000080000002\n");
  EXPECT_EQ(state("-back", "2"), "0000000040000002\n");
  EXPECT_EQ(state("-back", "31"), "0000000000000000\n");
  EXPECT_EQ(state("-back", "32"), "0000000000000003\n");
  EXPECT_EQ(Answer({"-hex", "0102", "-form", "64"}), "0000000000000022\n");
}

TEST(SumCommandTest, AnInvalidRotationIsRefused) {
  const auto refusal = [](const char* name, const char* turn) {
    return Refusal(2, {"-hex", "01", name, turn});
  };
  EXPECT_EQ(refusal("-rotation", "33"),
            "fairlead sum: -rotation: 33 is out of range (expected 0 to 32)\n");
  EXPECT_EQ(refusal("-back", "33"),
            "fairlead sum: -back: 33 is out of range (expected 0 to 32)\n");
  EXPECT_EQ(refusal("-rotation", "x"),
            "fairlead sum: -rotation: 'x' is not an integer (expected 0 to "
            "32)\n");
  EXPECT_EQ(refusal("-rotation", "-5"),
            "fairlead sum: -rotation: a value cannot begin with '-'; write "
            "-back and the number without '-'\n");
  EXPECT_EQ(
      Refusal(2, {"-hex", "01", "-rotation", "1", "-back", "1"}),
      "fairlead sum: -rotation and -back cannot be combined; see 'fairlead "
      "help sum'\n");
}

std::string StateOf(const std::string& bytes, std::int32_t rotation) {
  CCRC crc{.rotation = rotation};
  crc.AddArr(reinterpret_cast<const unsigned char*>(bytes.data()),
             static_cast<int>(bytes.size()));
  std::array<char, 20> text{};
  std::snprintf(text.data(), text.size(), "%016llx\n",
                static_cast<unsigned long long>(crc.ReadCRC()));
  return text.data();
}

// Rotations of 0 and 32 keep the effect of every byte and reveal a lost piece;
// rotations of 31 and -31 reveal a wrong order of the last bytes.
TEST(SumCommandTest, ALargeFileIsSummedInPieces) {
  const TempFolder folder;
  for (const std::size_t size : {65535U, 65536U, 65537U, 400'017U}) {
    const std::string bytes = RandomBytes(size);
    const std::string path = folder.File("bytes", bytes);
    for (const std::int32_t turn : {0, 5, 31, 32}) {
      SCOPED_TRACE(testing::Message() << size << " bytes, turned " << turn);
      const std::string rotation = std::to_string(turn);
      const Words words = {"-rotation", rotation, "-form", "64"};
      const std::string state = StateOf(bytes, turn);
      EXPECT_EQ(Answer(words + Words{"-file", path}), state);
      EXPECT_EQ(RunProgram({.arguments = Words{"sum", "-stdin"} + words,
                            .input = bytes})
                    .output,
                state);
    }
    EXPECT_EQ(Answer({"-file", path, "-back", "3", "-form", "64"}),
              StateOf(bytes, -3));
  }
}

TEST(SumCommandTest, AnEmptyFileHasTheInitialValue) {
  const TempFolder folder;
  EXPECT_EQ(Answer({"-file", folder.File("empty", ""), "-form", "8"}), "00\n");
  EXPECT_EQ(Answer({"-stdin", "-form", "8"}), "00\n");
}

TEST(SumCommandTest, ReportsAFailedRead) {
  const TempFolder folder;
  const std::string missing = folder.path() + "/missing";
  EXPECT_EQ(Refusal(26, {"-file", missing}),
            Concat("fairlead sum: cannot open '", missing,
                   "': No such file or directory\n"));
  EXPECT_EQ(Refusal(26, {"-file", folder.path()}),
            Concat("fairlead sum: cannot read '", folder.path(),
                   "': Is a directory\n"));
  EXPECT_EQ(Refusal(2, {"-file", ""}),
            "fairlead sum: -file FILE must not be empty\n");
  const Outcome closed =
      RunProgram({.arguments = {"sum", "-stdin"}, .closed = {0}});
  EXPECT_EQ(closed.status, 26);
  EXPECT_EQ(closed.output, "");
  EXPECT_THAT(closed.error, HasSubstr("cannot read standard input"));
}

TEST(SumCommandTest, InvalidHexadecimalPairsAreRefused) {
  for (const char* const digits : {"1", "0x11", "11 2", "1g"})
    EXPECT_THAT(Refusal(2, {"-hex", digits}),
                EndsWith(" is not a pair of hexadecimal digits\n"));
}

TEST(SumCommandTest, OneInputSourceIsRequired) {
  constexpr char kSeeHelp[] = "; see 'fairlead help sum'\n";
  EXPECT_EQ(Refusal(2, {}),
            Concat("fairlead sum: missing -text TEXT, -hex DIGITS, -file FILE "
                   "or -stdin",
                   kSeeHelp));
  EXPECT_EQ(
      Refusal(2, {"-text", "a", "-stdin"}),
      Concat("fairlead sum: -text and -stdin cannot be combined", kSeeHelp));
  EXPECT_THAT(Refusal(2, {"-hex", "01", "-file", "x"}),
              HasSubstr("-hex and -file cannot be combined"));
  EXPECT_THAT(Refusal(2, {"hello"}), HasSubstr("unexpected argument 'hello'"));
}

TEST(SumCommandTest, AFullOutputIsAnError) {
  const Outcome outcome = RunProgram(
      {.arguments = {"sum", "-text", "a"}, .output_path = "/dev/full"});
  EXPECT_EQ(outcome.status, 23);
  EXPECT_THAT(outcome.error, HasSubstr("cannot write standard output"));
}

TEST(SumCommandTest, HelpDocumentsTheLimits) {
  const std::string help = OneLine(Fairlead({"help", "sum"}).output);
  EXPECT_THAT(help, HasSubstr("does not protect long data"));
  EXPECT_THAT(help, HasSubstr("sign-extended"));
  EXPECT_THAT(help, HasSubstr("[0..32] (default 5)"));
}

}  // namespace
}  // namespace fairlead::tool::sum_command_test
