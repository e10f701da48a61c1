// The subcommands `apply`, `diff` and `merge` of `ini`.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <iterator>
#include <random>
#include <string>

#include "tool/base/concat.h"
#include "tool/ini/ini_testing.h"

namespace fairlead::tool::ini_apply_test {
namespace {

using testing::HasSubstr;

class IniApplyTest : public IniCommandTest {
 protected:
  // Writes another file and returns its path.
  std::string Other(std::string_view text) const {
    folder_.File("other.ini", text);
    return folder_.path() + "/other.ini";
  }
};

constexpr char kFile[] = "; a file\n[a]\n  x = 1\ny=2\n\n[b]\nz = 3\n#off=4\n";

TEST_F(IniApplyTest, MakesAllEdits) {
  Write(kFile);
  Answer({"apply", "-stdin"},
         "# a comment\n"
         "; another\n"
         "\n"
         "set a x 'one two'\n"
         "\tset\ta\tn\t\"say \\\"it's\\\"\"\r\n"
         "set '' top \"\"\n"
         "add c\n"
         "add c k v\n"
         "delete a y\n"
         "enable b off\n"
         "comment b z 'on z'\"\\nmore\"\n"
         "disable b z\n"
         "rename b off on\n"
         "rename b bb");
  EXPECT_EQ(Text(),
            "top =\n; a file\n[a]\n  x = one two\nn=say \"it's\"\n\n[bb]\n"
            "# on z\n# more\n#z = 3\non=4\n\n[c]\nk=v\n");
}

TEST_F(IniApplyTest, OneBadLineChangesNothing) {
  Write(kFile);
  struct Case {
    int status;
    const char* line;
    const char* error;
  };
  for (const Case& c : {
           Case{3, "sett a x 1",
                "'sett' is no edit; expected set, add, delete, enable, "
                "disable, comment, rename"},
           {3, "set a x", "expected set SECTION KEY VALUE"},
           {3, "set a x 1 2", "expected set SECTION KEY VALUE"},
           {3, "add a k", "expected add SECTION [KEY VALUE]"},
           {3, "delete", "expected delete SECTION [KEY]"},
           {3, "comment a", "expected comment SECTION [KEY] TEXT"},
           {3, "rename a b c d", "expected rename SECTION [KEY] NEW"},
           {3, "set a x 'open", "a quote is not closed"},
           {3, "set a x \"open\\\"", "a quote is not closed"},
           {3, "set a x=y 1", "a key cannot contain '='"},
           {1, "delete q", "there is no section 'q'"},
           {1, "delete a q", "there is no key 'q' in section 'a'"},
           {1, "delete b off", "key 'off' in section 'b' is disabled"},
           {1, "add a", "section 'a' already exists"},
           {1, "rename a x y", "key 'y' in section 'a' already exists"},
       })
    EXPECT_EQ(Refusal(c.status, {"apply", "-stdin"},
                      Concat("set a x 9\n", c.line, "\nset a x 8\n")),
              Concat("fairlead ini: standard input:2: ", c.error, "\n"));
}

TEST_F(IniApplyTest, ReadsAScriptFromAFile) {
  Write(kFile);
  const std::string script = Other("set a x 5\n");
  Answer({"apply", "-script", script, "-dryrun"});
  EXPECT_EQ(Text(), kFile);
  EXPECT_EQ(Run({"apply", "-script", script, "-check"}).status, 1);
  Answer({"apply", "-script", script});
  EXPECT_THAT(Text(), HasSubstr("  x = 5\n"));
  Answer({"apply", "-script", script, "-check"});
  EXPECT_THAT(Refusal(26, {"apply", "-script", script + ".none"}),
              HasSubstr("No such file"));
  EXPECT_THAT(Refusal(2, {"apply"}), HasSubstr("-script"));
  Other("\nset a\n");
  EXPECT_EQ(
      Refusal(3, {"apply", "-script", script}),
      Concat("fairlead ini: ", script, ":2: expected set SECTION KEY VALUE\n"));
}

TEST_F(IniApplyTest, SkipsAByteOrderMarkOfTheScript) {
  Write("[a]\nx=1\n");
  const std::string script = "\xef\xbb\xbfset a x 2\n";
  Answer({"apply", "-script", Other(script)});
  EXPECT_EQ(Text(), "[a]\nx=2\n");
  Answer({"apply", "-stdin"}, "\xef\xbb\xbfset a x 3\n");
  EXPECT_EQ(Text(), "[a]\nx=3\n");
}

TEST_F(IniApplyTest, DiffComparesKeysAndValues) {
  Write(kFile);
  const std::string other =
      Other("[b]\nz=3\noff=5\n[a]\ny = 7\n[new]\nk=it's new\n");
  const Outcome text = Run({"diff", "-with", other});
  EXPECT_EQ(text.status, 1);
  EXPECT_EQ(text.output,
            "-\ta\tx\t1\n-\ta\ty\t2\n+\ta\ty\t7\n"
            "+\tb\toff\t5\n+\tnew\tk\tit's new\n");
  const Outcome script = Run({"diff", "-with", other, "-format", "script"});
  EXPECT_EQ(script.status, 1);
  EXPECT_EQ(script.output,
            "delete a x\nset a y 7\nset b off 5\nset new k \"it's new\"\n");
  Answer({"apply", "-stdin"}, script.output);
  EXPECT_EQ(Answer({"diff", "-with", other}), "");
  EXPECT_THAT(Refusal(26, {"diff", "-with", other + ".none"}),
              HasSubstr("No such file"));
}

TEST_F(IniApplyTest, TheLayoutOfAContinuedValueDoesNotMatter) {
  Write("[a]\ndeps =\n    x\n# c\n    y");
  for (const char* const text :
       {"[a]\r\ndeps=\r\n\tx\r\n  y  \r\n", "[a]\ndeps =\n  x\n;c\n  y\n"}) {
    const std::string other = Other(text);
    Answer({"diff", "-with", other});
    Answer({"diff", "-with", other, "-format", "script"});
    Answer({"merge", "-from", other, "-check"});
  }
  const std::string other = Other("[a]\ndeps =\n  x\n\n  y\n");
  EXPECT_EQ(Run({"diff", "-with", other}).status, 1);
}

TEST_F(IniApplyTest, DiffAndMergeSeeContinuedValues) {
  Write("[a]\ndeps =\n    x\nk=1\n");
  const std::string other = Other("[a]\ndeps =\n    y\nk=1\n");
  const Outcome diff = Run({"diff", "-with", other});
  EXPECT_EQ(diff.status, 1);
  EXPECT_EQ(diff.output, "-\ta\tdeps\t ...\n+\ta\tdeps\t ...\n");
  EXPECT_EQ(Refusal(3, {"diff", "-with", other, "-format", "script"}),
            Concat("fairlead ini: ", Path(),
                   ":2: the value continues below this line, so no edit can "
                   "set it\n"));
  EXPECT_EQ(Refusal(3, {"merge", "-from", other}),
            Concat("fairlead ini: ", other,
                   ":2: the value continues below this line, so no edit can "
                   "set it\n"));
  Other("[a]\ndeps =\n    x\nk=2\n");
  Answer({"merge", "-from", other});
  EXPECT_EQ(Text(), "[a]\ndeps =\n    x\nk=2\n");
  Other("[a]\ndeps =\n");
  EXPECT_EQ(
      Refusal(3, {"merge", "-from", other}),
      Concat(
          "fairlead ini: ", Path(),
          ":3: the value continues on this line; the file was not changed\n"));
  Other("##x=1\n");
  EXPECT_EQ(Refusal(3, {"merge", "-records", "-from", other}),
            Concat("fairlead ini: ", other,
                   ":1: a key cannot begin with '[', '#' or ';'\n"));
}

TEST_F(IniApplyTest, NoScriptSetsAValueThatContinuesInTheOtherFile) {
  Write("[a]\ndeps = x\n");
  const std::string other = Other("[a]\n\ndeps = x\n    y\n");
  EXPECT_EQ(Refusal(3, {"diff", "-with", other, "-format", "script"}),
            Concat("fairlead ini: ", other,
                   ":3: the value continues below this line, so no edit can "
                   "set it\n"));
}

// Of duplicates, the store finds the first one.
TEST_F(IniApplyTest, AScriptOfTheStoresReadingDeletesEveryDuplicate) {
  Write("[a]\nk=1\n#k=2\nx=1\n");
  const std::string other = Other("[a]\nx=1\n");
  const Outcome script =
      Run({"diff", "-records", "-with", other, "-format", "script"});
  EXPECT_EQ(script.output, "delete a k\ndelete a k\n");
  Answer({"apply", "-records", "-stdin"}, script.output);
  EXPECT_EQ(Answer({"diff", "-records", "-with", other}), "");
}

// Such records exist, but no edit makes them.
TEST_F(IniApplyTest, AScriptThatCannotBeAppliedIsNotPrinted) {
  Write("[a]\nk=1\n");
  const std::string other = Other("[a]\n##k=1\n");
  const Words with = {"-records", "-with", other};
  EXPECT_EQ(Run(Words{"diff"} + with).output, "-\ta\tk\t1\n+\ta\t#k\t1\n");
  const std::string reason = "a key cannot begin with '[', '#' or ';'\n";
  EXPECT_EQ(Refusal(3, Words{"diff", "-format", "script"} + with),
            Concat("fairlead ini: ", other,
                   ":2: no script can set this key: ", reason));
  EXPECT_EQ(Refusal(3, {"merge", "-records", "-from", other}),
            Concat("fairlead ini: ", other, ":2: ", reason));
}

constexpr const char* kLines[] = {"[a]",       "[b]",
                                  "#[a]",      ";[b]",
                                  "k=1",       "k=2",
                                  "  j = 3",   "j=",
                                  "#k=4",      "; j = 5",
                                  "##k=6",     "junk",
                                  "=v",        "a b=1",
                                  "# a b = 2", "#=v",
                                  "  out",     "k=x\\",
                                  "",          "# c",
                                  "[ c]",      "\xef\xbb\xbfk=7"};

TEST_F(IniApplyTest, AScriptLeavesNoDifference) {
  constexpr unsigned kSeed = 20'822;
  std::printf("seed %u\n", kSeed);
  std::mt19937 engine(kSeed);
  const auto text = [&engine] {
    std::string lines;
    for (std::size_t count = engine() % 8; count > 0; --count)
      lines += std::string(kLines[engine() % std::size(kLines)]) + '\n';
    return lines;
  };
  int applied = 0;
  int refused = 0;
  for (int i = 0; i < 80; ++i) {
    const Words reading = i % 2 == 0 ? Words{} : Words{"-records"};
    const std::string old_text = text();
    const std::string new_text = text();
    SCOPED_TRACE(testing::PrintToString(old_text) + " to " +
                 testing::PrintToString(new_text));
    Write(old_text);
    const Words diff = Words{"diff", "-with", Other(new_text)} + reading;
    const Outcome script = Run(diff + Words{"-format", "script"});
    if (script.status == 3) ++refused;
    if (script.status != 1) continue;
    ++applied;
    EXPECT_EQ(Answer(Words{"apply", "-stdin"} + reading, script.output), "");
    EXPECT_EQ(Answer(diff), "");
  }
  EXPECT_GT(applied, 20);
  EXPECT_GT(refused, 2);
}

TEST_F(IniApplyTest, MergeSetsTheKeysOfTheOtherFile) {
  Write(kFile);
  const std::string other = Other("[a]\nx=1\ny=5\n#n=6\n[c]\nk=1\nk=2\n");
  EXPECT_EQ(Run({"merge", "-from", other, "-check"}).status, 1);
  Answer({"merge", "-from", other});
  EXPECT_EQ(Text(),
            "; a file\n[a]\n  x = 1\ny=5\n\n[b]\nz = 3\n#off=4\n\n"
            "[c]\nk=2\n");
  Answer({"merge", "-from", other, "-check"});
}

}  // namespace
}  // namespace fairlead::tool::ini_apply_test
