// The command `crypt`: ciphers over files and standard input.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <numeric>
#include <random>
#include <string>
#include <system_error>

#include "tool/testing.h"

namespace fairlead::tool {
namespace {

using testing::HasSubstr;

constexpr std::size_t kBlock = 16;

std::string RandomBytes(std::size_t count) {
  std::mt19937_64 random(count);  // The seed is the size.
  std::string bytes(count, '\0');
  for (char& c : bytes) c = static_cast<char>(random());
  return bytes;
}

std::string Content(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

std::string FromDigits(const std::string& digits) {
  std::string bytes;
  for (std::size_t at = 0; at < digits.size(); at += 2)
    bytes += static_cast<char>(std::stoi(digits.substr(at, 2), nullptr, 16));
  return bytes;
}

// The bytes 00 01 02 ...
std::string Counting(std::size_t count) {
  std::string bytes(count, '\0');
  std::iota(bytes.begin(), bytes.end(), '\0');
  return bytes;
}

std::string Padded(std::string bytes) {
  bytes.resize((bytes.size() + kBlock - 1) / kBlock * kBlock);
  return bytes;
}

Outcome Crypt(const Words& arguments, const std::string& input = "") {
  return RunProgram({.arguments = Words{"crypt"} + arguments, .input = input});
}

// What standard input becomes.
std::string Done(const Words& arguments, const std::string& input) {
  const Outcome outcome = Crypt(arguments + Words{"-stdin"}, input);
  EXPECT_EQ(outcome.status, 0) << outcome.error;
  return outcome.output;
}

// Plain RC4, and how it throws bytes away: a model of what is wanted.
std::string Rc4Model(const std::string& key, std::string bytes) {
  std::array<unsigned, 256> m{};
  std::iota(m.begin(), m.end(), 0U);
  for (unsigned i = 0, j = 0; i < 256; ++i) {
    j = (j + m[i] + static_cast<unsigned char>(key[i % key.size()])) % 256;
    std::swap(m[i], m[j]);
  }
  unsigned x = 0;
  unsigned y = 0;
  const auto next = [&] {
    x = (x + 1) % 256;
    y = (y + m[x]) % 256;
    std::swap(m[x], m[y]);
    return m[(m[x] + m[y]) % 256];
  };
  for (int i = 0; i < 12347; ++i) next();
  for (char& c : bytes)
    c = static_cast<char>(static_cast<unsigned char>(c) ^ next());
  return bytes;
}

// FIPS-197, Appendix C.
TEST(CryptCommandTest, TheStandardsExamplesComeOut) {
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

TEST(CryptCommandTest, AesTakes128BitsIfNothingElseIsSaid) {
  const TempFolder folder;
  EXPECT_EQ(Done({"encrypt", "-cipher", "aes", "-keyfile",
                  folder.File("key", Counting(16))},
                 FromDigits("00112233445566778899aabbccddeeff")),
            FromDigits("69c4e0d86a7b0430d8cdb78070b4c55a"));
}

constexpr std::array kSizes = {0U,     1U,     15U,    16U,       17U,
                               65535U, 65536U, 65537U, 1'000'003U};

TEST(CryptCommandTest, EverySizeComesBackFromAesWithItsPadding) {
  const Words aes = {"-aes", "0123456789abcdef"};
  for (const std::size_t size : kSizes) {
    SCOPED_TRACE(size);
    const std::string plain = RandomBytes(size);
    const std::string hidden = Done(Words{"encrypt"} + aes, plain);
    EXPECT_EQ(hidden.size(), Padded(plain).size());
    EXPECT_EQ(hidden == Padded(plain), size == 0);
    EXPECT_TRUE(Done(Words{"decrypt"} + aes, hidden) == Padded(plain));
  }
}

TEST(CryptCommandTest, EverySizeComesBackFromRc4AsItWas) {
  const Words rc4 = {"-rc4", "secret"};
  for (const std::size_t size : kSizes) {
    SCOPED_TRACE(size);
    const std::string plain = RandomBytes(size);
    const std::string hidden = Done(Words{"encrypt"} + rc4, plain);
    EXPECT_TRUE(hidden == Rc4Model("secret", plain));
    EXPECT_TRUE(Done(Words{"decrypt"} + rc4, hidden) == plain);
  }
}

TEST(CryptCommandTest, Rc4KeysOfEveryLengthAreUsedWhole) {
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

TEST(CryptCommandTest, PaddingIsNoted) {
  const Words aes = {"encrypt", "-aes", "0123456789abcdef", "-stdin"};
  EXPECT_EQ(Crypt(aes, "hello").error,
            "fairlead crypt: padded the last AES block with 11 zero bytes; "
            "decrypting leaves them there\n");
  EXPECT_THAT(Crypt(aes, std::string(31, 'x')).error,
              HasSubstr("block with 1 zero byte;"));
  EXPECT_EQ(Crypt(aes, std::string(32, 'x')).error, "");
  EXPECT_EQ(Crypt(aes, "").error, "");
  EXPECT_EQ(Crypt({"encrypt", "-rc4", "k", "-stdin"}, "hello").error, "");
}

TEST(CryptCommandTest, WhatIsNoWholeBlocksIsRefused) {
  const TempFolder folder;
  const std::string file = folder.File("x.aes", RandomBytes(100'001));
  const std::string out = folder.File("out", "old");
  const Words aes = {"decrypt", "-aes", "0123456789abcdef"};
  const std::string why =
      " has 100001 bytes, which are no whole blocks of 16 bytes, so AES did "
      "not make it, or a part is missing or was added: get it anew, or try "
      "-rc4\n";

  const Outcome known = Crypt(aes + Words{"-file", file});
  EXPECT_EQ(known.status, 3);
  EXPECT_EQ(known.output, "");
  EXPECT_EQ(known.error, "fairlead crypt: '" + file + "'" + why);

  const Outcome stream = Crypt(aes + Words{"-stdin"}, Content(file));
  EXPECT_EQ(stream.status, 3);
  EXPECT_EQ(stream.output.size(), 100'000U);
  EXPECT_EQ(stream.error, "fairlead crypt: standard input" + why);

  const Outcome kept = Crypt(aes + Words{"-stdin", "-out", out}, Content(file));
  EXPECT_EQ(kept.status, 3);
  EXPECT_EQ(kept.output, "");
  EXPECT_EQ(Content(out), "old");
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

TEST(CryptCommandTest, EveryDoorOfTheKeyIsTheSame) {
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

TEST(CryptCommandTest, ALineFeedAmongOtherBytesIsAByteOfTheKey) {
  const TempFolder folder;
  for (const std::string& key :
       Words{"\x01\n", "\xe9\n", "a\n\n", std::string("\0\r\n", 3)}) {
    EXPECT_EQ(
        Done({"encrypt", "-cipher", "rc4", "-keyfile", folder.File("key", key)},
             "hello"),
        Rc4Model(key, "hello"));
  }
}

TEST(CryptCommandTest, AShortAesKeyIsPaddedWithAWarning) {
  const TempFolder folder;
  const Outcome outcome = Crypt({"encrypt", "-aes", "five!", "-bits", "192",
                                 "-file", folder.File("p", Counting(16))});
  EXPECT_EQ(outcome.error,
            "fairlead crypt: warning: the key of -aes has only 5 bytes; padded "
            "to 24 with zeros\n");
  const std::string whole = folder.File("key", "five!" + std::string(19, '\0'));
  EXPECT_EQ(
      Done({"encrypt", "-cipher", "aes", "-keyfile", whole, "-bits", "192"},
           Counting(16)),
      outcome.output);
}

// Status and message of what cannot be done; nothing comes out.
void ExpectRefused(const Words& arguments, int status,
                   const std::string& message) {
  SCOPED_TRACE(message);
  const Outcome outcome = Crypt(arguments, "input");
  EXPECT_EQ(outcome.status, status);
  EXPECT_THAT(outcome.error, HasSubstr(message));
  EXPECT_EQ(outcome.output, "");
}

TEST(CryptCommandTest, KeysThatDoNotFitAreRefused) {
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

TEST(CryptCommandTest, AnEmptyVariableIsNoKey) {
  const Outcome outcome =
      RunProgram({.arguments = {"crypt", "encrypt", "-cipher", "rc4", "-keyenv",
                                "BOX_KEY", "-stdin"},
                  .environment = {"BOX_KEY="}});
  EXPECT_EQ(outcome.status, 2);
  EXPECT_THAT(outcome.error,
              HasSubstr("the key in the variable 'BOX_KEY' is empty"));
}

TEST(CryptCommandTest, WrongUsageIsTold) {
  ExpectRefused({}, 2, "missing subcommand; see 'fairlead help crypt'");
  ExpectRefused({"encipher"}, 2,
                "unknown subcommand 'encipher'; see 'fairlead help crypt'");
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

TEST(CryptCommandTest, FilesAreReadAndWritten) {
  const TempFolder folder;
  const std::string plain = RandomBytes(200'000);
  const std::string from = folder.File("plain", plain);
  const std::string to = folder.path() + "/cipher";
  const Outcome outcome =
      Crypt({"encrypt", "-rc4", "secret", "-file", from, "-out", to});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.output, "");
  EXPECT_EQ(outcome.error, "");
  EXPECT_TRUE(Content(to) == Rc4Model("secret", plain));
  EXPECT_TRUE(Content(from) == plain);
}

TEST(CryptCommandTest, AFileMayTakeItsOwnPlace) {
  const TempFolder folder;
  const std::string plain = RandomBytes(200'000);
  const std::string path = folder.File("file", plain);
  ASSERT_EQ(chmod(path.c_str(), 0640), 0);
  EXPECT_EQ(
      Crypt({"encrypt", "-rc4", "secret", "-file", path, "-out", path}).status,
      0);
  EXPECT_TRUE(Content(path) == Rc4Model("secret", plain));
  struct stat facts = {};
  ASSERT_EQ(stat(path.c_str(), &facts), 0);
  EXPECT_EQ(facts.st_mode & 07777U, 0640U);
}

TEST(CryptCommandTest, ALinkIsFollowed) {
  const TempFolder folder;
  const std::string path = folder.File("file", "old");
  const std::string link = folder.path() + "/link";
  ASSERT_EQ(symlink("file", link.c_str()), 0);
  EXPECT_EQ(RunProgram({.arguments = {"crypt", "encrypt", "-rc4", "k", "-stdin",
                                      "-out", link},
                        .input = "new"})
                .status,
            0);
  EXPECT_EQ(Content(path), Rc4Model("k", "new"));
  struct stat facts = {};
  ASSERT_EQ(lstat(link.c_str(), &facts), 0);
  EXPECT_TRUE(S_ISLNK(facts.st_mode));
}

// It would grow for ever, which the limit of the shell would end.
TEST(CryptCommandTest, StandardOutputMayNotBeWhatIsRead) {
  const TempFolder folder;
  const std::string path = folder.File("file", "plain");
  const std::string command =
      "ulimit -f 100; " + std::string(FAIRLEAD_PROGRAM) +
      " crypt encrypt -rc4 k -file '" + path + "' >> '" + path + "'";
  const Outcome outcome =
      RunProgram({.arguments = {"-c", command}, .program = "/bin/sh"});
  EXPECT_EQ(outcome.status, 23);
  EXPECT_THAT(outcome.error, HasSubstr("standard output is the file that is "
                                       "read"));
  EXPECT_EQ(Content(path), "plain");
}

TEST(CryptCommandTest, WhatCannotBeReadIsTold) {
  const TempFolder folder;
  ExpectRefused({"encrypt", "-rc4", "k", "-file", folder.path() + "/none"}, 26,
                "No such file or directory");
  ExpectRefused({"encrypt", "-rc4", "k", "-file", folder.path()}, 26,
                "Is a directory");
  const Outcome closed =
      RunProgram({.arguments = {"crypt", "encrypt", "-rc4", "k", "-stdin"},
                  .closed = {STDIN_FILENO}});
  EXPECT_EQ(closed.status, 26);
}

TEST(CryptCommandTest, WhatCannotBeWrittenIsTold) {
  const TempFolder folder;
  const Words encrypt = {"encrypt", "-rc4", "k", "-stdin"};
  ExpectRefused(encrypt + Words{"-out", folder.path() + "/none/x"}, 23,
                "No such file or directory");
  ExpectRefused(encrypt + Words{"-out", folder.path()}, 23,
                "it is no regular file");
  ExpectRefused(encrypt + Words{"-out", "/dev/null"}, 23,
                "it is no regular file");
  const std::string path = folder.File("file", "old");
  ASSERT_EQ(link(path.c_str(), (path + "2").c_str()), 0);
  ExpectRefused(encrypt + Words{"-out", path}, 23,
                "it has several names, and only one would be changed\n");
  EXPECT_EQ(Content(path), "old");
  const Outcome full = RunProgram({.arguments = Words{"crypt"} + encrypt,
                                   .input = "input",
                                   .output_path = "/dev/full"});
  EXPECT_EQ(full.status, 23);
  const Outcome broken = RunProgram({.arguments = Words{"crypt"} + encrypt,
                                     .input = "input",
                                     .output_is_broken = true});
  EXPECT_EQ(broken.status, 23);
}

std::string FilesIn(const TempFolder& folder) {
  return RunProgram({.arguments = {"-A", folder.path()}, .program = "ls"})
      .output;
}

TEST(CryptCommandTest, AFailureLeavesNoFileBehind) {
  const TempFolder folder;
  const std::string out = folder.path() + "/out";
  ExpectRefused({"decrypt", "-aes", "0123456789abcdef", "-stdin", "-out", out},
                3, "has 5 bytes");
  EXPECT_EQ(FilesIn(folder), "");
}

// A file that root's group may not read must not become one that it may.
TEST(CryptCommandTest, TheAccessControlListStays) {
  const TempFolder folder;
  const std::string path = folder.File("f", "0123456789abcdef");
  ASSERT_EQ(chmod(path.c_str(), 0600), 0);
  // user::rw- user:65534:r-- group::--- mask::r-- other::---
  const std::string list(
      "\2\0\0\0\1\0\6\0\377\377\377\377\2\0\4\0\376\377\0\0\4\0\0\0"
      "\377\377\377\377\20\0\4\0\377\377\377\377\40\0\0\0\377\377\377\377",
      44);
  constexpr char kName[] = "system.posix_acl_access";
  if (setxattr(path.c_str(), kName, list.data(), list.size(), 0) != 0)
    GTEST_SKIP() << "no access control lists in " << folder.path();
  EXPECT_EQ(Crypt({"encrypt", "-rc4", "k", "-file", path, "-out", path}).status,
            0);
  EXPECT_NE(Content(path), "0123456789abcdef");
  std::string after(100, '\0');
  const ssize_t size =
      getxattr(path.c_str(), kName, after.data(), after.size());
  ASSERT_EQ(size, 44);
  EXPECT_EQ(after.substr(0, 44), list);
}

TEST(CryptCommandTest, TheKeyIsNotOverwritten) {
  const TempFolder folder;
  const std::string key = folder.path() + "/key";
  std::ofstream(key) << "secret";
  ExpectRefused(
      {"encrypt", "-cipher", "rc4", "-keyfile", key, "-stdin", "-out", key}, 2,
      "-out and -keyfile name the same file");
  EXPECT_EQ(Content(key), "secret");
}

TEST(CryptCommandTest, StandardInputIsNotBothKeyAndBytes) {
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

// Whether the process has a file in the folder open that is not the old one:
// by name, or without one as the kernel shows it.
bool HasNewFile(pid_t process, const TempFolder& folder) {
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(
           "/proc/" + std::to_string(process) + "/fd", error)) {
    const std::string file =
        std::filesystem::read_symlink(entry.path(), error).string();
    if (file.starts_with(folder.path() + "/#") ||
        file.starts_with(folder.path() + "/.fairlead."))
      return true;
  }
  return false;
}

TEST(CryptCommandTest, ASignalLeavesTheOldFileAlone) {
  const TempFolder folder;
  const std::string out = folder.File("out", "old");
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    Process process(
        {.arguments = {"crypt", "encrypt", "-rc4", "k", "-stdin", "-out", out},
         .input = RandomBytes(200'000),
         .input_stays_open = true});
    while (!HasNewFile(process.pid(), folder)) {
    }
    kill(process.pid(), signal);
    EXPECT_EQ(process.Wait().signal, signal);
    EXPECT_EQ(FilesIn(folder), "out\n");
    EXPECT_EQ(Content(out), "old");
  }
}

TEST(CryptCommandTest, ALargeFileDrawsABar) {
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

}  // namespace
}  // namespace fairlead::tool
