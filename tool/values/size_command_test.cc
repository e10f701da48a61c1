// The command `size` as a process.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include "tool/base/concat.h"
#include "tool/testing.h"

namespace fairlead::tool::size_command_test {
namespace {

using testing::EndsWith;
using testing::HasSubstr;

// Runs the command, which must succeed without messages. Returns its output.
std::string Answer(const Words& words) {
  const Outcome outcome = Fairlead(Words{"size"} + words);
  EXPECT_EQ(outcome.error, "");
  EXPECT_EQ(outcome.status, 0);
  return outcome.output;
}

// Runs the command, which must end with the status and print nothing. Returns
// its message.
std::string Refusal(int status, const Words& words) {
  const Outcome outcome = Fairlead(Words{"size"} + words);
  EXPECT_EQ(outcome.status, status);
  EXPECT_EQ(outcome.output, "");
  return outcome.error;
}

struct SizeCase {
  const char* bytes;
  const char* text;
  const char* hex;
};

constexpr SizeCase kCases[] = {
    {"0", "0 bytes", "0000000000000000"},
    {"512", "512 bytes", "0000000000000200"},
    {"1023", "1023 bytes", "00000000000003FF"},
    {"1024", "1 Kb", "0000000000000400"},
    {"1025", "1.01 Kb", "0000000000000401"},
    {"1536", "1.51 Kb", "0000000000000600"},
    {"10228", "9.99 Kb", "00000000000027F4"},
    {"10229", "10 Kb", "00000000000027F5"},
    {"10241", "10.1 Kb", "0000000000002801"},
    {"102401", "101 Kb", "0000000000019001"},
    {"1048575", "1024 Kb", "00000000000FFFFF"},
    {"4294967295", "4 Gb", "00000000FFFFFFFF"},
    {"4294967296", "4 Gb", "0000000100000000"},
    {"9223372036854775808", "8 Eb", "8000000000000000"},
    {"18446744073709551615", "16 Eb", "FFFFFFFFFFFFFFFF"},
};

TEST(SizeCommandTest, EveryForm) {
  for (const SizeCase& c : kCases) {
    SCOPED_TRACE(c.bytes);
    const std::string all =
        Concat("text ", c.text, "\nhex ", c.hex, "\nbytes ", c.bytes, "\n");
    EXPECT_EQ(Answer({"-bytes", c.bytes}), all);
    EXPECT_EQ(Answer({"-hex", c.hex}), all);
    EXPECT_EQ(Answer({"-bytes", c.bytes, "-form", "all"}), all);
    EXPECT_EQ(Answer({"-bytes", c.bytes, "-form", "text"}),
              Concat(c.text, "\n"));
    EXPECT_EQ(Answer({"-bytes", c.bytes, "-form", "hex"}), Concat(c.hex, "\n"));
    EXPECT_EQ(Answer({"-hex", c.hex, "-form", "bytes"}), Concat(c.bytes, "\n"));
  }
}

TEST(SizeCommandTest, HexadecimalDigitsOfEitherCase) {
  for (const char* const digits :
       {"1f", "1F", "001f", "0000001F", "00000001F", "000000000000001f"})
    EXPECT_EQ(Answer({"-hex", digits, "-form", "bytes"}), "31\n");
  EXPECT_EQ(Answer({"-bytes", "00031", "-form", "bytes"}), "31\n");
}

TEST(SizeCommandTest, AnInvalidHexadecimalNumberIsRefused) {
  for (const char* const digits :
       {"1g", "0x1f", " 1f", "1f ", "+1", "1 f", "00000000000000001",
        "10000000000000000", "g0000000000000000"})
    EXPECT_EQ(Refusal(2, {"-hex", digits}),
              Concat("fairlead size: -hex '", digits,
                     "' is not 1 to 16 hexadecimal digits\n"));
  EXPECT_EQ(Refusal(2, {"-hex", ""}),
            "fairlead size: -hex H must not be empty\n");
  EXPECT_THAT(Refusal(2, {"-hex", "-1"}), HasSubstr("cannot begin with '-'"));
}

TEST(SizeCommandTest, AnInvalidNumberOfBytesIsRefused) {
  for (const char* const name : {"bytes", "from"}) {
    const auto refusal = [name](const std::string& value) {
      Words words = {Concat("-", name), value};
      if (words[0] == "-from") words = words + Words{"-bytes", "1"};
      return Refusal(2, words);
    };
    for (const char* const value : {"12x", "+1", " 1", "1 ", "1.5", "0x1"})
      EXPECT_EQ(refusal(value), Concat("fairlead size: -", name, ": '", value,
                                       "' is not an integer (expected 0 to "
                                       "18446744073709551615)\n"));
    for (const char* const value :
         {"18446744073709551616", "99999999999999999999999"})
      EXPECT_EQ(refusal(value), Concat("fairlead size: -", name, ": ", value,
                                       " is out of range (expected 0 to "
                                       "18446744073709551615)\n"));
    EXPECT_EQ(refusal(""), Concat("fairlead size: -", name,
                                  ": '' is not an integer (expected 0 to "
                                  "18446744073709551615)\n"));
    EXPECT_EQ(refusal("-1"), Concat("fairlead size: -", name,
                                    ": -1 is out of range (expected 0 to "
                                    "18446744073709551615)\n"));
  }
}

TEST(SizeCommandTest, AFile) {
  const TempFolder folder;
  const std::string path = folder.File("a b", std::string(1536, 'x'));
  EXPECT_EQ(Answer({"-file", path}),
            "text 1.51 Kb\nhex 0000000000000600\nbytes 1536\n");
  EXPECT_EQ(Answer({"-file", folder.File("empty", ""), "-form", "text"}),
            "0 bytes\n");

  const std::string link = folder.path() + "/link";
  ASSERT_EQ(symlink(path.c_str(), link.c_str()), 0);
  EXPECT_EQ(Answer({"-file", link, "-form", "bytes"}), "1536\n");

  ASSERT_EQ(chmod(path.c_str(), 0), 0);
  EXPECT_EQ(Answer({"-file", path, "-form", "bytes"}), "1536\n");

  // Its bytes are nowhere on the disk.
  const std::string large = folder.File("large", "");
  ASSERT_EQ(truncate(large.c_str(), 5'000'000'000), 0);
  EXPECT_EQ(Answer({"-file", large}),
            "text 4.66 Gb\nhex 000000012A05F200\nbytes 5000000000\n");
}

TEST(SizeCommandTest, ReportsAFileWithoutASize) {
  const TempFolder folder;
  const std::string file = folder.File("file", "x");
  const std::string fifo = folder.path() + "/fifo";
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  const auto refusal = [](const std::string& path) {
    return Refusal(26, {"-file", path});
  };
  const std::string missing = folder.path() + "/missing";
  EXPECT_EQ(refusal(missing),
            Concat("fairlead size: cannot find the size of '", missing,
                   "': No such file or directory\n"));
  EXPECT_THAT(refusal(file + "/x"), EndsWith(": Not a directory\n"));
  EXPECT_THAT(refusal(folder.path()), EndsWith(": Is a directory\n"));
  EXPECT_THAT(refusal(fifo), EndsWith(": Not a regular file\n"));
  EXPECT_THAT(refusal("/dev/null"), EndsWith(": Not a regular file\n"));
  EXPECT_EQ(Refusal(2, {"-file", ""}),
            "fairlead size: -file FILE must not be empty\n");
}

struct DistanceCase {
  const char* bytes;
  const char* from;
  const char* lines;
};

constexpr DistanceCase kDistances[] = {
    {"0", "0", "distance 0\nmb 0\n"},
    {"1536", "512", "distance 1024\nmb 0.0009765625\n"},
    {"1", "0", "distance 1\nmb 0.00000095367431640625\n"},
    {"3145728", "1048576", "distance 2097152\nmb 2\n"},
    {"4294967295", "0", "distance 4294967295\nmb 4095.9999990463257\n"},
    {"4294967296", "1", "distance 4294967295\nmb 4095.9999990463257\n"},
    {"4294967296", "0", "mb 4096\n"},  // Too far for 32 bits.
    {"4294967301", "3", "mb 4096.000001907349\n"},
    {"512", "1536", "mb -0.0009765625\n"},  // It lies before.
    {"0", "18446744073709551615", "mb -17592186044416\n"},
};

TEST(SizeCommandTest, TheDistanceFromAnotherPosition) {
  for (const DistanceCase& c : kDistances) {
    SCOPED_TRACE(testing::Message() << c.bytes << " from " << c.from);
    EXPECT_THAT(Answer({"-bytes", c.bytes, "-from", c.from}),
                EndsWith(Concat("\nbytes ", c.bytes, "\n", c.lines)));
  }
  EXPECT_EQ(Answer({"-hex", "600", "-from", "512", "-form", "distance"}),
            "1024\n");
  EXPECT_EQ(Answer({"-bytes", "3145728", "-from", "1048576", "-form", "mb"}),
            "2\n");
}

TEST(SizeCommandTest, AnUnavailableFormIsRefused) {
  EXPECT_EQ(Refusal(2, {"-bytes", "1", "-form", "mb"}),
            "fairlead size: -form mb needs -from N\n");
  EXPECT_EQ(Refusal(2, {"-bytes", "1", "-form", "distance"}),
            "fairlead size: -form distance needs -from N\n");
  EXPECT_EQ(Refusal(2, {"-bytes", "1", "-form", "octal"}),
            "fairlead size: -form: 'octal' is not valid; choose text, hex, "
            "bytes, distance, mb or all\n");
}

TEST(SizeCommandTest, ADistanceOutOfRangeIsRefused) {
  const auto refusal = [](const char* bytes, const char* from) {
    return Refusal(2, {"-bytes", bytes, "-from", from, "-form", "distance"});
  };
  EXPECT_EQ(refusal("1", "2"),
            "fairlead size: -form distance: -1 is out of range (expected 0 to "
            "4294967295)\n");
  EXPECT_EQ(refusal("4294967296", "0"),
            "fairlead size: -form distance: 4294967296 is out of range "
            "(expected 0 to 4294967295)\n");
  EXPECT_EQ(refusal("0", "18446744073709551615"),
            "fairlead size: -form distance: -18446744073709551615 is out of "
            "range (expected 0 to 4294967295)\n");
  EXPECT_EQ(Answer({"-bytes", "4294967295", "-from", "0", "-form", "distance"}),
            "4294967295\n");
}

TEST(SizeCommandTest, OneSizeIsRequired) {
  constexpr char kSeeHelp[] = "; see 'fairlead help size'\n";
  const std::string none =
      Concat("fairlead size: missing -bytes N, -hex H or -file FILE", kSeeHelp);
  EXPECT_EQ(Refusal(2, {}), none);
  EXPECT_EQ(Refusal(2, {"-from", "1", "-form", "hex"}), none);
  EXPECT_EQ(
      Refusal(2, {"-bytes", "1", "-hex", "1"}),
      Concat("fairlead size: -bytes and -hex cannot be combined", kSeeHelp));
  EXPECT_THAT(Refusal(2, {"-file", "x", "-hex", "1"}),
              HasSubstr("-hex and -file cannot be combined"));
  EXPECT_THAT(Refusal(2, {"-file", "x", "-hex", "1", "-bytes", "1"}),
              HasSubstr("-bytes and -hex cannot be combined"));
  EXPECT_THAT(Refusal(2, {"1024"}), HasSubstr("unexpected argument '1024'"));
  EXPECT_THAT(Refusal(2, {"-byte", "1"}), HasSubstr("did you mean -bytes?"));
}

TEST(SizeCommandTest, AFullOutputIsAnError) {
  const Outcome outcome = RunProgram(
      {.arguments = {"size", "-bytes", "1"}, .output_path = "/dev/full"});
  EXPECT_EQ(outcome.status, 23);
  EXPECT_THAT(outcome.error, HasSubstr("cannot write standard output"));
}

}  // namespace
}  // namespace fairlead::tool::size_command_test
