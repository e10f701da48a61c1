// The command `crypt` as a process: the files that it reads and writes.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <string>
#include <system_error>

#include "tool/crypt/crypt_testing.h"
#include "tool/io/read_file.h"
#include "tool/testing.h"

namespace fairlead::tool::crypt_file_test {
namespace {

using namespace crypt_testing;
using testing::HasSubstr;

TEST(CryptFileTest, FilesAreReadAndWritten) {
  const TempFolder folder;
  const std::string plain = RandomBytes(200'000);
  const std::string from = folder.File("plain", plain);
  const std::string to = folder.path() + "/cipher";
  const Outcome outcome =
      Crypt({"encrypt", "-rc4", "secret", "-file", from, "-out", to});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.output, "");
  EXPECT_EQ(outcome.error, "");
  EXPECT_TRUE(ReadFile(to) == Rc4Model("secret", plain));
  EXPECT_TRUE(ReadFile(from) == plain);
}

TEST(CryptFileTest, AFileMayReplaceItself) {
  const TempFolder folder;
  const std::string plain = RandomBytes(200'000);
  const std::string path = folder.File("file", plain);
  ASSERT_EQ(chmod(path.c_str(), 0640), 0);
  EXPECT_EQ(
      Crypt({"encrypt", "-rc4", "secret", "-file", path, "-out", path}).status,
      0);
  EXPECT_TRUE(ReadFile(path) == Rc4Model("secret", plain));
  struct stat status = {};
  ASSERT_EQ(stat(path.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777U, 0640U);
}

TEST(CryptFileTest, ALinkIsFollowed) {
  const TempFolder folder;
  const std::string path = folder.File("file", "old");
  const std::string link = folder.path() + "/link";
  ASSERT_EQ(symlink("file", link.c_str()), 0);
  EXPECT_EQ(RunProgram({.arguments = {"crypt", "encrypt", "-rc4", "k", "-stdin",
                                      "-out", link},
                        .input = "new"})
                .status,
            0);
  EXPECT_EQ(ReadFile(path), Rc4Model("k", "new"));
  struct stat status = {};
  ASSERT_EQ(lstat(link.c_str(), &status), 0);
  EXPECT_TRUE(S_ISLNK(status.st_mode));
}

// The file would grow without end; the limit of the shell would stop it.
TEST(CryptFileTest, StandardOutputMayNotBeTheInput) {
  const TempFolder folder;
  const std::string path = folder.File("file", "plain");
  const std::string command = "ulimit -f 100; " + std::string(Program()) +
                              " crypt encrypt -rc4 k -file '" + path +
                              "' >> '" + path + "'";
  const Outcome outcome =
      RunProgram({.arguments = {"-c", command}, .program = "/bin/sh"});
  EXPECT_EQ(outcome.status, 23);
  EXPECT_THAT(outcome.error, HasSubstr("standard output is also the input"));
  EXPECT_EQ(ReadFile(path), "plain");
}

TEST(CryptFileTest, ReportsAFailedRead) {
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

TEST(CryptFileTest, ReportsAFailedWrite) {
  const TempFolder folder;
  const Words encrypt = {"encrypt", "-rc4", "k", "-stdin"};
  ExpectRefused(encrypt + Words{"-out", folder.path() + "/none/x"}, 23,
                "No such file or directory");
  ExpectRefused(encrypt + Words{"-out", folder.path()}, 23,
                "it is not a regular file");
  ExpectRefused(encrypt + Words{"-out", "/dev/null"}, 23,
                "it is not a regular file");
  const std::string path = folder.File("file", "old");
  ASSERT_EQ(link(path.c_str(), (path + "2").c_str()), 0);
  ExpectRefused(encrypt + Words{"-out", path}, 23,
                "it has several hard links, and only one would be changed\n");
  EXPECT_EQ(ReadFile(path), "old");
  const Outcome full = RunProgram({.arguments = Words{"crypt"} + encrypt,
                                   .input = "input",
                                   .output_path = "/dev/full"});
  EXPECT_EQ(full.status, 23);
  const Outcome broken = RunProgram({.arguments = Words{"crypt"} + encrypt,
                                     .input = "input",
                                     .output_is_broken = true});
  EXPECT_EQ(broken.status, 141);
  EXPECT_EQ(broken.error, "");
}

std::string FilesIn(const TempFolder& folder) {
  return RunProgram({.arguments = {"-A", folder.path()}, .program = "ls"})
      .output;
}

TEST(CryptFileTest, AFailureLeavesNoFileBehind) {
  const TempFolder folder;
  const std::string out = folder.path() + "/out";
  ExpectRefused({"decrypt", "-aes", "0123456789abcdef", "-stdin", "-out", out},
                3, "has 5 bytes");
  EXPECT_EQ(FilesIn(folder), "");
}

// Copying the mode alone would grant the list's mask to the group.
TEST(CryptFileTest, TheAccessControlListIsKept) {
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
  EXPECT_NE(ReadFile(path), "0123456789abcdef");
  std::string after(100, '\0');
  const ssize_t size =
      getxattr(path.c_str(), kName, after.data(), after.size());
  ASSERT_EQ(size, 44);
  EXPECT_EQ(after.substr(0, 44), list);
}

// Returns whether the process has a new file in the folder open, unnamed (as
// /proc shows it) or hidden.
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

TEST(CryptFileTest, ASignalLeavesTheOldFileUnchanged) {
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
    EXPECT_EQ(ReadFile(out), "old");
  }
}

}  // namespace
}  // namespace fairlead::tool::crypt_file_test
