// The subcommands of `ini` on a file with a header without `]`.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "tool/base/concat.h"
#include "tool/ini/ini_testing.h"

namespace fairlead::tool::ini_unclosed_test {
namespace {

using testing::HasSubstr;

// Has the unclosed header in line 4.
constexpr char kBroken[] = "[a]\nx=1\n#y=2\n[open \nx = 5\n\n# c\n[b]\nz=3\n";

class IniUnclosedTest : public IniCommandTest {
 protected:
  std::string Warning(int line = 4) const {
    return Concat("fairlead ini: warning: ", Path(), ":", line,
                  ": a header without ']'; the keys below it belong to no "
                  "section\n");
  }
  std::string Error(std::string_view what, int line = 4) const {
    return Concat("fairlead ini: ", Path(), ":", line, ": ", what,
                  "; the file was not changed\n");
  }

  // Runs the command, which must succeed with the warning. Returns its output.
  std::string Warned(const Words& words, const std::string& input = "") const {
    const Outcome outcome = Run(words, input);
    EXPECT_EQ(outcome.error, Warning());
    EXPECT_EQ(outcome.status, 0);
    return outcome.output;
  }

  // Checks that the edit changes a part of the file, and this only.
  void ExpectEdit(const Words& edit, const std::string& old,
                  const std::string& changed,
                  const std::string& input = "") const {
    std::string expected = kBroken;
    expected.replace(expected.find(old), old.size(), changed);
    Write(kBroken);
    const Outcome check = Run(edit + Words{"-check"}, input);
    EXPECT_EQ(check.status, 1);
    EXPECT_EQ(check.error, Warning());
    EXPECT_THAT(Warned(edit + Words{"-dryrun"}, input), HasSubstr("@@ -"));
    EXPECT_EQ(Text(), kBroken);
    EXPECT_EQ(Warned(edit, input), "");
    EXPECT_EQ(Text(), expected);
    Write(kBroken);
    EXPECT_EQ(Warned(edit + Words{"-inplace"}, input), "");
    EXPECT_EQ(Text(), expected);
  }
};

TEST_F(IniUnclosedTest, ReadsWhatIsElsewhere) {
  Write(kBroken);
  EXPECT_EQ(Warned({"get", "-section", "a", "-key", "x"}), "1\n");
  EXPECT_EQ(Warned({"get", "-section", "b", "-key", "z"}), "3\n");
  EXPECT_EQ(Warned({"has", "-section", "b", "-key", "z"}), "");
  EXPECT_EQ(Warned({"has", "-section", "b"}), "");
  EXPECT_EQ(Warned({"list"}), "a\tx\t1\nb\tz\t3\n");
  EXPECT_EQ(Warned({"list", "-format", "assign"}), "a_x='1'\nb_z='3'\n");
  EXPECT_EQ(Warned({"keys", "-section", "a"}), "x\n");
  EXPECT_EQ(Warned({"sections"}), "a\nb\n");
  EXPECT_EQ(Warned({"show"}), kBroken);
  EXPECT_EQ(Warned({"show", "-section", "b"}), "# c\n[b]\nz=3\n");
}

TEST_F(IniUnclosedTest, FindsNothingBelowTheHeader) {
  Write("[a]\n[open\nx=5\n");
  EXPECT_EQ(
      Refusal(1, {"get", "-section", "a", "-key", "x"}),
      Concat(Warning(2), "fairlead ini: there is no key 'x' in section 'a'\n"));
  EXPECT_EQ(Refusal(1, {"get", "-section", "open", "-key", "x"}),
            Concat(Warning(2), "fairlead ini: there is no section 'open'\n"));
  EXPECT_EQ(Refusal(1, {"has", "-section", "a", "-key", "x"}), Warning(2));
  EXPECT_EQ(Run({"get", "-section", "a", "-key", "x", "-default", "7"}).output,
            "7\n");
}

TEST_F(IniUnclosedTest, EditsWhatIsElsewhere) {
  ExpectEdit({"set", "-section", "a", "-key", "x", "-value", "2"}, "x=1",
             "x=2");
  ExpectEdit({"set", "-section", "a", "-key", "n", "-value", "2"}, "#y=2\n",
             "#y=2\nn=2\n");
  ExpectEdit({"set", "-section", "c", "-key", "n", "-value", "2"}, "z=3\n",
             "z=3\n\n[c]\nn=2\n");
  ExpectEdit({"set", "-stdin"}, "z=3", "z=4", "b\tz\t4\n");
  ExpectEdit({"add", "-section", "b", "-key", "n", "-value", "4"}, "z=3\n",
             "z=3\nn=4\n");
  ExpectEdit({"delete", "-section", "a", "-key", "x"}, "x=1\n", "");
  ExpectEdit({"delete", "-section", "b"}, "# c\n[b]\nz=3\n", "");
  ExpectEdit({"enable", "-section", "a", "-key", "y"}, "#y", "y");
  ExpectEdit({"disable", "-section", "a"}, "[a]\nx=1\n#y", "#[a]\n#x=1\n##y");
  ExpectEdit({"rename", "-section", "a", "-to", "d"}, "[a]", "[d]");
  ExpectEdit({"comment", "-section", "b", "-text", "new"}, "# c", "# new");
  ExpectEdit({"apply", "-stdin"}, "x=1", "x=8", "set a x 8\n");
}

TEST_F(IniUnclosedTest, RefusesEditsOfTheHeader) {
  Write(kBroken);
  const std::string expected = Warning() + Error("a header without ']'");
  for (const Words& edit :
       {Words{"set", "-key", "x", "-value", "2"}, Words{"add"},
        Words{"add", "-key", "n", "-value", "2"}, Words{"delete"},
        Words{"delete", "-key", "x"}, Words{"enable"}, Words{"disable"},
        Words{"rename", "-to", "b2"}, Words{"comment", "-text", "x"}})
    for (const Words& way : {Words{}, Words{"-inplace"}, Words{"-dryrun"},
                             Words{"-check"}, Words{"-backup", "~"}}) {
      SCOPED_TRACE(OneLine(edit.at(0)));
      EXPECT_EQ(Refusal(3, edit + Words{"-section", "open"} + way), expected);
    }
  EXPECT_EQ(Refusal(3, {"set", "-stdin"}, "a\tx\t2\nopen\tx\t2\n"), expected);
  EXPECT_EQ(Refusal(3, {"apply", "-stdin"}, "set a x 8\nset open x 8\n"),
            Concat(Warning(), "fairlead ini: standard input:2: ", Path(),
                   ":4: a header without ']'; the file was not changed\n"));
}

TEST_F(IniUnclosedTest, RefusesTheValueThatTheHeaderMayContinue) {
  Write("[a]\nx =\n  [1,\n  2]\n[b]\ny=1\n");
  const std::string expected =
      Warning(3) +
      Error("a value above may continue on this header without ']'", 3);
  for (const Words& edit :
       {Words{"set", "-value", "2"}, Words{"delete"}, Words{"disable"}})
    EXPECT_EQ(Refusal(3, edit + Words{"-section", "a", "-key", "x"}), expected);
  EXPECT_EQ(Refusal(3, {"delete", "-section", "a"}), expected);
  const Outcome set = Run({"set", "-section", "b", "-key", "y", "-value", "2"});
  EXPECT_EQ(set.error, Warning(3));
  EXPECT_EQ(Text(), "[a]\nx =\n  [1,\n  2]\n[b]\ny=2\n");
}

TEST_F(IniUnclosedTest, ComparesAndMergesWhatIsElsewhere) {
  Write(kBroken);
  const std::string other =
      folder_.File("other", "[a]\nx=1\n[b]\nz=4\n[open]\nx=5\n");
  EXPECT_EQ(Run({"diff", "-with", other}).output,
            "-\tb\tz\t3\n+\tb\tz\t4\n+\topen\tx\t5\n");
  EXPECT_EQ(Run({"diff", "-with", other}).error, Warning());
  EXPECT_EQ(Refusal(3, {"merge", "-from", other}),
            Warning() + Error("a header without ']'"));
  const std::string closed = folder_.File("closed", "[b]\nz=4\n");
  EXPECT_EQ(Warned({"merge", "-from", closed}), "");
  EXPECT_THAT(Text(), HasSubstr("[open \nx = 5\n\n# c\n[b]\nz=4\n"));
  const Outcome from =
      Fairlead({"ini", "merge", "-file", closed, "-from", Path()});
  EXPECT_EQ(from.error, Warning());
  EXPECT_EQ(ReadFile(closed), "[b]\nz=4\n[a]\nx=1\n");
}

// A file that would lose the line is left alone, and one that CIniFile cannot
// read.
TEST_F(IniUnclosedTest, OtherReadingsRefuseTheFile) {
  Write(kBroken);
  const std::string expected =
      Concat("fairlead ini: ", Path(), ":4: a header without ']'\n");
  EXPECT_EQ(Refusal(3, {"normalize"}), expected);
  EXPECT_EQ(Refusal(3, {"normalize", "-check"}), expected);
  EXPECT_EQ(Refusal(3, {"normalize", "-dryrun"}), expected);
  const Words place = {"-section", "a", "-key", "x"};
  for (const Words& words :
       {Words{"get"} + place, Words{"has"} + place, Words{"list"},
        Words{"sections"}, Words{"keys", "-section", "a"}, Words{"show"},
        Words{"set", "-value", "2"} + place, Words{"delete"} + place,
        Words{"add", "-section", "n"}, Words{"enable"} + place,
        Words{"disable"} + place, Words{"rename", "-to", "n"} + place,
        Words{"comment", "-text", "n"} + place, Words{"diff", "-with", Path()},
        Words{"merge", "-from", Path()}, Words{"set", "-stdin"}})
    EXPECT_EQ(Refusal(3, words + Words{"-records"}), expected);
  EXPECT_THAT(Refusal(1, {"create"}), HasSubstr("already exists"));
}

// One disabled by a comment character counts for CIniFile only.
TEST_F(IniUnclosedTest, ADisabledOneIsAComment) {
  Write("[a]\n#[open\nx=1\n");
  EXPECT_EQ(Answer({"list"}), "a\tx\t1\n");
  EXPECT_EQ(Refusal(3, {"list", "-records"}),
            Concat("fairlead ini: ", Path(), ":2: a header without ']'\n"));
}

TEST_F(IniUnclosedTest, WarnsOfTheFirstOnly) {
  Write("[a\n[b\n[c]\nx=1\n");
  EXPECT_EQ(Run({"get", "-section", "c", "-key", "x"}).error, Warning(1));
}

}  // namespace
}  // namespace fairlead::tool::ini_unclosed_test
