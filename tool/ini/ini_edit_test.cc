// The edits of the command `ini` in detail: places, duplicates, layout, -check.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <utility>

#include "tool/base/concat.h"
#include "tool/ini/ini_testing.h"

namespace fairlead::tool::ini_edit_test {
namespace {

using testing::EndsWith;
using testing::HasSubstr;

using IniEditTest = IniCommandTest;

TEST_F(IniEditTest, AnIndexChoosesAmongDuplicates) {
  const char kTwins[] = "[a]\nk=1\nk=2\nk=3\n";
  const Words place = {"-section", "a", "-key", "k", "-index", "2"};
  struct Case {
    Words words;
    const char* text;
  };
  for (const Case& c : {
           Case{{"set", "-value", "9"}, "[a]\nk=1\nk=9\nk=3\n"},
           {{"delete"}, "[a]\nk=1\nk=3\n"},
           {{"disable"}, "[a]\nk=1\n#k=2\nk=3\n"},
           {{"rename", "-to", "j"}, "[a]\nk=1\nj=2\nk=3\n"},
           {{"comment", "-text", "x"}, "[a]\nk=1\n# x\nk=2\nk=3\n"},
       }) {
    Write(kTwins);
    Answer(c.words + place);
    EXPECT_EQ(Text(), c.text);
  }
  Write(kTwins);
  EXPECT_EQ(Answer(Words{"get"} + place), "2\n");
  EXPECT_EQ(Answer({"get", "-section", "a", "-key", "k"}), "3\n");
  EXPECT_EQ(
      Refusal(1, {"get", "-section", "a", "-key", "k", "-index", "4"}),
      "fairlead ini: there is no key 'k' in section 'a' with the index 4\n");
  EXPECT_EQ(
      Refusal(1, {"set", "-section", "a", "-key", "k", "-index", "4", "-value",
                  "x"}),
      "fairlead ini: there is no key 'k' in section 'a' with the index 4\n");
  EXPECT_THAT(Refusal(2, {"get", "-section", "a", "-key", "k", "-index", "0"}),
              HasSubstr("-index: 0 is out of range"));
  Answer({"set", "-section", "a", "-key", "k", "-value", "9"});
  EXPECT_EQ(Text(), "[a]\nk=1\nk=2\nk=9\n");
  Answer({"delete", "-section", "a", "-key", "k"});
  EXPECT_EQ(Text(), "[a]\n");
}

TEST_F(IniEditTest, AddHasAPlace) {
  Write("[a]\nx=1\n# on y\ny=2\n\n[b]\nz=3\n");
  Answer({"add", "-section", "a", "-key", "k", "-value", "v", "-before", "y"});
  Answer({"add", "-section", "a", "-key", "l", "-value", "w", "-after", "x"});
  EXPECT_EQ(Text(), "[a]\nx=1\nl=w\nk=v\n# on y\ny=2\n\n[b]\nz=3\n");
  Answer({"add", "-section", "c", "-before", "b"});
  EXPECT_THAT(Text(), EndsWith("y=2\n\n[c]\n\n[b]\nz=3\n"));
  EXPECT_EQ(Refusal(1, {"add", "-section", "d", "-after", "e"}),
            "fairlead ini: there is no section 'e'\n");
  EXPECT_EQ(Refusal(1, {"add", "-section", "a", "-key", "m", "-value", "1",
                        "-after", "n"}),
            "fairlead ini: there is no key 'n' in section 'a'\n");
}

TEST_F(IniEditTest, CheckTellsWhetherTheEditWouldChangeTheFile) {
  const char kFile[] = "[a]\nx = 1\n#y=2\n";
  Write(kFile);
  struct Case {
    Words words;
    int status;
  };
  for (const Case& c : {
           Case{{"set", "-key", "x", "-value", "1"}, 0},
           {{"set", "-key", "x", "-value", "2"}, 1},
           {{"set", "-key", "n", "-value", "2"}, 1},
           {{"delete", "-key", "x"}, 1},
           {{"delete", "-key", "n"}, 0},
           {{"enable", "-key", "x"}, 0},
           {{"enable", "-key", "y"}, 1},
           {{"disable", "-key", "y"}, 0},
           {{"disable"}, 1},
           {{"comment", "-text", ""}, 0},
           {{"comment", "-text", "c"}, 1},
           {{"rename", "-to", "a"}, 0},
           {{"rename", "-to", "b"}, 1},
       }) {
    const Outcome outcome = Run(c.words + Words{"-section", "a", "-check"});
    EXPECT_EQ(outcome.status, c.status) << c.words.at(0);
    EXPECT_EQ(outcome.output, "");
    EXPECT_EQ(outcome.error, "");
    EXPECT_EQ(Text(), kFile);
  }
  const Outcome both = Run({"set", "-section", "a", "-key", "x", "-value", "2",
                            "-check", "-dryrun"});
  EXPECT_EQ(both.status, 1);
  EXPECT_THAT(both.output, HasSubstr("-x = 1\n+x = 2\n"));
}

// The file is not written, nor an older backup replaced by a copy of the file.
TEST_F(IniEditTest, EditsThatUndoEachOtherChangeNothing) {
  Write("[s]\nk=1\n\nj=2\n");
  const std::string backup = folder_.File("box.ini~", "older");
  struct stat before = {};
  ASSERT_EQ(stat(Path().c_str(), &before), 0);
  struct Case {
    Words words;
    const char* input;
  };
  for (const Case& c :
       {Case{{"apply", "-stdin"}, "set s k 2\nset s k 1\n"},
        {{"set", "-stdin"}, "s\tk\t2\ns\tk\t1\n"},
        {{"apply", "-stdin"}, "disable s k\nenable s k\n"},
        {{"apply", "-stdin"}, "disable s\nenable s\n"},
        {{"apply", "-stdin"}, "rename s k n\nrename s n k\n"},
        {{"apply", "-stdin"}, "add s n 1\ndelete s n\n"},
        {{"apply", "-stdin", "-records"}, "set s j 3\nset s j 2\n"}}) {
    SCOPED_TRACE(c.input);
    EXPECT_EQ(Answer(c.words + Words{"-check"}, c.input), "");
    EXPECT_EQ(Answer(c.words + Words{"-check", "-dryrun"}, c.input), "");
    Answer(c.words + Words{"-backup", "~"}, c.input);
    EXPECT_EQ(ReadFile(backup), "older");
    struct stat after = {};
    ASSERT_EQ(stat(Path().c_str(), &after), 0);
    EXPECT_EQ(after.st_ino, before.st_ino);
  }
  EXPECT_EQ(Text(), "[s]\nk=1\n\nj=2\n");
  // A line more or less is a change.
  EXPECT_EQ(Run({"apply", "-stdin", "-check"}, "add s n 1\n").status, 1);
  EXPECT_EQ(Run({"apply", "-stdin", "-check"}, "delete s j\n").status, 1);
}

TEST_F(IniEditTest, ABackupKeepsTheOldFile) {
  Write("[a]\nx=1\n");
  const std::string backup = Path() + ".bak";
  const Words set = {"set", "-section", "a",    "-key",
                     "x",   "-backup",  ".bak", "-value"};
  Answer(set + Words{"1"});
  EXPECT_NE(access(backup.c_str(), F_OK), 0);
  EXPECT_THAT(Answer(set + Words{"2", "-dryrun"}), HasSubstr("+x=2"));
  EXPECT_NE(access(backup.c_str(), F_OK), 0);
  Answer(set + Words{"2"});
  EXPECT_EQ(Text(), "[a]\nx=2\n");
  EXPECT_EQ(ReadFile(backup), "[a]\nx=1\n");
  Answer(set + Words{"3", "-inplace"});
  EXPECT_EQ(Text(), "[a]\nx=3\n");
  EXPECT_EQ(ReadFile(backup), "[a]\nx=2\n");
  EXPECT_EQ(Refusal(2, {"delete", "-section", "a", "-backup", "/x"}),
            "fairlead ini: -backup: '/x' contains a '/'\n");
}

// As an edit leaves it that was killed while it made the backup.
TEST_F(IniEditTest, TheBackupOfAKilledEditBlocksNoOther) {
  Write("[a]\nx=1\n");
  const std::string backup = Path() + "~";
  std::filesystem::create_hard_link(Path(), backup);
  const Words set = {"set", "-section", "a", "-key", "x", "-value"};
  const Outcome refused = Run(set + Words{"2"});
  EXPECT_EQ(refused.status, 23);
  EXPECT_THAT(refused.error, testing::HasSubstr("several hard links"));
  const std::string hidden = folder_.File(".fairlead.1.0", "[a]");
  EXPECT_EQ(Run(set + Words{"2"}).status, 23);
  std::filesystem::remove(hidden);
  std::filesystem::create_hard_link(Path(), hidden);
  Answer(set + Words{"2"});
  EXPECT_EQ(ReadFile(Path()), "[a]\nx=2\n");
  EXPECT_EQ(ReadFile(backup), "[a]\nx=1\n");
}

// What only shows an edit fails if the edit would.
TEST_F(IniEditTest, APreviewNeedsTheFolderToo) {
  const std::string file = folder_.path() + "/none/box.ini";
  const std::string link = folder_.path() + "/link.ini";
  std::filesystem::create_symlink("none/box.ini", link);
  const Words set = {"ini", "set", "-section", "a", "-key", "x", "-value", "1"};
  for (const std::string& path : {file, link})
    for (const Words& words :
         {set, set + Words{"-check"}, set + Words{"-dryrun"},
          Words{"ini", "create"}, Words{"ini", "create", "-check"},
          Words{"ini", "create", "-dryrun"}}) {
      SCOPED_TRACE(OneLine(words.back() + " " + path));
      const Outcome outcome = Fairlead(words + Words{"-file", path});
      EXPECT_EQ(outcome.status, 23);
      EXPECT_EQ(outcome.output, "");
      EXPECT_EQ(outcome.error, Concat("fairlead ini: cannot write '", file,
                                      "': No such file or directory\n"));
    }
}

// As git and systemd continue a value: the next line need not be indented.
TEST_F(IniEditTest, AValueThatEndsWithABackslashContinues) {
  Write("[alias]\n\tlg = log \\\n--graph --all\n\tst = status\n");
  for (const Words& edit :
       {Words{"set", "-value", "log"}, Words{"delete"}, Words{"disable"}})
    EXPECT_EQ(Refusal(3, edit + Words{"-section", "alias", "-key", "lg"}),
              Concat("fairlead ini: ", Path(),
                     ":3: the value continues on this line; the file was not "
                     "changed\n"));
  Answer({"set", "-section", "alias", "-key", "st", "-value", "status -s"});
  EXPECT_EQ(Text(),
            "[alias]\n\tlg = log \\\n--graph --all\n\tst = status -s\n");
}

TEST_F(IniEditTest, ANewKeyHasTheStyleOfItsSection) {
  Write("[a]\n    k=1\n[b]\nj = 2\n");
  Answer({"set", "-records", "-section", "b", "-key", "z", "-value", "3"});
  EXPECT_EQ(Text(), "[a]\n    k=1\n[b]\nz = 3\nj = 2\n");
}

TEST_F(IniEditTest, CreateChecks) {
  EXPECT_EQ(Run({"create", "-check"}).status, 1);
  EXPECT_NE(access(Path().c_str(), F_OK), 0);
  Write("");
  EXPECT_EQ(Run({"create", "-check"}).status, 0);
}

TEST_F(IniEditTest, AnEmptyNewNameIsRefused) {
  Write("[a]\n");
  EXPECT_THAT(Refusal(2, {"rename", "-section", "a", "-to", ""}),
              HasSubstr("-to"));
}

TEST_F(IniEditTest, NormalizeWritesOneLayout) {
  Write(kBox);
  Answer({"normalize"});
  EXPECT_EQ(Text(),
            "k0=first\n# where it listens\n[server]\nport=7000\n"
            ";host=example.org\n;[backup]\nport=7001\n# the end\n");
  Write("\xef\xbb\xbf[a]\r\nx = 1\r\n");
  Answer({"normalize"});
  EXPECT_EQ(Text(), "\xef\xbb\xbf[a]\nx=1\n");
  Write("[a]\nx=1");
  Answer({"normalize"});
  EXPECT_EQ(Text(), "[a]\nx=1\n");
  for (const auto& [text, why] :
       {std::pair{"[a]\njunk\n", ":2: neither comment, header nor key=value"},
        {"[a] note\n", ":1: text after the ']' of a header"},
        {"=v\n", ":1: a '=' without a key before it"},
        {"# see [1]\n", ":1: neither comment, header nor key=value"},
        {"x=1\n#[a\n", ":2: a header without ']'"}}) {
    Write(text);
    EXPECT_THAT(Refusal(3, {"normalize"}), HasSubstr(why));
  }
}

TEST_F(IniEditTest, OnlyAnEditInsideAMalformedLineIsRefused) {
  Write("[a]\nskip-locking\nx=1\n   more of x\n# Options: [on|off]\ny=2\n");
  Answer({"set", "-section", "a", "-key", "y", "-value", "3"});
  EXPECT_EQ(Text(),
            "[a]\nskip-locking\nx=1\n   more of x\n# Options: [on|off]\n"
            "y=3\n");
  const std::string expected = Concat(
      "fairlead ini: ", Path(),
      ":4: the value continues on this line; the file was not changed\n");
  EXPECT_EQ(Refusal(3, {"set", "-section", "a", "-key", "x", "-value", "2"}),
            expected);
  EXPECT_EQ(Refusal(3, {"delete", "-section", "a", "-key", "x"}), expected);
  EXPECT_THAT(Refusal(3, {"disable", "-section", "a"}), HasSubstr(":2: "));
}

TEST_F(IniEditTest, RefusesToDisableASectionThatHasADisabledTwin) {
  Write("[a]\nx=1\n# [a]\n");
  EXPECT_EQ(Refusal(1, {"disable", "-section", "a"}),
            "fairlead ini: line 3 is a disabled section 'a', which 'enable' "
            "would turn on as well\n");
}

// Opening the pipe, or reading the device, would never end.
TEST_F(IniEditTest, RefusesWhatIsNoRegularFile) {
  const std::string pipe = folder_.path() + "/pipe";
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  const Words set = {"ini", "set", "-section", "a", "-key", "x", "-value", "1"};
  for (const std::string& path : {pipe, std::string("/dev/zero")})
    for (const Words& words :
         {set, set + Words{"-inplace"}, set + Words{"-check"},
          set + Words{"-dryrun"}, Words{"ini", "create", "-dryrun"}}) {
      const Outcome outcome = Fairlead(words + Words{"-file", path});
      EXPECT_EQ(outcome.status, 23);
      EXPECT_EQ(outcome.error, Concat("fairlead ini: cannot write '", path,
                                      "': it is not a regular file\n"));
    }
}

TEST_F(IniEditTest, SuggestsASpaceForAKeyThatBeginsWithAMinus) {
  EXPECT_EQ(Refusal(2, {"delete", "-section", "a", "-key", "-x"}),
            "fairlead ini: -key: a value cannot begin with '-'; write a space "
            "before it\n");
  Write("[a]\n-x=1\n");
  Answer({"delete", "-section", "a", "-key", " -x"});
  EXPECT_EQ(Text(), "[a]\n");
}

}  // namespace
}  // namespace fairlead::tool::ini_edit_test
