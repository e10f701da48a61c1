// Tests of the formats of -format.

#include "tool/ini/listing.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "tool/testing.h"

namespace fairlead::tool::listing_test {
namespace {

using namespace std::string_literals;

std::string Row(Format format, const std::vector<std::string_view>& texts) {
  std::string lines = "before ";
  AppendRow(format, texts, lines);
  return lines;
}

TEST(ListingTest, HasAllFormats) {
  EXPECT_EQ(Row(Format::kTextLines, {"a", "b c"}), "before a\tb c\n");
  EXPECT_EQ(Row(Format::kShell, {"", "b '"}), "before '' 'b '\\'''\n");
  EXPECT_EQ(Row(Format::kNul, {"a", "b c"}), "before a\0b c\0"s);
  EXPECT_EQ(Row(Format::kJson, {"", "'"}), "before \"\"\t\"'\"\n");

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
}  // namespace fairlead::tool::listing_test
