// Tests of the views of received messages.

#include "tool/traffic/view.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "tool/traffic/events.h"

namespace fairlead::tool::view_test {
namespace {

using std::string_literals::operator""s;
using testing::HasSubstr;
using testing::MatchesRegex;

std::string Shown(std::string_view body, View view, Screen screen = {}) {
  return Rendered({.bytes = body, .time = TheTime(), .peer = "10.0.0.1:7"},
                  view, screen);
}

constexpr const char* kStamp =
    "\\[[0-9]{4}\\.[0-9]{2}\\.[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}\\] ";

TEST(ViewTest, RawIsTheBytesThemselves) {
  EXPECT_EQ(Shown("a\0\x1b\r\n\xff"s, View::kRaw), "a\0\x1b\r\n\xff"s);
}

TEST(ViewTest, RawShowsControlBytesOnATerminal) {
  EXPECT_EQ(Shown("a\0\x1b\r\n\tb\\"s, View::kRaw, {.terminal = true}),
            "a\\x00\\x1b\\r\n\tb\\");
}

TEST(ViewTest, TextIsOneLineWithATimestamp) {
  EXPECT_THAT(Shown("a\r\nb\0"s, View::kTextLine),
              MatchesRegex(kStamp + R"(a\\r\\nb\\x00)"s + "\n"));
}

TEST(ViewTest, HexIsOneLineWithATimestamp) {
  EXPECT_THAT(Shown("\0\xff~"s, View::kHexLine),
              MatchesRegex(kStamp + "00 ff 7e\n"s));
}

TEST(ViewTest, DumpIsRowsOfSixteen) {
  const std::string shown = Shown("0123456789abcdefGH\n"s, View::kDump);
  EXPECT_THAT(shown, MatchesRegex(kStamp + "19 bytes\n(.|\n)*"s));
  EXPECT_THAT(
      shown,
      HasSubstr("19 bytes\n"
                "00000000  30 31 32 33 34 35 36 37  38 39 61 62 63 64 65 66  "
                "|0123456789abcdef|\n"
                "00000010  47 48 0a                                          "
                "|GH.|\n"));
}

TEST(ViewTest, JsonIsTheEventOfTheReceipt) {
  EXPECT_THAT(Shown("a\"\n", View::kJson),
              MatchesRegex(R"(\{"event":"received","time":"[0-9T:.-]+Z",)"
                           R"("peer":"10.0.0.1:7","bytes":3,"data":"YSIK",)"
                           R"("text":"a\\"\\u000a"\})"
                           "\n"));
}

TEST(ViewTest, OnlyTheStampIsColoured) {
  const Screen screen = {.terminal = true, .colour = true};
  EXPECT_THAT(Shown("a", View::kTextLine, screen),
              MatchesRegex("\033\\[2m"s + kStamp + "\033\\[0ma\n"));
  EXPECT_EQ(Shown("a", View::kRaw, screen), "a");
  EXPECT_EQ(Shown("a", View::kJson, screen).find('\033'), std::string::npos);
}

TEST(ViewTest, TheStampIsTheTimeOfReceipt) {
  TheTime time;
  ASSERT_TRUE(time.LoadFromString("20260102x030405"));
  EXPECT_EQ(Rendered({"x", time, ""}, View::kTextLine, {}),
            "[2026.01.02 03:04:05] x\n");
  EXPECT_THAT(Rendered({"x", time, ""}, View::kJson, {}),
              HasSubstr("\"time\":\"" + event::UtcTime(time) + "\""));
}

}  // namespace
}  // namespace fairlead::tool::view_test
