// The command `ini` as a process: the subcommands that read, and all formats.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

#include "tool/base/concat.h"
#include "tool/ini/ini_testing.h"

namespace fairlead::tool::ini_show_test {
namespace {

using testing::EndsWith;
using testing::HasSubstr;

using IniShowTest = IniCommandTest;

TEST_F(IniShowTest, Get) {
  Write(kBox);
  EXPECT_EQ(Answer({"get", "-section", "server", "-key", "port"}), "7001\n");
  EXPECT_EQ(Answer({"get", "-section", "server", "-key", " port "}), "7001\n");
  EXPECT_EQ(Answer({"get", "-section", "", "-key", "k0"}), "first\n");
  EXPECT_EQ(Refusal(1, {"get", "-section", "server", "-key", "Port"}),
            "fairlead ini: there is no key 'Port' in section 'server'\n");
  EXPECT_EQ(Refusal(1, {"get", "-section", "Server", "-key", "port"}),
            "fairlead ini: there is no section 'Server'\n");
  EXPECT_EQ(Refusal(1, {"get", "-section", "[server]", "-key", "port"}),
            "fairlead ini: there is no section '[server]'; write the name "
            "without its brackets\n");
  EXPECT_EQ(Answer({"get", "-section", "server", "-key", "x", "-default", ""}),
            "\n");
  EXPECT_EQ(Text(), kBox);
  Write("[a]\nk=\n");
  EXPECT_EQ(Answer({"get", "-section", "a", "-key", "k", "-default", "d"}),
            "\n");
}

TEST_F(IniShowTest, ADisabledKeyIsNotFound) {
  Write("[a]\n#k=5\nk=1\n;off = 2\n# prose with off=3\n#[b]\n#x=1\n");
  EXPECT_EQ(Answer({"get", "-section", "a", "-key", "k"}), "1\n");
  const Words off = {"get", "-section", "a", "-key", "off"};
  EXPECT_EQ(Refusal(1, off),
            "fairlead ini: key 'off' in section 'a' is disabled\n");
  EXPECT_EQ(Refusal(1, {"has", "-section", "a", "-key", "off"}),
            "fairlead ini: key 'off' in section 'a' is disabled\n");
  EXPECT_EQ(Refusal(1, {"has", "-section", "b"}),
            "fairlead ini: section 'b' is disabled\n");
  EXPECT_EQ(Answer(off + Words{"-disabled"}), "2\n");
  EXPECT_EQ(Answer(off + Words{"-default", "d"}), "d\n");
  EXPECT_EQ(Answer({"has", "-section", "b", "-key", "x", "-disabled"}), "");
  EXPECT_EQ(Answer({"list"}), "a\tk\t1\n");
  EXPECT_EQ(Answer({"list", "-disabled"}),
            "a\tk\t5\na\tk\t1\na\toff\t2\nb\tx\t1\n");
  EXPECT_EQ(Answer({"sections"}), "a\n");
  EXPECT_EQ(Answer({"sections", "-disabled"}), "a\nb\n");
  EXPECT_EQ(Answer({"keys", "-section", "a"}), "k\n");
  EXPECT_EQ(Answer({"keys", "-section", "a", "-disabled"}), "k\nk\noff\n");
  Write("[a]\n#k=1\n#k=2\n");
  EXPECT_EQ(
      Answer({"get", "-section", "a", "-key", "k", "-disabled", "-index", "1"}),
      "1\n");
  Write("[a]\n#k=5\nk=1\n;off = 2\n# prose with off=3\n#[b]\n#x=1\n");
  // The store's reading.
  EXPECT_EQ(Answer({"get", "-records", "-section", "a", "-key", "k"}), "5\n");
  EXPECT_EQ(Answer({"list", "-records"}),
            "a\tk\t5\na\tk\t1\na\toff\t2\na\tprose with off\t3\n"
            "b\tx\t1\n");
}

TEST_F(IniShowTest, GetChecksTheType) {
  Write("[a]\ni = +07\nb = Yes\ns = 10 MiB\nt = 1.5\n");
  const auto get = [](const std::string& key, const std::string& type) {
    return Words{"get", "-section", "a", "-key", key, "-type", type};
  };
  EXPECT_EQ(Answer(get("i", "int")), "7\n");
  EXPECT_EQ(Answer(get("b", "bool")), "true\n");
  EXPECT_EQ(Answer(get("s", "size")), "10485760\n");
  EXPECT_EQ(Answer(get("s", "size") + Words{"-format", "json"}),
            "{\"value\":10485760,\"line\":4}\n");
  EXPECT_EQ(
      Answer(get("none", "size") + Words{"-default", "1k", "-format", "json"}),
      "{\"value\":1024,\"line\":null}\n");
  EXPECT_EQ(Answer(get("none", "size") + Words{"-default", "1k"}), "1024\n");
  EXPECT_EQ(
      Refusal(3, get("t", "int")),
      Concat("fairlead ini: ", Path(), ":5: '1.5' is not a whole number\n"));
  Write("[a]\ni=+-5\n");
  Refusal(3, get("i", "int"));
  EXPECT_EQ(Refusal(3, get("none", "int") + Words{"-default", "x"}),
            "fairlead ini: -default: 'x' is not a whole number\n");
}

TEST_F(IniShowTest, AByteOrderMarkIsSkippedAndKept) {
  Write("\xef\xbb\xbf[a]\r\nx = 1\r\n");
  EXPECT_EQ(Answer({"get", "-section", "a", "-key", "x"}), "1\n");
  Answer({"set", "-section", "a", "-key", "x", "-value", "2"});
  EXPECT_EQ(Text(), "\xef\xbb\xbf[a]\r\nx = 2\r\n");
}

TEST_F(IniShowTest, RefusesLineEndsOfCrAlone) {
  Write("[a]\rx=1\r");
  const std::string expected =
      Concat("fairlead ini: '", Path(), R"(' has CR line ends; convert it: )",
             R"(tr '\r' '\n' < ')", Path(), "' > NEW\n");
  EXPECT_EQ(Refusal(3, {"list"}), expected);
  EXPECT_EQ(Refusal(3, {"set", "-section", "a", "-key", "k", "-value", "1"}),
            expected);
  Write("x=1\r");
  EXPECT_EQ(Answer({"get", "-section", "", "-key", "x"}), "1\n");
}

TEST_F(IniShowTest, KeepsZeroBytesOfOtherText) {
  const std::string text = std::string("[a]\nk=x\0y\0z\nj=1\n", 16);
  Write(text);
  Answer({"set", "-section", "a", "-key", "j", "-value", "1"});
  EXPECT_EQ(Text(), text);
}

// Zero bytes that no wide encoding has: not at each newline, or at no newline
// and not in every character.
TEST_F(IniShowTest, AcceptsOtherTextWithZeroBytes) {
  using std::string_view_literals::operator""sv;
  for (const std::string_view text :
       {"[a]\0k=1\0"sv, "[a]\nk=1\n\0\0\0"sv, "[a]\nk=\0\nj=\0\n"sv,
        "\0=1\nab=2\n"sv, "ab=1\n\0bc=2\nde=3\nf=4\n\0"sv, "k=\0\0\0\0\0\0\0"sv,
        "k\0"sv, "\0\0\0\0"sv, "[\0\x3d\xd8]\0\n\0"sv,  // Half of a pair.
        "[\0\x00\xde]\0\n\0"sv, "[\0]\0\n\0\x3d\xd8"sv}) {
    SCOPED_TRACE(testing::PrintToString(text));
    Write(text);
    EXPECT_EQ(Run({"list"}).status, 0);
  }
}

TEST_F(IniShowTest, RefusesWideEncodings) {
  using std::string_view_literals::operator""sv;
  struct Case {
    std::string_view text;
    const char* encoding;
  };
  for (
      const Case& c : {
          Case{"\xff\xfe[\0a\0]\0\n\0"sv, "UTF-16"},
          {"\xfe\xff\0[\0a\0]\0\n"sv, "UTF-16"},
          {"[\0a\0]\0\n\0"sv, "UTF-16LE"},
          {"\0[\0a\0]\0\n"sv, "UTF-16BE"},
          {"\xff\xfe\0\0[\0\0\0"sv, "UTF-32"},
          {"\0\0\xfe\xff\0\0\0["sv, "UTF-32"},
          {"[\0\x3d\xd8\x00\xde]\0\n\0"sv, "UTF-16LE"},  // U+1F600
          {"[\0\xe4\0]\0\n\0k\0\xf6\0=\0\xac\x20\x31\0"sv, "UTF-16LE"},
          {"[\0\0\0a\0\0\0]\0\0\0"sv, "UTF-32LE"},
          {"\0\0\0[\0\0\0a\0\0\0]"sv, "UTF-32BE"},
          {"\x5b\x00\x34\x04\x3e\x04\x3c\x04\x5d\x00\x0a\x00\x0a\x04\x3d\x00\x34\x04\x30\x04\x0a\x00"sv,
           "UTF-16LE"},  // a Cyrillic text; U+040A has the byte of a newline
          {"\x00\x5b\x04\x34\x04\x3e\x04\x3c\x00\x5d\x00\x0a\x04\x0a\x00\x3d\x04\x34\x04\x30\x00\x0a"sv,
           "UTF-16BE"},
          {"\x5b\x00\x00\x00\x34\x04\x00\x00\x3e\x04\x00\x00\x3c\x04\x00\x00\x5d\x00\x00\x00\x0a\x00\x00\x00\x0a\x04\x00\x00\x3d\x00\x00\x00\x34\x04\x00\x00\x30\x04\x00\x00\x0a\x00\x00\x00"sv,
           "UTF-32LE"},
          {"\x00\x00\x00\x5b\x00\x00\x04\x34\x00\x00\x04\x3e\x00\x00\x04\x3c\x00\x00\x00\x5d\x00\x00\x00\x0a\x00\x00\x04\x0a\x00\x00\x00\x3d\x00\x00\x04\x34\x00\x00\x04\x30\x00\x00\x00\x0a"sv,
           "UTF-32BE"},
          {"\x5b\x00\x0a\x4e\x5d\x00\x0a\x00\x00\x4e\x3d\x00\x8c\x4e\x0a\x00"sv,
           "UTF-16LE"},  // a Chinese one; so has U+4E0A, and U+4E00 a zero byte
          {"\x00\x5b\x4e\x0a\x00\x5d\x00\x0a\x4e\x00\x00\x3d\x4e\x8c\x00\x0a"sv,
           "UTF-16BE"},
          {"\x5b\x00\x00\x00\x0a\x4e\x00\x00\x5d\x00\x00\x00\x0a\x00\x00\x00\x00\x4e\x00\x00\x3d\x00\x00\x00\x8c\x4e\x00\x00\x0a\x00\x00\x00"sv,
           "UTF-32LE"},
          {"\x00\x00\x00\x5b\x00\x00\x4e\x0a\x00\x00\x00\x5d\x00\x00\x00\x0a\x00\x00\x4e\x00\x00\x00\x00\x3d\x00\x00\x4e\x8c\x00\x00\x00\x0a"sv,
           "UTF-32BE"},
          {"\x5b\x00\x97\x0a\x5d\x00\x0a\x00\x95\x0a\x3d\x00\x96\x0a\x0a\x00"sv,
           "UTF-16LE"},  // U+0A97: the other byte
          {"\x00\x5b\x0a\x97\x00\x5d\x00\x0a\x0a\x95\x00\x3d\x0a\x96\x00\x0a"sv,
           "UTF-16BE"},
      }) {
    Write(c.text);
    const std::string expected =
        Concat("fairlead ini: '", Path(), "' is ", c.encoding,
               "; convert it: iconv -f ", c.encoding, " -t UTF-8 '", Path(),
               "' > NEW\n");
    EXPECT_EQ(Refusal(3, {"list"}), expected);
    EXPECT_EQ(Refusal(3, {"set", "-section", "a", "-key", "k", "-value", "1"}),
              expected);
    EXPECT_EQ(Refusal(3, {"normalize"}), expected);
  }
}

TEST_F(IniShowTest, GetHasAllFormats) {
  Write("[a]\nk = it's \"two\" words\n");
  const auto get = [this](const std::string& format) {
    return Answer({"get", "-section", "a", "-key", "k", "-format", format});
  };
  EXPECT_EQ(get("text"), "it's \"two\" words\n");
  EXPECT_EQ(get("sh"), "'it'\\''s \"two\" words'\n");
  EXPECT_EQ(get("json"), "{\"value\":\"it's \\\"two\\\" words\",\"line\":2}\n");
  EXPECT_EQ(get("nul"), std::string("it's \"two\" words\0", 17));
}

TEST_F(IniShowTest, AMissingFileIsEmpty) {
  const Words place = {"-section", "a", "-key", "k"};
  EXPECT_EQ(Answer(Words{"get", "-default", "d"} + place), "d\n");
  EXPECT_EQ(Refusal(1, Words{"has"} + place), "");
  for (const Words& words :
       {Words{"get"} + place, Words{"list"}, Words{"sections"},
        Words{"keys", "-section", "a"}, Words{"show"}, Words{"delete"} + place,
        Words{"enable"} + place, Words{"disable"} + place,
        Words{"comment", "-text", "x"} + place,
        Words{"rename", "-to", "x"} + place})
    EXPECT_EQ(Refusal(26, words), Concat("fairlead ini: cannot open '", Path(),
                                         "': No such file or directory\n"));
}

TEST_F(IniShowTest, Has) {
  Write(kBox);
  EXPECT_EQ(Answer({"has", "-section", "server"}), "");
  EXPECT_EQ(Answer({"has", "-section", ""}), "");
  EXPECT_EQ(Answer({"has", "-section", "server", "-key", "port"}), "");
  EXPECT_EQ(Refusal(1, {"has", "-section", "Server"}), "");
  EXPECT_EQ(Refusal(1, {"has", "-section", "server", "-key", "k0"}), "");
}

TEST_F(IniShowTest, List) {
  Write(kBox);
  EXPECT_EQ(Answer({"list"}),
            "\tk0\tfirst\nserver\tport\t7000\nserver\tport\t7001\n");
  EXPECT_EQ(Answer({"list", "-section", ""}), "\tk0\tfirst\n");
  EXPECT_EQ(Answer({"list", "-section", "", "-format", "sh"}),
            "'' 'k0' 'first'\n");
  EXPECT_EQ(Answer({"list", "-section", "", "-format", "nul"}),
            std::string("\0k0\0first\0", 10));
  EXPECT_EQ(
      Answer({"list", "-section", "server", "-format", "json", "-disabled"}),
      "[\n"
      R"({"section":"server","key":"port","value":"7000","disabled":false,)"
      "\"comments\":\"\",\"line\":5},\n"
      R"({"section":"server","key":"host","value":"example.org",)"
      "\"disabled\":true,\"comments\":\"\",\"line\":6},\n"
      R"({"section":"server","key":"port","value":"7001","disabled":false,)"
      "\"comments\":\"\",\"line\":9}\n]\n");
  EXPECT_THAT(Refusal(1, {"list", "-section", "none"}),
              EndsWith("there is no section 'none'\n"));
}

TEST_F(IniShowTest, AShellCanEvaluateAssignments) {
  Write("[db-1]\nhost = it's $(touch x) \"`y`\"\n2nd key=\\\n");
  const Words list = {"list", "-format", "assign"};
  const std::string lines = Answer(list + Words{"-section", "db-1"});
  EXPECT_EQ(lines, "host='it'\\''s $(touch x) \"`y`\"'\n_2nd_key='\\'\n");
  const Outcome outcome = RunProgram(
      {.arguments = {"-c", R"(eval "$0"; printf '%s|%s' "$host" "$_2nd_key")",
                     lines},
       .program = "/bin/sh"});
  EXPECT_EQ(outcome.output, "it's $(touch x) \"`y`\"|\\");
  EXPECT_THAT(Answer(list), HasSubstr("\ndb_1_2nd_key="));
  EXPECT_EQ(Answer({"get", "-section", "db-1", "-key", "2nd key", "-format",
                    "assign"}),
            "_2nd_key='\\'\n");
  Write("[a]\nPATH=/tmp\n");
  EXPECT_EQ(Refusal(3, list + Words{"-section", "a"}),
            "fairlead ini: key 'PATH' would set the variable PATH, which "
            "shells or programs use\n");
  EXPECT_EQ(Answer(list), "a_PATH='/tmp'\n");
  Write("k=1\n#k=9\nk=2\n");
  const Words top = list + Words{"-section", ""};
  EXPECT_EQ(Answer(top), "k='2'\n");
  EXPECT_EQ(Answer(top + Words{"-disabled"}), "k='2'\n");
  EXPECT_EQ(Answer(top + Words{"-records"}), "k='1'\n");
  Write("[a]\nx y=1\nx-y=2\n");
  EXPECT_EQ(Refusal(3, list + Words{"-section", "a"}),
            "fairlead ini: key 'x-y' and another key would both set the "
            "variable x_y\n");
}

TEST_F(IniShowTest, SetReadsTheOutputOfList) {
  Write(kBox);
  const std::string listed = Answer({"list"});
  ASSERT_EQ(unlink(Path().c_str()), 0);
  EXPECT_EQ(Answer({"set", "-stdin"}, listed), "");
  EXPECT_EQ(Answer({"list"}), "\tk0\tfirst\nserver\tport\t7001\n");
}

TEST_F(IniShowTest, SectionsAndKeys) {
  Write("k0=first\n[server]\nport=1\nhost=h\n[backup]\n");
  EXPECT_EQ(Answer({"sections"}), "server\nbackup\n");
  EXPECT_EQ(Answer({"sections", "-format", "sh"}), "'server' 'backup'\n");
  EXPECT_EQ(Answer({"sections", "-format", "json"}),
            "[\n{\"section\":\"server\",\"line\":2},\n"
            "{\"section\":\"backup\",\"line\":5}\n]\n");
  EXPECT_EQ(Answer({"keys", "-section", "server"}), "port\nhost\n");
  EXPECT_EQ(Answer({"keys", "-section", ""}), "k0\n");
  EXPECT_EQ(Answer({"keys", "-section", "server", "-format", "nul"}),
            std::string("port\0host\0", 10));
  EXPECT_EQ(Answer({"keys", "-section", "server", "-format", "json"}),
            "[\n{\"key\":\"port\",\"line\":3},\n"
            "{\"key\":\"host\",\"line\":4}\n]\n");
  EXPECT_THAT(Refusal(1, {"keys", "-section", "none"}),
              EndsWith("there is no section 'none'\n"));
}

TEST_F(IniShowTest, Show) {
  Write(kBox);
  EXPECT_EQ(Answer({"show"}), kBox);
  EXPECT_EQ(Answer({"show", "-section", "server"}),
            "# where it listens\n[server]\nport = 7000\n;host = example.org\n"
            "\n;[backup]\nport=7001\n# the end\n");
  EXPECT_EQ(Answer({"show", "-section", "server", "-key", "port"}),
            "port=7001\n");
  EXPECT_THAT(Answer({"show", "-section", "server", "-format", "json"}),
              HasSubstr("{\"section\":\"server\",\"disabled\":false,"
                        "\"comments\":\"# where it listens\\u000a\","
                        "\"line\":4},\n"));
  EXPECT_EQ(Answer({"show", "-section", "server", "-key", "port", "-index", "1",
                    "-format", "json"}),
            "[\n{\"section\":\"server\",\"key\":\"port\",\"value\":\"7000\","
            "\"disabled\":false,\"comments\":\"\",\"line\":5}\n]\n");
  EXPECT_EQ(Text(), kBox);
  Refusal(1, {"show", "-section", "none"});
  Refusal(2, {"show", "-format", "sh"});
  Refusal(2, {"show", "-key", "k0"});
}

TEST_F(IniShowTest, ATerminalShowsNoControlBytes) {
  if (const std::string why = WhyNoTerminal(); !why.empty())
    GTEST_SKIP() << why;
  Write("[a]\nx=\x1b[31mred\n");
  const Words get = Line({"get", "-section", "a", "-key", "x"});
  EXPECT_EQ(RunProgram({.arguments = get, .output_is_terminal = true}).output,
            "\\x1b[31mred\n");
  EXPECT_EQ(RunProgram({.arguments = get}).output, "\x1b[31mred\n");
}

}  // namespace
}  // namespace fairlead::tool::ini_show_test
