// Tests of the formats of -format.

#include "tool/ini/listing.h"

#include <gtest/gtest.h>

#include <array>
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

  EXPECT_EQ(Single(Format::kTextLines, "a b"), "a b\n");
  EXPECT_EQ(Single(Format::kShell, "a b"), "'a b'\n");
  EXPECT_EQ(Single(Format::kNul, "a b"), "a b\0"s);
  EXPECT_EQ(Single(Format::kJson, "a b"), "\"a b\"\n");
  EXPECT_EQ(Single(Format::kAssign, "a b"), "a b\n");
}

TEST(ListingTest, AShellReadsBackItsWords) {
  const std::string text = "$(exit 1) `x` \\ \" ' * ~ ; # \t-n";
  std::string line;
  AppendRow(Format::kShell, std::array<std::string_view, 3>{text, "", "second"},
            line);
  const Outcome outcome = RunProgram(
      {.arguments = {"-c", "eval \"set -- $(cat)\"; printf '%s|' \"$@\""},
       .input = line,
       .program = "/bin/sh"});
  EXPECT_EQ(outcome.output, text + "||second|");
}

}  // namespace
}  // namespace fairlead::tool::listing_test
