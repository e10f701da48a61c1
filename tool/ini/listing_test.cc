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
  EXPECT_EQ(Rows("text", rows), "a\tb c\n\t'\n");
  EXPECT_EQ(Rows("sh", rows), "'a' 'b c'\n'' ''\\'''\n");
  EXPECT_EQ(Rows("nul", rows), "a\0b c\0\0'\0"s);
  EXPECT_EQ(Rows("text", {}), "");

  EXPECT_EQ(List("text", {"a", "b"}), "a\nb\n");
  EXPECT_EQ(List("sh", {"a", "b"}), "'a' 'b'\n");
  EXPECT_EQ(List("nul", {"a", "b"}), "a\0b\0"s);
  EXPECT_EQ(List("json", {"a", "\"b\""}), "[\n\"a\",\n\"\\\"b\\\"\"\n]\n");
  EXPECT_EQ(List("json", {}), "[]\n");

  EXPECT_EQ(Single("text", "a b"), "a b\n");
  EXPECT_EQ(Single("sh", "a b"), "'a b'\n");
  EXPECT_EQ(Single("nul", "a b"), "a b\0"s);
  EXPECT_EQ(Single("json", "a b"), "\"a b\"\n");
}

TEST(ListingTest, AShellReadsBackItsWords) {
  const std::string text = "$(exit 1) `x` \\ \" ' * ~ ; # \t-n";
  const Outcome outcome = RunProgram(
      {.arguments = {"-c", "eval \"set -- $(cat)\"; printf '%s|' \"$@\""},
       .input = List("sh", {text, "", "second"}),
       .program = "/bin/sh"});
  EXPECT_EQ(outcome.output, text + "||second|");
}

}  // namespace
}  // namespace fairlead::tool
