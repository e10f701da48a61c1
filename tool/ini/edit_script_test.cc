// Tests of the lines that a script of edits is written in. What scripts do is
// tested with the command.

#include "tool/ini/edit_script.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace fairlead::tool::ini::edit_script_test {
namespace {

struct LineCase {
  std::vector<std::string> words;
  const char* line;
};

TEST(EditScriptTest, AWordIsQuotedWhereItMustBe) {
  const LineCase cases[] = {
      {{"set", "s", "k", "v"}, "set s k v\n"},
      {{"set", "", "k", "a b"}, "set \"\" k \"a b\"\n"},
      {{"set", "s\tt", "it's", "\\x"}, "set \"s\tt\" \"it's\" \\x\n"},
      {{"set", "s", "k", R"(say "x" \)"}, "set s k \"say \\\"x\\\" \\\\\"\n"},
      {{"delete", "s", "a\nb"}, "delete s \"a\nb\"\n"},
  };
  for (const LineCase& c : cases) EXPECT_EQ(LineOfScript(c.words), c.line);
}

TEST(EditScriptTest, AQuotedWordIsReadAsItWas) {
  const std::vector<std::string> words = {"set", "a b", "it's",
                                          R"(say "x" \ or not)"};
  const auto script = ParseScript(LineOfScript(words), "script");
  ASSERT_EQ(script.size(), 1U);
  EXPECT_EQ(script[0].words,
            std::vector<std::string>(words.begin() + 1, words.end()));
}

}  // namespace
}  // namespace fairlead::tool::ini::edit_script_test
