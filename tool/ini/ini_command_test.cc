// The command `ini` as a process: the subcommands that edit, and all statuses.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "tool/base/concat.h"
#include "tool/base/descriptor.h"
#include "tool/command/command.h"
#include "tool/command/command_table.h"
#include "tool/ini/ini_testing.h"

namespace fairlead::tool::ini_command_test {
namespace {

using testing::EndsWith;
using testing::HasSubstr;

TEST_F(IniCommandTest, SetChangesOneLine) {
  Write(kBox);
  EXPECT_EQ(
      Answer({"set", "-section", "server", "-key", "port", "-value", " -80 "}),
      "");
  std::string expected = kBox;
  expected.replace(expected.find("7001"), 4, "-80");
  EXPECT_EQ(Text(), expected);
}

TEST_F(IniCommandTest, SetAddsALineBelowADisabledOne) {
  Write("[server]\n; host = example.org\nport = 7000\n");
  Answer({"set", "-section", "server", "-key", "host", "-value", "a=b"});
  EXPECT_EQ(Text(),
            "[server]\n; host = example.org\nhost = a=b\nport = 7000\n");
}

TEST_F(IniCommandTest, SetCreatesFileSectionAndKey) {
  const mode_t mask = umask(0022);
  Answer({"set", "-section", "s", "-key", " k ", "-value", ""});
  umask(mask);
  EXPECT_EQ(Text(), "[s]\nk=\n");
  struct stat status = {};
  ASSERT_EQ(stat(Path().c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777U, 0644U);
  Answer({"set", "-section", "s", "-key", "new", "-value", "1"});
  Answer({"set", "-section", "t", "-key", "k", "-value", "2"});
  EXPECT_EQ(Text(), "[s]\nk=\nnew=1\n[t]\nk=2\n");
}

TEST_F(IniCommandTest, SetReadsManyValues) {
  Write("[a]\nx=1\n");
  Answer({"set", "-stdin"}, "a\tx\t2\nb\ty\tone\ttwo\r\n\tz\t\na\tw\t-3");
  EXPECT_EQ(Text(), "z=\n[a]\nx=2\nw=-3\n[b]\ny=one\ttwo\n");
  Answer({"set", "-stdin"}, "");
}

TEST_F(IniCommandTest, OneBadLineOfManyChangesNothing) {
  Write("[a]\nx=1\n");
  struct Case {
    const char* input;
    const char* error;
  };
  for (const Case& c : {
           Case{"a\tx\t2\njunk\n",
                "standard input:2: expected section TAB key TAB value"},
           {"a\tx\n", "standard input:1: expected section TAB key TAB value"},
           {"a\tx\t2\n\na\tx\t3\n",
            "standard input:2: expected section TAB key TAB value"},
           {"a\t \t2\n", "standard input:1: a key cannot be empty"},
           {"a\tx=y\t2\n", "standard input:1: a key cannot contain '='"},
           {"a]\tx\t2\n",
            "standard input:1: a section name cannot contain ']'"},
       })
    EXPECT_EQ(Refusal(3, {"set", "-stdin"}, c.input),
              Concat("fairlead ini: ", c.error, "\n"));
}

TEST_F(IniCommandTest, Add) {
  Answer({"add", "-section", "s"});
  EXPECT_EQ(Text(), "[s]\n");
  Answer({"add", "-section", "s", "-key", "k", "-value", "v"});
  Answer({"add", "-section", "t", "-key", "k", "-value", "v"});
  EXPECT_EQ(Text(), "[s]\nk=v\n[t]\nk=v\n");
  EXPECT_EQ(Refusal(1, {"add", "-section", "s"}),
            "fairlead ini: section 's' already exists\n");
  EXPECT_EQ(Refusal(1, {"add", "-section", "s", "-key", "k", "-value", "w"}),
            "fairlead ini: key 'k' in section 's' already exists\n");
  Refusal(2, {"add", "-section", "s", "-key", "k"});
  Refusal(2, {"add", "-section", "s", "-value", "k"});
}

TEST_F(IniCommandTest, Delete) {
  Write(kBox);
  Answer({"delete", "-section", "server", "-key", "port"});
  EXPECT_THAT(Text(), HasSubstr("[server]\n;host"));
  Write("k0=first\n\n# where it listens\n[server]\nport = 7000\n\n[b]\nx=1\n");
  Answer({"delete", "-section", "server"});
  EXPECT_EQ(Text(), "k0=first\n\n[b]\nx=1\n");
  Answer({"delete", "-section", ""});
  EXPECT_EQ(Text(), "[b]\nx=1\n");
  EXPECT_EQ(Refusal(1, {"delete", "-section", "server"}),
            "fairlead ini: there is no section 'server'\n");
  EXPECT_EQ(Refusal(1, {"delete", "-section", "server", "-key", "port"}),
            "fairlead ini: there is no section 'server'\n");
  EXPECT_EQ(Refusal(1, {"delete", "-section", "b", "-key", "host"}),
            "fairlead ini: there is no key 'host' in section 'b'\n");
  Refusal(2, {"delete", "-section", "b", "-key", " "});
}

TEST_F(IniCommandTest, EnableAndDisable) {
  Write("[a]\nx=1\n;y=2\n# a note on z=3\n");
  Answer({"disable", "-section", "a", "-key", "x"});
  EXPECT_EQ(Text(), "[a]\n#x=1\n;y=2\n# a note on z=3\n");
  Answer({"enable", "-section", "a", "-key", "x"});
  Answer({"disable", "-section", "a", "-char", ";"});
  EXPECT_EQ(Text(), ";[a]\n;x=1\n;;y=2\n# a note on z=3\n");
  EXPECT_EQ(Refusal(1, {"get", "-section", "a", "-key", "x"}),
            "fairlead ini: key 'x' in section 'a' is disabled\n");
  EXPECT_EQ(
      Refusal(1, {"enable", "-section", "a", "-key", "x"}),
      "fairlead ini: the key is in section 'a', which is disabled: enable "
      "the section\n");
  Answer({"enable", "-section", "a"});
  EXPECT_EQ(Text(), "[a]\nx=1\n;y=2\n# a note on z=3\n");
  Answer({"enable", "-section", "a", "-key", "y"});
  EXPECT_EQ(Text(), "[a]\nx=1\ny=2\n# a note on z=3\n");
  for (const auto& [word, line] : {std::pair{"hash", "#x=1\n"},
                                   {"semicolon", ";x=1\n"},
                                   {"#", "#x=1\n"},
                                   {";", ";x=1\n"}}) {
    Write("[a]\nx=1\n");
    Answer({"disable", "-section", "a", "-key", "x", "-char", word});
    EXPECT_THAT(Text(), HasSubstr(line));
  }
  for (const char* const word : {"%", "", "##", "Hash"})
    EXPECT_THAT(Refusal(2, {"disable", "-section", "a", "-char", word}),
                HasSubstr("is not valid; choose #, ;, hash or semicolon"));
  for (const char* const word : {"enable", "disable"}) {
    Refusal(1, {word, "-section", "b"});
    Refusal(1, {word, "-section", "a", "-key", "z"});
  }
}

TEST_F(IniCommandTest, Comment) {
  Write("[a]\nx=1\n");
  Answer({"comment", "-section", "a", "-text", "one\n\n  ;two\n"});
  EXPECT_EQ(Text(), "# one\n#\n;two\n[a]\nx=1\n");
  Answer({"comment", "-section", "a", "-key", "x", "-text", "x"});
  EXPECT_EQ(Text(), "# one\n#\n;two\n[a]\n# x\nx=1\n");
  Answer({"comment", "-section", "a", "-text", "on or off: see [1], a b=c"});
  EXPECT_EQ(Text(), "# on or off: see [1], a b=c\n[a]\n# x\nx=1\n");
  Answer({"comment", "-section", "a", "-text", ""});
  EXPECT_EQ(Text(), "[a]\n# x\nx=1\n");
  // A lone comment character must not become that of the key.
  Answer({"comment", "-section", "a", "-key", "x", "-text", "#"});
  EXPECT_EQ(Text(), "[a]\n#\nx=1\n");
  EXPECT_THAT(Answer({"list", "-format", "json"}), HasSubstr("\"x\""));
  for (const char* const text : {"fine\na=b", "[b]", "# [b]"})
    EXPECT_THAT(Refusal(2, {"comment", "-section", "a", "-text", text}),
                HasSubstr("cannot look like a disabled key or header"));
  EXPECT_THAT(
      Refusal(2, {"comment", "-records", "-section", "a", "-text", "see a=b"}),
      HasSubstr("cannot contain '[' or '='"));
  Refusal(1, {"comment", "-section", "b", "-text", "x"});
  Refusal(1, {"comment", "-section", "a", "-key", "y", "-text", "x"});
  Write("k=v\n");
  EXPECT_THAT(Refusal(1, {"comment", "-section", "", "-text", "x"}),
              HasSubstr("have no header"));
}

TEST_F(IniCommandTest, Rename) {
  Write("# note\n[a]\nx = 1\ny=2\n[b]\n");
  Answer({"rename", "-section", "a", "-key", "x", "-to", " z "});
  EXPECT_EQ(Text(), "# note\n[a]\nz = 1\ny=2\n[b]\n");
  Answer({"rename", "-section", "a", "-to", " c "});
  EXPECT_EQ(Text(), "# note\n[ c ]\nz = 1\ny=2\n[b]\n");
  EXPECT_EQ(Refusal(1, {"rename", "-section", "b", "-to", " c "}),
            "fairlead ini: section ' c ' already exists\n");
  EXPECT_EQ(Refusal(1, {"rename", "-section", " c ", "-key", "y", "-to", "z"}),
            "fairlead ini: key 'z' in section ' c ' already exists\n");
  Refusal(1, {"rename", "-section", "a", "-to", "d"});
  Refusal(1, {"rename", "-section", "b", "-key", "y", "-to", "d"});
  Refusal(2, {"rename", "-section", "b", "-to", "d]"});
  Refusal(2, {"rename", "-section", " c ", "-key", "y", "-to", "#d"});
  Write("k=v\n");
  EXPECT_THAT(Refusal(1, {"rename", "-section", "", "-to", "d"}),
              HasSubstr("have no header"));
}

TEST_F(IniCommandTest, Create) {
  EXPECT_EQ(Answer({"create", "-dryrun"}), "");
  EXPECT_NE(access(Path().c_str(), F_OK), 0);
  Answer({"create"});
  EXPECT_EQ(Text(), "");
  EXPECT_THAT(Refusal(1, {"create"}), EndsWith("already exists\n"));
  Write("[a]\n");
  Refusal(1, {"create"});
}

TEST_F(IniCommandTest, RefusesWhatTheFileCannotKeep) {
  Write("[a]\nx=1\n");
  const auto set = [this](const char* section, const char* key,
                          const char* value) {
    return Refusal(2,
                   {"set", "-section", section, "-key", key, "-value", value});
  };
  EXPECT_THAT(set("a", "x", "1\n2"),
              HasSubstr("a value cannot contain a newline"));
  EXPECT_THAT(set("a]", "x", ""), HasSubstr("name cannot contain ']'"));
  EXPECT_THAT(set("a\nb", "x", ""), HasSubstr("name cannot contain a newline"));
  EXPECT_THAT(set("a", "x=y", ""), HasSubstr("a key cannot contain '='"));
  EXPECT_THAT(set("a", "x\ny", ""),
              HasSubstr("a key cannot contain a newline"));
  for (const char* const key : {"[x", "#x", " ;x"})
    EXPECT_THAT(set("a", key, ""), HasSubstr("a key cannot begin with"));
  EXPECT_THAT(set("a", " ", ""), HasSubstr("-key K must not be blank"));
}

TEST_F(IniCommandTest, ChecksTheParametersOfEverySubcommand) {
  Write("[a]\nx=1\n");
  const auto usage = [this](const Words& words) { return Refusal(2, words); };
  EXPECT_THAT(usage({"get", "-section", "a"}),
              HasSubstr("missing -key K; see 'fairlead help ini get'"));
  EXPECT_THAT(usage({"get", "-section", "a", "-key", "x", "-value", "1"}),
              HasSubstr("-value does not go with 'ini get'"));
  EXPECT_THAT(usage({"set", "-section", "a", "-key", "x"}),
              HasSubstr("-section needs -value V"));
  EXPECT_THAT(usage({"set", "-stdin", "-key", "x"}),
              HasSubstr("-key and -stdin cannot be combined"));
  EXPECT_THAT(usage({"list", "-dryrun"}), HasSubstr("-dryrun does not go"));
  EXPECT_THAT(usage({"create", "-inplace"}), HasSubstr("-inplace does not go"));
  EXPECT_THAT(usage({"lst"}), HasSubstr("did you mean 'list'?"));
  EXPECT_THAT(usage({"set", "-section", "a", "-key", "x", "-value", "-3"}),
              HasSubstr("a value cannot begin with '-'; write a space "
                        "before it"));
  EXPECT_THAT(Fairlead({"ini"}).error, HasSubstr("missing subcommand"));
  EXPECT_THAT(Fairlead({"ini", "list"}).error, HasSubstr("missing -file FILE"));
  EXPECT_EQ(Fairlead({"ini", "list"}).status, 2);
}

const std::vector<Words> kEdits = {
    {"set", "-section", "a", "-key", "x", "-value", "2"},
    {"add", "-section", "b"},
    {"delete", "-section", "a", "-key", "x"},
    {"enable", "-section", "a", "-key", "y"},
    {"disable", "-section", "a"},
    {"comment", "-section", "a", "-text", "note"},
    {"rename", "-section", "a", "-to", "c"},
};

TEST_F(IniCommandTest, ADryRunPrintsTheDiffAndWritesNothing) {
  for (const Words& edit : kEdits) {
    SCOPED_TRACE(edit.at(0));
    Write("[a]\nx = 1\n#y=2");
    const std::string shown = Answer(edit + Words{"-dryrun"});
    EXPECT_EQ(Text(), "[a]\nx = 1\n#y=2");
    EXPECT_THAT(shown, testing::StartsWith(Concat("--- ", Path(), "\n+++ ",
                                                  Path(), "\n@@ -1,3 +1,")));
    Answer(edit);
    EXPECT_EQ(Answer(edit.at(0) == "set" || edit.at(0) == "enable" ||
                             edit.at(0) == "disable" || edit.at(0) == "comment"
                         ? edit + Words{"-dryrun"}
                         : Words{"sections", "-format", "nul"})
                  .find("---"),
              std::string::npos);
  }
  Write("[a]\nx=1\n");
  EXPECT_EQ(Answer(kEdits[0] + Words{"-dryrun"}),
            Concat("--- ", Path(), "\n+++ ", Path(),
                   "\n@@ -1,2 +1,2 @@\n [a]\n-x=1\n+x=2\n"));
  Refusal(1, {"delete", "-section", "z", "-dryrun"});
}

TEST_F(IniCommandTest, AFileThatIsMissingWouldChange) {
  const Words set = {"-section", "s", "-key", "k", "-value", "v", "-check"};
  EXPECT_EQ(Refusal(1, Words{"set"} + set), "");
  const Outcome relative =
      RunProgram({.arguments = Words{"-C", folder_.path(), Program(), "ini",
                                     "set", "-file", "box.ini"} +
                               set,
                  .program = "env"});
  EXPECT_EQ(relative.error, "");
  EXPECT_EQ(relative.status, 1);
  EXPECT_EQ(access(Path().c_str(), F_OK), -1);
  for (const Words& words : {Words{"normalize"}, Words{"normalize", "-check"}})
    EXPECT_EQ(Refusal(26, words), Concat("fairlead ini: cannot open '", Path(),
                                         "': No such file or directory\n"));
}

TEST_F(IniCommandTest, ACheckTellsWhetherNormalizingChangesAnything) {
  Write("[a]\nx=1\n");
  Answer({"normalize", "-check"});
  for (const char* const text : {"[a]\nx = 1\n", "[a]\nx=1\n\n", "[a]\nx=1"}) {
    SCOPED_TRACE(text);
    Write(text);
    EXPECT_EQ(Refusal(1, {"normalize", "-check"}), "");
  }
}

TEST_F(IniCommandTest, AnEmptyListIsOneInEachFormat) {
  Write("");
  EXPECT_EQ(Answer({"sections"}), "");
  EXPECT_EQ(Answer({"sections", "-format", "json"}), "[]\n");
}

TEST_F(IniCommandTest, ANameInBracketsGetsAHint) {
  Write("[a]\n");
  const Words name = {"-key", "k", "-section"};
  EXPECT_THAT(Refusal(1, Words{"get"} + name + Words{"[a]"}),
              EndsWith("; write the name without its brackets\n"));
  EXPECT_THAT(Refusal(1, Words{"get"} + name + Words{"[a"}),
              testing::Not(HasSubstr("brackets")));
}

TEST_F(IniCommandTest, InPlaceKeepsTheFileItself) {
  for (const Words& edit : kEdits) {
    Write("[a]\nx=1\n#y=2\n");
    const std::string second = folder_.path() + "/second";
    std::filesystem::create_hard_link(Path(), second);
    EXPECT_THAT(Refusal(23, edit), HasSubstr("-inplace"));
    Answer(edit + Words{"-inplace"});
    EXPECT_EQ(ReadFile(second), Text());
    EXPECT_NE(Text(), "[a]\nx=1\n#y=2\n");
    std::filesystem::remove(second);
  }
}

TEST_F(IniCommandTest, ReportsFailedReadsAndWrites) {
  EXPECT_EQ(Fairlead({"ini", "list", "-file", folder_.path()}).status, 26);
  EXPECT_EQ(
      Fairlead({"ini", "create", "-file", folder_.path() + "/no/f"}).status,
      23);
  EXPECT_EQ(
      Fairlead({"ini", "add", "-file", folder_.path(), "-section", "a"}).status,
      23);
  Write("[a]\n");
  EXPECT_EQ(
      RunProgram({.arguments = Line({"sections"}), .output_path = "/dev/full"})
          .status,
      23);
  EXPECT_EQ(
      RunProgram({.arguments = Line({"sections"}), .output_is_broken = true})
          .status,
      141);
}

TEST_F(IniCommandTest, ManyProcessesLoseNoSetting) {
  constexpr int kProcesses = 6;
  constexpr int kSettings = 10;
  std::vector<std::unique_ptr<Process>> shells;
  for (int i = 0; i < kProcesses; ++i) {
    const std::string section = Concat("s", i % 3);
    shells.push_back(std::make_unique<Process>(Launch{
        .arguments = {"-c",
                      "n=0; while [ $n -lt " + std::to_string(kSettings) +
                          " ]; do \"$0\" ini set -file \"$1\" -section \"$2\" "
                          "-key \"$3.$n\" -value \"$n\" || exit 1; "
                          "n=$((n + 1)); done",
                      Program(), Path(), section, Concat("k", i)},
        .program = "/bin/sh"}));
  }
  for (const auto& shell : shells) {
    const Outcome outcome = shell->Wait();
    // On a busy machine, an edit reports that it waits for another one.
    EXPECT_EQ(outcome.status, 0) << outcome.error;
  }
  const std::string listed = Answer({"list"});
  for (int i = 0; i < kProcesses; ++i)
    for (int n = 0; n < kSettings; ++n)
      EXPECT_THAT(listed, HasSubstr(Concat("s", i % 3, "\tk", i, ".", n, "\t",
                                           n, "\n")));
  EXPECT_EQ(std::ranges::count(listed, '\n'), kProcesses * kSettings);
}

// With too few descriptors, a subcommand prints the right result or an error.
TEST_F(IniCommandTest, FewDescriptorsGiveNoWrongResult) {
  if (IsSanitized()) GTEST_SKIP() << "sanitizers need descriptors too";
  struct Case {
    Words words;
    const char* output;
  };
  const std::vector<Case> cases = {
      {{"list"}, "a\tx\t1\n"},
      {{"sections"}, "a\n"},
      {{"keys", "-section", "a"}, "x\n"},
      {{"show"}, "[a]\nx=1\n"},
      {{"has", "-section", "a", "-key", "x"}, ""},
      {{"get", "-section", "a", "-key", "x", "-default", "NONE"}, "1\n"},
      {{"set", "-section", "a", "-key", "x", "-value", "1"}, ""},
      {{"delete", "-section", "a", "-key", "x"}, ""},
  };
  int refusals = 0;
  for (const Case& c : cases)
    for (int limit = 4; limit < 12; ++limit) {
      SCOPED_TRACE(Concat(c.words.at(0), " ulimit -n ", limit));
      Write("[a]\nx=1\n");
      const Outcome outcome = RunProgram(
          {.arguments =
               Words{"-c", Concat("ulimit -n ", limit, "; exec \"$0\" \"$@\""),
                     Program()} +
               Line(c.words),
           .program = "/bin/sh"});
      if (outcome.status == 0) {
        EXPECT_EQ(outcome.output, c.output);
        continue;
      }
      ++refusals;
      EXPECT_THAT(outcome.status, testing::AnyOf(23, 26));
      EXPECT_EQ(outcome.output, "");
      EXPECT_THAT(outcome.error, HasSubstr("Too many open files"));
      EXPECT_EQ(Text(), "[a]\nx=1\n");
    }
  EXPECT_GE(refusals, 8);
}

// Runs all of them in order, in one folder.
TEST_F(IniCommandTest, ItsExamplesRun) {
  std::string script =
      "cd \"$1\" || exit 1\nfairlead() { \"$program\" \"$@\"; }\n"
      "program=$0\nset -e\n";
  for (const Example& example : FindCommand("ini")->examples)
    script.append(example.line).append("\n");
  const Outcome outcome =
      RunProgram({.arguments = {"-c", script, Program(), folder_.path()},
                  .program = "/bin/sh"});
  EXPECT_EQ(outcome.error, "");
  EXPECT_EQ(outcome.status, 0);
  EXPECT_THAT(outcome.output, testing::StartsWith("7000\n"));
  EXPECT_EQ(ReadFile(Path()), "[server]\nport=7000\n");
}

}  // namespace
}  // namespace fairlead::tool::ini_command_test
