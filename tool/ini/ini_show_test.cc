// The command `ini` as a process: the subcommands that read, and all formats.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

#include "tool/base/concat.h"
#include "tool/ini/ini_testing.h"

namespace fairlead::tool {
namespace {

using testing::EndsWith;
using testing::HasSubstr;

using IniShowTest = IniCommandTest;

TEST_F(IniShowTest, Get) {
  Write(kBox);
  EXPECT_EQ(Answer({"get", "-section", "server", "-key", "port"}), "7000\n");
  EXPECT_EQ(Answer({"get", "-section", "server", "-key", " port "}), "7000\n");
  EXPECT_EQ(Answer({"get", "-section", "", "-key", "k0"}), "first\n");
  EXPECT_EQ(Answer({"get", "-section", "server", "-key", "host"}),
            "example.org\n");  // Disabled, but found.
  EXPECT_EQ(Refusal(1, {"get", "-section", "server", "-key", "Port"}),
            "fairlead ini: there is no key 'Port' in section 'server'\n");
  EXPECT_EQ(Answer({"get", "-section", "server", "-key", "x", "-default", ""}),
            "\n");
  EXPECT_EQ(Text(), kBox);
  Write("[a]\nk=\n");
  EXPECT_EQ(Answer({"get", "-section", "a", "-key", "k", "-default", "d"}),
            "\n");
}

TEST_F(IniShowTest, GetHasAllFormats) {
  Write("[a]\nk = it's \"two\" words\n");
  const auto get = [this](const std::string& format) {
    return Answer({"get", "-section", "a", "-key", "k", "-format", format});
  };
  EXPECT_EQ(get("text"), "it's \"two\" words\n");
  EXPECT_EQ(get("sh"), "'it'\\''s \"two\" words'\n");
  EXPECT_EQ(get("json"), "\"it's \\\"two\\\" words\"\n");
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
  EXPECT_EQ(Answer({"has", "-section", "backup"}), "");
  EXPECT_EQ(Answer({"has", "-section", ""}), "");
  EXPECT_EQ(Answer({"has", "-section", "server", "-key", "host"}), "");
  EXPECT_EQ(Refusal(1, {"has", "-section", "Server"}), "");
  EXPECT_EQ(Refusal(1, {"has", "-section", "server", "-key", "k0"}), "");
}

TEST_F(IniShowTest, List) {
  Write(kBox);
  EXPECT_EQ(Answer({"list"}),
            "\tk0\tfirst\nserver\tport\t7000\nserver\thost\texample.org\n"
            "backup\tport\t7001\n");
  EXPECT_EQ(Answer({"list", "-section", "backup"}), "backup\tport\t7001\n");
  EXPECT_EQ(Answer({"list", "-section", "", "-format", "sh"}),
            "'' 'k0' 'first'\n");
  EXPECT_EQ(Answer({"list", "-section", "", "-format", "nul"}),
            std::string("\0k0\0first\0", 10));
  EXPECT_EQ(
      Answer({"list", "-section", "server", "-format", "json"}),
      "[\n"
      R"({"section":"server","key":"port","value":"7000","disabled":false,)"
      "\"comments\":\"\"},\n"
      R"({"section":"server","key":"host","value":"example.org",)"
      "\"disabled\":true,\"comments\":\"\"}\n]\n");
  EXPECT_THAT(Refusal(1, {"list", "-section", "none"}),
              EndsWith("there is no section 'none'\n"));
}

TEST_F(IniShowTest, SetReadsTheOutputOfList) {
  Write(kBox);
  const std::string listed = Answer({"list"});
  ASSERT_EQ(unlink(Path().c_str()), 0);
  EXPECT_EQ(Answer({"set", "-stdin"}, listed), "");
  const std::string again = Answer({"list"});
  for (const char* const line :
       {"\tk0\tfirst\n", "server\tport\t7000\n", "backup\tport\t7001\n"})
    EXPECT_THAT(again, HasSubstr(line));
}

TEST_F(IniShowTest, SectionsAndKeys) {
  Write(kBox);
  EXPECT_EQ(Answer({"sections"}), "server\nbackup\n");
  EXPECT_EQ(Answer({"sections", "-format", "sh"}), "'server' 'backup'\n");
  EXPECT_EQ(Answer({"sections", "-format", "json"}),
            "[\n\"server\",\n\"backup\"\n]\n");
  EXPECT_EQ(Answer({"keys", "-section", "server"}), "port\nhost\n");
  EXPECT_EQ(Answer({"keys", "-section", ""}), "k0\n");
  EXPECT_EQ(Answer({"keys", "-section", "server", "-format", "nul"}),
            std::string("port\0host\0", 10));
  EXPECT_THAT(Refusal(1, {"keys", "-section", "none"}),
              EndsWith("there is no section 'none'\n"));
}

TEST_F(IniShowTest, Show) {
  Write(kBox);
  EXPECT_EQ(Answer({"show"}), kSaved);
  EXPECT_EQ(Answer({"show", "-section", "server"}),
            "# where it listens\n[server]\nport=7000\n;host=example.org\n");
  EXPECT_EQ(Answer({"show", "-section", "server", "-key", "host"}),
            ";host=example.org\n");
  EXPECT_THAT(Answer({"show", "-section", "server", "-format", "json"}),
              HasSubstr("{\"section\":\"server\",\"disabled\":false,"
                        "\"comments\":\"# where it listens\\u000a\"},\n"));
  EXPECT_EQ(Text(), kBox);
  Refusal(1, {"show", "-section", "none"});
  Refusal(2, {"show", "-format", "sh"});
  Refusal(2, {"show", "-key", "k0"});
}

TEST_F(IniShowTest, ATerminalShowsNoControlBytes) {
  Write("[a]\nx=\x1b[31mred\n");
  const Words get = Line({"get", "-section", "a", "-key", "x"});
  EXPECT_EQ(RunProgram({.arguments = get, .output_is_terminal = true}).output,
            "\\x1b[31mred\n");
  EXPECT_EQ(RunProgram({.arguments = get}).output, "\x1b[31mred\n");
}

}  // namespace
}  // namespace fairlead::tool
