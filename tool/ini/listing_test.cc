// Tests of the formats of -format.

#include "tool/ini/listing.h"

#include <gtest/gtest.h>

#include <string>

#include "tool/testing.h"

namespace fairlead::tool {
namespace {

using namespace std::string_literals;

TEST(ListingTest, HasAllFormats) {
  const std::vector<std::vector<std::string>> rows = {{"a", "b c"}, {"", "'"}};
  EXPECT_EQ(Rows(Format::kTextLines, rows), "a\tb c\n\t'\n");
  EXPECT_EQ(Rows(Format::kShell, rows), "'a' 'b c'\n'' ''\\'''\n");
  EXPECT_EQ(Rows(Format::kNul, rows), "a\0b c\0\0'\0"s);
  EXPECT_EQ(Rows(Format::kJson, rows), "\"a\"\t\"b c\"\n\"\"\t\"'\"\n");
  EXPECT_EQ(Rows(Format::kTextLines, {}), "");

  EXPECT_EQ(List(Format::kTextLines, {"a", "b"}), "a\nb\n");
  EXPECT_EQ(List(Format::kShell, {"a", "b"}), "'a' 'b'\n");
  EXPECT_EQ(List(Format::kNul, {"a", "b"}), "a\0b\0"s);
  EXPECT_EQ(List(Format::kJson, {"a", "\"b\""}),
            "[\n\"a\",\n\"\\\"b\\\"\"\n]\n");
  EXPECT_EQ(List(Format::kJson, {}), "[]\n");

  EXPECT_EQ(Single(Format::kTextLines, "a b"), "a b\n");
  EXPECT_EQ(Single(Format::kShell, "a b"), "'a b'\n");
  EXPECT_EQ(Single(Format::kNul, "a b"), "a b\0"s);
  EXPECT_EQ(Single(Format::kJson, "a b"), "\"a b\"\n");
}

TEST(ListingTest, AShellReadsBackItsWords) {
  const std::string text = "$(exit 1) `x` \\ \" ' * ~ ; # \t-n";
  const Outcome outcome = RunProgram(
      {.arguments = {"-c", "eval \"set -- $(cat)\"; printf '%s|' \"$@\""},
       .input = List(Format::kShell, {text, "", "second"}),
       .program = "/bin/sh"});
  EXPECT_EQ(outcome.output, text + "||second|");
}

}  // namespace
}  // namespace fairlead::tool
