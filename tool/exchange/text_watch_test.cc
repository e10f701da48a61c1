// Which of two texts comes first, and in which line.

#include "tool/exchange/text_watch.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <string_view>

namespace fairlead::tool::text_watch_test {
namespace {

struct WatchCase {
  const char* expected;
  const char* rejected;
  const char* received;
  Verdict verdict;
  const char* line;  // Empty without a verdict.
};

constexpr WatchCase kWatchCases[] = {
    {"OK", "", "OK", Verdict::kExpected, "OK"},
    {"OK", "", "O", Verdict::kUndecided, ""},
    {"OK", "", "", Verdict::kUndecided, ""},
    {"OK", "ERR", "one\nit is OK now\r\n", Verdict::kExpected, "it is OK now"},
    {"OK", "ERR", "one\nERR no\nOK\n", Verdict::kRejected, "ERR no"},
    {"", "ERR", "OK\n", Verdict::kUndecided, ""},
    {"", "ERR", "OK\n ERR", Verdict::kRejected, " ERR"},
    // The one that ends first, though it began later.
    {"a long text", "text", "a long text", Verdict::kRejected, "a long text"},
    {"ong", "a long text", "a long text", Verdict::kExpected, "a long text"},
    // Both end at the same byte.
    {"ERROR", "OR", "ERROR", Verdict::kRejected, "ERROR"},
    {"OR", "ERROR", "ERROR", Verdict::kRejected, "ERROR"},
    // A text that begins anew within itself.
    {"aab", "", "aaab", Verdict::kExpected, "aaab"},
    // Of a text that spans lines, the one in which it ends.
    {"a\nb", "", "1a\nb2\n", Verdict::kExpected, "b2"},
    {"a\r\n", "", "1\n2a\r\n3\n", Verdict::kExpected, "2a"},
    {"\n\n", "", "a\n\nb", Verdict::kExpected, ""},
    {"\n", "", "\n", Verdict::kExpected, ""},
};

TEST(TextWatchTest, TheFirstTextDecides) {
  for (const WatchCase& c : kWatchCases) {
    SCOPED_TRACE(c.received);
    TextWatch watch(c.expected, c.rejected);
    EXPECT_EQ(watch.Take(c.received), c.verdict);
    EXPECT_EQ(watch.verdict(), c.verdict);
    EXPECT_EQ(watch.ExpectedIsMissing(),
              *c.expected != '\0' && c.verdict == Verdict::kUndecided);
    EXPECT_EQ(watch.line(), c.line);
  }
}

TEST(TextWatchTest, TheCutsDoNotMatter) {
  for (const WatchCase& c : kWatchCases) {
    const std::string_view received = c.received;
    for (std::size_t first = 0; first <= received.size(); ++first)
      for (std::size_t second = first; second <= received.size(); ++second) {
        SCOPED_TRACE(testing::Message()
                     << c.received << ", cut at " << first << ", " << second);
        TextWatch watch(c.expected, c.rejected);
        watch.Take(received.substr(0, first));
        watch.Take(received.substr(first, second - first));
        EXPECT_EQ(watch.Take(received.substr(second)), c.verdict);
        EXPECT_TRUE(std::string_view(c.line).starts_with(watch.line()));
      }
  }
}

// The end of what the peer sends is such a piece.
TEST(TextWatchTest, AnEmptyPieceChangesNothing) {
  TextWatch watch("OK", "");
  watch.Take("a line of");
  EXPECT_EQ(watch.Take({}), Verdict::kUndecided);
  EXPECT_EQ(watch.Take(" OK"), Verdict::kExpected);
  EXPECT_EQ(watch.line(), "a line of OK");
}

TEST(TextWatchTest, AVerdictStays) {
  TextWatch watch("OK", "ERR");
  EXPECT_EQ(watch.Take("1 OK\n"), Verdict::kExpected);
  EXPECT_EQ(watch.Take("2 ERR\n"), Verdict::kExpected);
  EXPECT_EQ(watch.line(), "1 OK");
}

TEST(TextWatchTest, OnlyTheStartOfALongLineIsKept) {
  TextWatch watch("END", "");
  for (int i = 0; i < 10'000; ++i) watch.Take(std::string(1000, 'x'));
  EXPECT_EQ(watch.Take("END"), Verdict::kExpected);
  EXPECT_EQ(watch.line(), std::string(200, 'x'));
}

}  // namespace
}  // namespace fairlead::tool::text_watch_test
