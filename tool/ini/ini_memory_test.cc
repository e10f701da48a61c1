// The memory that the subcommands of `ini` need for a large file: twice its
// text.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <string>

#include "tool/ini/ini_testing.h"

namespace fairlead::tool {
namespace {

constexpr std::size_t kSections = 10'000;
constexpr std::size_t kKeys = 50;
constexpr std::size_t kProgram = 9'000'000;  // Without a file; and unused.

class IniMemoryTest : public IniCommandTest {
 protected:
  // Writes lines of some 40 bytes. The memory of this process counts too: that
  // of a program begins as a copy of it.
  static void WriteLargeFile(const std::string& path) {
    std::ofstream file(path);
    for (std::size_t i = 0; i < kSections; ++i) {
      file << "[section number " << i << "]\n";
      for (std::size_t j = 0; j < kKeys; ++j)
        file << "key" << i << '_' << j << " = a value of some thirty bytes\n";
    }
    ASSERT_TRUE(file.flush());
  }

  // Writes one section with lines of 30 bytes.
  static void WriteOneSection(const std::string& path) {
    std::ofstream file(path);
    file << "[s]\n";
    for (std::size_t i = 1'000'000; i < 2'000'000; ++i)
      file << "key" << i << " = a value, some text\n";
    ASSERT_TRUE(file.flush());
  }

  // Runs the command on the large file. Expects the memory of `texts` such
  // files. With -check, and in a diff, changes are the status 1.
  void ExpectMemory(const Words& words, std::size_t texts) const {
    const bool is_change =
        words[0] == "diff" || std::ranges::find(words, "-check") != words.end();
    SCOPED_TRACE(OneLine(words.at(0) + " " + words.back()));
    const std::size_t size = std::filesystem::file_size(Path());
    Launch launch = {.arguments = Line(words),
                     .output_path = folder_.File("out", "")};
    const Outcome outcome = RunProgram(launch);
    EXPECT_EQ(outcome.status, is_change ? 1 : 0) << outcome.error;
    EXPECT_LE(outcome.most_memory, texts * size + kProgram);
  }
};

TEST_F(IniMemoryTest, IsAtMostTwiceTheText) {
  if (IsSanitized()) GTEST_SKIP() << "sanitizers need memory too";
  WriteLargeFile(Path());
  const Words place = {"-section", "section number 7", "-key", "key7_3"};
  const Words other = {"-section", "section number 7", "-key", "key7_4"};
  const Words set = Words{"set", "-value", "new"} + place;
  for (const Words& words :
       {Words{"get"} + place, Words{"has"} + place, Words{"list"},
        Words{"list", "-records"}, Words{"list", "-format", "json"},
        Words{"list", "-format", "assign"}, Words{"sections"},
        Words{"show", "-format", "json"}, set + Words{"-check"},
        set + Words{"-dryrun"}, set + Words{"-inplace"},
        Words{"delete"} + place, Words{"disable"} + other,
        Words{"normalize", "-check"}, Words{"normalize", "-dryrun"},
        Words{"normalize", "-inplace"}})
    ExpectMemory(words, 2);
  WriteLargeFile(Path());
  ExpectMemory({"normalize"}, 2);
}

TEST_F(IniMemoryTest, IsAtMostTwiceTheTextIfEveryLineChanges) {
  if (IsSanitized()) GTEST_SKIP() << "sanitizers need memory too";
  WriteOneSection(Path());
  const Words place = {"-section", "s"};
  for (const Words& words : {Words{"disable"} + place, Words{"enable"} + place,
                             Words{"disable", "-records"} + place,
                             Words{"disable", "-char", ";", "-records"} + place,
                             Words{"enable", "-records"} + place,
                             Words{"disable", "-check"} + place})
    ExpectMemory(words, 2);
}

// Lines so short that a list of them, or of the keys that have the name, would
// be several times the text.
TEST_F(IniMemoryTest, IsAtMostTwiceTheTextIfAllLinesAreShort) {
  if (IsSanitized()) GTEST_SKIP() << "sanitizers need memory too";
  const std::string script =
      folder_.File("script", "set s k 5\nset s new 1\nadd t\ndelete s k\n");
  const Words place = {"-section", "s", "-key", "k"};
  for (const char* const line : {"k=1\n", "[s]\nk=1\n"}) {
    {
      std::ofstream file(Path());
      file << "[s]\nk=1\n";
      for (int i = 0; i < 2'000'000; ++i) file << line;
      ASSERT_TRUE(file.flush());
    }
    for (const Words& words :
         {Words{"get"} + place, Words{"get", "-records"} + place,
          Words{"get", "-index", "1500000"} + place, Words{"list"},
          Words{"set", "-value", "2"} + place,
          Words{"set", "-check", "-value", "3"} + place,
          Words{"delete", "-check"} + place,
          Words{"apply", "-script", script, "-check"}, Words{"delete"} + place})
      ExpectMemory(words, 2);
  }
}

TEST_F(IniMemoryTest, IsAtMostTwiceTheTextsOfTwoFiles) {
  if (IsSanitized()) GTEST_SKIP() << "sanitizers need memory too";
  WriteLargeFile(Path());
  const std::string other = folder_.path() + "/other";
  WriteLargeFile(other);
  std::ofstream(other, std::ios::app) << "[new]\nk=1\n";
  for (const Words& words : {Words{"diff", "-with", other},
                             Words{"diff", "-format", "script", "-with", other},
                             Words{"merge", "-dryrun", "-from", other},
                             Words{"merge", "-from", other}})
    ExpectMemory(words, 4);
}

}  // namespace
}  // namespace fairlead::tool
