// The command `crypt` as a process: ciphers, keys and usage.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <fstream>
#include <numeric>
#include <string>

#include "tool/crypt/crypt_testing.h"
#include "tool/io/read_file.h"
#include "tool/testing.h"

namespace fairlead::tool::crypt_command_test {
namespace {

using namespace crypt_testing;
using testing::HasSubstr;

constexpr std::size_t kBlock = 16;

std::string FromDigits(const std::string& digits) {
  std::string bytes;
  for (std::size_t at = 0; at < digits.size(); at += 2)
    bytes += static_cast<char>(std::stoi(digits.substr(at, 2), nullptr, 16));
  return bytes;
}

// Returns the bytes 00 01 02 ...
std::string Counting(std::size_t count) {
  std::string bytes(count, '\0');
  std::iota(bytes.begin(), bytes.end(), '\0');
  return bytes;
}

std::string Padded(std::string bytes) {
  bytes.resize((bytes.size() + kBlock - 1) / kBlock * kBlock);
  return bytes;
}

// Returns what standard input becomes.
std::string Done(const Words& arguments, const std::string& input) {
  const Outcome outcome = Crypt(arguments + Words{"-stdin"}, input);
  EXPECT_EQ(outcome.status, 0) << outcome.error;
  return outcome.output;
}

// FIPS-197, Appendix C.
TEST(CryptCommandTest, MatchesTheExamplesOfTheStandard) {
  const TempFolder folder;
  const std::string plain = FromDigits("00112233445566778899aabbccddeeff");
  const std::array<std::array<std::string, 2>, 3> examples = {{
      {"128", "69c4e0d86a7b0430d8cdb78070b4c55a"},
      {"192", "dda97ca4864cdfe06eaf70a0ec0d7191"},
      {"256", "8ea2b7ca516745bfeafc49904b496089"},
  }};
  for (const auto& [bits, cipher] : examples) {
    SCOPED_TRACE(bits);
    const Words key = {
        "-cipher",  "aes",
        "-bits",    bits,
        "-keyfile", folder.File("key", Counting(std::stoul(bits) / 8))};
    EXPECT_EQ(Done(Words{"encrypt"} + key, plain), FromDigits(cipher));
    EXPECT_EQ(Done(Words{"decrypt"} + key, FromDigits(cipher)), plain);
  }
}

TEST(CryptCommandTest, AesDefaultsTo128Bits) {
  const TempFolder folder;
  EXPECT_EQ(Done({"encrypt", "-cipher", "aes", "-keyfile",
                  folder.File("key", Counting(16))},
                 FromDigits("00112233445566778899aabbccddeeff")),
            FromDigits("69c4e0d86a7b0430d8cdb78070b4c55a"));
}

constexpr std::array kSizes = {0U,     1U,     15U,    16U,       17U,
                               65535U, 65536U, 65537U, 1'000'003U};

TEST(CryptCommandTest, AesRoundTripsEverySizeWithPadding) {
  const Words aes = {"-aes", "0123456789abcdef"};
  for (const std::size_t size : kSizes) {
    SCOPED_TRACE(size);
    const std::string plain = RandomBytes(size);
    const std::string encrypted = Done(Words{"encrypt"} + aes, plain);
    EXPECT_EQ(encrypted.size(), Padded(plain).size());
    EXPECT_EQ(encrypted == Padded(plain), size == 0);
    EXPECT_TRUE(Done(Words{"decrypt"} + aes, encrypted) == Padded(plain));
  }
}

TEST(CryptCommandTest, Rc4RoundTripsEverySize) {
  const Words rc4 = {"-rc4", "secret"};
  for (const std::size_t size : kSizes) {
    SCOPED_TRACE(size);
    const std::string plain = RandomBytes(size);
    const std::string encrypted = Done(Words{"encrypt"} + rc4, plain);
    EXPECT_TRUE(encrypted == Rc4Model("secret", plain));
    EXPECT_TRUE(Done(Words{"decrypt"} + rc4, encrypted) == plain);
  }
}

TEST(CryptCommandTest, Rc4UsesTheWholeKey) {
  const TempFolder folder;
  for (const std::size_t size : {1U, 2U, 16U, 254U, 255U}) {
    SCOPED_TRACE(size);
    const std::string key = RandomBytes(size);
    EXPECT_EQ(
        Done({"encrypt", "-cipher", "rc4", "-keyfile", folder.File("key", key)},
             "plain"),
        Rc4Model(key, "plain"));
  }
}

TEST(CryptCommandTest, PaddingIsSilent) {
  const Words aes = {"encrypt", "-aes", "0123456789abcdef", "-stdin"};
  for (const std::size_t size : {0U, 5U, 31U, 32U})
    EXPECT_EQ(Crypt(aes, std::string(size, 'x')).error, "");
  EXPECT_EQ(Crypt({"encrypt", "-rc4", "k", "-stdin"}, "hello").error, "");
}

TEST(CryptCommandTest, APartialBlockIsRefused) {
  const TempFolder folder;
  const std::string file = folder.File("x.aes", RandomBytes(100'001));
  const std::string out = folder.File("out", "old");
  const Words aes = {"decrypt", "-aes", "0123456789abcdef"};
  const std::string why =
      " has 100001 bytes, which is not a multiple of the AES block of 16: it "
      "is damaged, or not encrypted with AES (try -rc4)\n";

  const Outcome known = Crypt(aes + Words{"-file", file});
  EXPECT_EQ(known.status, 3);
  EXPECT_EQ(known.output, "");
  EXPECT_EQ(known.error, "fairlead crypt: '" + file + "'" + why);

  const Outcome stream = Crypt(aes + Words{"-stdin"}, ReadFile(file));
  EXPECT_EQ(stream.status, 3);
  EXPECT_EQ(stream.output.size(), 100'000U);
  EXPECT_EQ(stream.error, "fairlead crypt: standard input" + why);

  const Outcome kept =
      Crypt(aes + Words{"-stdin", "-out", out}, ReadFile(file));
  EXPECT_EQ(kept.status, 3);
  EXPECT_EQ(kept.output, "");
  EXPECT_EQ(ReadFile(out), "old");
}

TEST(CryptCommandTest, AWrongKeyGivesOtherBytes) {
  const std::string cipher =
      Done({"encrypt", "-aes", "0123456789abcdef"}, "sixteen letters!");
  EXPECT_NE(Done({"decrypt", "-aes", "0123456789abcdeF"}, cipher),
            "sixteen letters!");
  EXPECT_NE(
      Done({"decrypt", "-aes", "0123456789abcdef", "-bits", "256"}, cipher),
      "sixteen letters!");
}

TEST(CryptCommandTest, EverySourceOfTheKeyIsTheSame) {
  const TempFolder folder;
  const std::string key = "0123456789abcdef";
  for (const std::string& cipher : Words{"aes", "rc4"}) {
    SCOPED_TRACE(cipher);
    const std::string wanted = Done({"encrypt", "-" + cipher, key}, "hello");
    const Words by = {"encrypt", "-cipher", cipher};
    for (const std::string& end : Words{"", "\n", "\r\n"})
      EXPECT_EQ(
          Done(by + Words{"-keyfile", folder.File("key", key + end)}, "hello"),
          wanted);
    const Outcome outcome =
        RunProgram({.arguments = Words{"crypt"} + by +
                                 Words{"-keyenv", "BOX_KEY", "-stdin"},
                    .input = "hello",
                    .environment = {"BOX_KEY=" + key}});
    EXPECT_EQ(outcome.output, wanted);
    EXPECT_EQ(outcome.status, 0) << outcome.error;
  }
}

TEST(CryptCommandTest, ANewlineAmongOtherBytesIsPartOfTheKey) {
  const TempFolder folder;
  for (const std::string& key :
       Words{"\x01\n", "\xe9\n", "a\n\n", std::string("\0\r\n", 3)}) {
    EXPECT_EQ(
        Done({"encrypt", "-cipher", "rc4", "-keyfile", folder.File("key", key)},
             "hello"),
        Rc4Model(key, "hello"));
  }
}

TEST(CryptCommandTest, AShortAesKeyIsPadded) {
  const TempFolder folder;
  const Outcome outcome = Crypt({"encrypt", "-aes", "five!", "-bits", "192",
                                 "-file", folder.File("p", Counting(16))});
  EXPECT_EQ(outcome.error, "");
  const std::string whole = folder.File("key", "five!" + std::string(19, '\0'));
  EXPECT_EQ(
      Done({"encrypt", "-cipher", "aes", "-keyfile", whole, "-bits", "192"},
           Counting(16)),
      outcome.output);
}

TEST(CryptCommandTest, KeysOfAWrongSizeAreRefused) {
  const TempFolder folder;
  ExpectRefused({"encrypt", "-aes", "0123456789abcdefg", "-stdin"}, 2,
                "the key of -aes has 17 bytes; AES of 128 bits accepts at most "
                "16");
  ExpectRefused(
      {"encrypt", "-aes", std::string(25, 'x'), "-bits", "192", "-stdin"}, 2,
      "has 25 bytes; AES of 192 bits accepts at most 24");
  ExpectRefused(
      {"encrypt", "-aes", std::string(33, 'x'), "-bits", "256", "-stdin"}, 2,
      "has 33 bytes; AES of 256 bits accepts at most 32");
  ExpectRefused({"encrypt", "-rc4", std::string(256, 'x'), "-stdin"}, 2,
                "has 256 bytes; RC4 accepts at most 255");
  ExpectRefused({"encrypt", "-aes", "", "-stdin"}, 2,
                "-aes KEY must not be empty");
  ExpectRefused({"encrypt", "-rc4", "", "-stdin"}, 2,
                "-rc4 KEY must not be empty");
  const std::string empty = folder.File("empty", "\n");
  ExpectRefused({"encrypt", "-cipher", "rc4", "-keyfile", empty, "-stdin"}, 3,
                "the key in the file '" + empty + "' is empty");
  const std::string large = folder.File("large", std::string(17, '\1'));
  ExpectRefused({"encrypt", "-cipher", "aes", "-keyfile", large, "-stdin"}, 3,
                "the key in the file '" + large + "' has 17 bytes");
  ExpectRefused({"encrypt", "-cipher", "aes", "-keyfile",
                 folder.path() + "/none", "-stdin"},
                26, "/none': No such file or directory");
  ExpectRefused({"encrypt", "-cipher", "aes", "-keyenv", "NO_KEY", "-stdin"}, 2,
                "the environment variable of -keyenv, 'NO_KEY', is not set");
}

TEST(CryptCommandTest, AnEmptyVariableIsRefused) {
  const Outcome outcome =
      RunProgram({.arguments = {"crypt", "encrypt", "-cipher", "rc4", "-keyenv",
                                "BOX_KEY", "-stdin"},
                  .environment = {"BOX_KEY="}});
  EXPECT_EQ(outcome.status, 2);
  EXPECT_THAT(outcome.error,
              HasSubstr("the key in the variable 'BOX_KEY' is empty"));
}

TEST(CryptCommandTest, ReportsAWrongUsage) {
  ExpectRefused({}, 2, "missing subcommand; see 'fairlead help crypt'");
  ExpectRefused({"xxxxxxxx"}, 2,
                "unknown subcommand 'xxxxxxxx'; see 'fairlead help crypt'");
  ExpectRefused({"encrypt", "-stdin"}, 2,
                "missing -aes KEY, -rc4 KEY or -cipher aes|rc4 (-keyfile FILE");
  ExpectRefused({"encrypt", "-aes", "k"}, 2, "missing -file FILE or -stdin");
  ExpectRefused({"encrypt", "-aes", "k", "-rc4", "k", "-stdin"}, 2,
                "-aes and -rc4 cannot be combined");
  ExpectRefused({"encrypt", "-aes", "k", "-file", "x", "-stdin"}, 2,
                "-file and -stdin cannot be combined");
  ExpectRefused({"encrypt", "-rc4", "k", "-bits", "256", "-stdin"}, 2,
                "-bits needs -aes or -cipher aes");
  ExpectRefused({"encrypt", "-cipher", "rc4", "-keyenv", "PATH", "-bits", "256",
                 "-stdin"},
                2, "-bits needs -aes or -cipher aes");
  ExpectRefused({"encrypt", "-aes", "k", "-bits", "64", "-stdin"}, 2,
                "-bits: '64' is not valid; choose 128, 192 or 256");
  ExpectRefused({"encrypt", "-cipher", "aes", "-stdin"}, 2,
                "-cipher needs -keyfile FILE or -keyenv NAME");
  ExpectRefused({"encrypt", "-aes", "k", "-keyenv", "PATH", "-stdin"}, 2,
                "-aes and -keyenv cannot be combined");
  ExpectRefused({"encrypt", "-cipher", "aes", "-keyenv", "PATH", "-keyfile",
                 "x", "-stdin"},
                2, "-keyfile and -keyenv cannot be combined");
  ExpectRefused({"encrypt", "-aes", "-k", "-stdin"}, 2,
                "-aes: a value cannot begin with '-'");
}

TEST(CryptCommandTest, TheKeyIsNotOverwritten) {
  const TempFolder folder;
  const std::string key = folder.path() + "/key";
  std::ofstream(key) << "secret";
  ExpectRefused(
      {"encrypt", "-cipher", "rc4", "-keyfile", key, "-stdin", "-out", key}, 2,
      "-out and -keyfile name the same file");
  EXPECT_EQ(ReadFile(key), "secret");
}

TEST(CryptCommandTest, StandardInputIsNotBothKeyAndInput) {
  ExpectRefused(
      {"encrypt", "-cipher", "rc4", "-keyfile", "/dev/stdin", "-stdin"}, 2,
      "standard input cannot be both");
}

TEST(CryptCommandTest, ErrorsDoNotRepeatWhatMayBeAKey) {
  for (const Words& words :
       {Words{"encrypt", "-stdin", "-aes", "my", "s3cret"},
        Words{"encrypt", "-stdin", "-aes=s3cret"},
        Words{"encrypt", "-stdin", "-cipher", "rc4", "-keyenv", "s3cret+"}}) {
    const Outcome outcome = Crypt(words);
    EXPECT_EQ(outcome.status, 2);
    EXPECT_THAT(outcome.error, testing::Not(HasSubstr("s3cret")));
  }
  EXPECT_THAT(Crypt({"encrypt", "-stdin", "-aes", "-key"}).error,
              HasSubstr("-keyfile or -keyenv"));
}

TEST(CryptCommandTest, ALargeFileDrawsAProgressBar) {
  if (const std::string why = WhyNoTerminal(); !why.empty())
    GTEST_SKIP() << why;
  const TempFolder folder;
  const std::string path = folder.File("large", std::string(3'000'000, 'x'));
  const Words arguments = {"crypt", "encrypt", "-rc4", "k", "-file", path};
  const Outcome outcome =
      RunProgram({.arguments = arguments, .error_is_terminal = true});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_THAT(outcome.error, HasSubstr("50% of 3.0 MB"));
  EXPECT_THAT(outcome.error, testing::EndsWith("\r\033[K"));
  EXPECT_EQ(RunProgram({.arguments = arguments}).error, "");
}

TEST(CryptCommandTest, ATerminalShowsNoControlBytes) {
  if (const std::string why = WhyNoTerminal(); !why.empty())
    GTEST_SKIP() << why;
  const std::string cipher = Rc4Model("k", "a\x1b[1mb");
  EXPECT_EQ(
      RunProgram({.arguments = {"crypt", "decrypt", "-rc4", "k", "-stdin"},
                  .input = cipher,
                  .output_is_terminal = true})
          .output,
      "a\\x1b[1mb");
}

TEST(CryptCommandTest, HelpWarnsOfVisibleKeys) {
  EXPECT_THAT(Fairlead({"crypt", "encrypt", "-help"}).output,
              HasSubstr("a key on the command line is\n"
                        "                     visible in the process list"));
}

// An argument in the wrong place, or after the wrong option, may be the key.
TEST(CryptCommandTest, DoesNotShowAMisplacedKey) {
  const auto error = [](const Words& words) {
    const Outcome outcome = Fairlead(words);
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.output, "");
    return outcome.error;
  };
  const std::string stray =
      "fairlead crypt: unexpected argument after 'encrypt'; options are "
      "written -name value\n";
  EXPECT_EQ(error({"crypt", "encrypt", "hunter2"}), stray);
  EXPECT_EQ(error({"crypt", "encrypt", "hunter2", "-aes"}), stray);
  EXPECT_EQ(error({"crypt", "encrypt", "-file", "a.txt", "hunter2"}),
            "fairlead crypt: unexpected argument after the value of -file; "
            "quote values that contain spaces\n");
  EXPECT_EQ(error({"crypt", "decrypt", "-stdin", "hunter2", "-rc4"}),
            "fairlead crypt: -stdin is a switch and cannot be followed by a "
            "value (expected on, off, yes, no, true, false, 1, 0 or "
            "nothing)\n");
  EXPECT_EQ(error({"crypt", "encrypt", "-cipher", "hunter2"}),
            "fairlead crypt: -cipher: the value is not valid; choose aes or "
            "rc4\n");
  EXPECT_EQ(error({"send", "hunter2", "-aes"}),
            "fairlead send: unexpected argument after 'send'; options are "
            "written -name value\n");
  EXPECT_EQ(error({"send", "-demo", "-text", "x", "-cipher", "hunter2"}),
            "fairlead send: -cipher: the value is not valid; choose aes or "
            "rc4\n");
}

}  // namespace
}  // namespace fairlead::tool::crypt_command_test
