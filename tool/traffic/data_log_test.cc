// The bytes of an exchange in its log.

#include "tool/traffic/data_log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "tool/testing.h"

namespace fairlead::tool::data_log_test {
namespace {

using testing::ElementsAre;
using std::string_literals::operator""s;

class DataLogTest : public testing::Test {
 protected:
  // The lines without their timestamps.
  std::vector<std::string> Lines() const {
    constexpr std::size_t kStamp = 22;
    std::vector<std::string> lines;
    std::istringstream file(internal::ReadFile(path_));
    for (std::string line; std::getline(file, line);)
      lines.push_back(line.substr(kStamp));
    return lines;
  }

  const TempFolder folder_;
  const std::string path_ = folder_.path() + "/log";
  ExchangeLog log_{path_, false};
};

TEST_F(DataLogTest, AMessageIsALine) {
  DataLog hex(log_, DataForm::kHexPairs, "sent");
  DataLog text(log_, DataForm::kEscaped, "received");
  hex.Add("\0A\xff"s, true);
  text.Add("a\\\r\n\x1b\xc3\xab\xff"s, true);
  EXPECT_THAT(Lines(),
              ElementsAre("sent data: 00 41 ff",
                          "received data: a\\\\\\r\\n\\x1b\xc3\xab\\xff"));
}

TEST_F(DataLogTest, PiecesOfAMessageAreALine) {
  DataLog log(log_, DataForm::kEscaped, "received");
  log.Add("one ", false);
  log.Add("", false);
  log.Add("line", false);
  EXPECT_THAT(Lines(), ElementsAre());
  log.Add("", true);
  log.Add("next", true);
  EXPECT_THAT(Lines(),
              ElementsAre("received data: one line", "received data: next"));
}

TEST_F(DataLogTest, TheRestIsWrittenAtOnce) {
  DataLog log(log_, DataForm::kEscaped, "received");
  log.FlushAtOnce();
  EXPECT_THAT(Lines(), ElementsAre());
  log.Add("some", false);
  log.FlushAtOnce();
  EXPECT_THAT(Lines(), ElementsAre("received data: some"));
}

TEST_F(DataLogTest, AMessageMayBeEmpty) {
  DataLog log(log_, DataForm::kHexPairs, "received");
  log.Add("", true);
  EXPECT_THAT(Lines(), ElementsAre("received data: "));
}

TEST_F(DataLogTest, ALongMessageIsSeveralLines) {
  DataLog log(log_, DataForm::kEscaped, "sent");
  log.Add(std::string(1024, 'a'), true);
  log.Add(std::string(1025, 'b'), true);
  log.Add(std::string(2047, 'c'), false);
  log.Add("cd", true);
  EXPECT_THAT(Lines(),
              ElementsAre("sent data: " + std::string(1024, 'a'),
                          "sent data: " + std::string(1024, 'b'),
                          "sent data from byte 1024: b",
                          "sent data: " + std::string(1024, 'c'),
                          "sent data from byte 1024: " + std::string(1024, 'c'),
                          "sent data from byte 2048: d"));
}

TEST_F(DataLogTest, AMessageThatStopsIsLoggedWhenFlushed) {
  DataLog log(log_, DataForm::kEscaped, "received");
  log.Flush();
  log.Add("begun", false);
  log.Flush();
  log.Flush();
  log.Add("", false);
  log.Add("next", true);
  EXPECT_THAT(Lines(),
              ElementsAre("received data: begun", "received data: next"));
}

TEST_F(DataLogTest, NoLineEndsWithinACharacter) {
  for (const char* character : {"\xc3\xab", "\xe2\x82\xac", "\xf0\x9f\x98\x80"})
    for (std::size_t before = 1020; before <= 1024; ++before) {
      DataLog log(log_, DataForm::kEscaped, "sent");
      log.Add(std::string(before, '.') + character + "end", true);
    }
  for (const std::string& line : Lines()) {
    EXPECT_EQ(line.find("\\x"), std::string::npos) << line;
    EXPECT_LE(line.size(), 1024 + 30) << line;
  }
}

TEST_F(DataLogTest, ALineMayEndAfterACharacter) {
  DataLog log(log_, DataForm::kEscaped, "sent");
  const std::string whole = std::string(1022, '.') + "\xc3\xab";
  log.Add(whole + "end", true);
  EXPECT_THAT(Lines(), ElementsAre("sent data: " + whole,
                                   "sent data from byte 1024: end"));
}

// What only looks like a character that has begun is not held back for ever.
TEST_F(DataLogTest, BytesThatAreNoTextAreAllLogged) {
  DataLog log(log_, DataForm::kEscaped, "sent");
  log.Add(std::string(3000, '\xf0'), true);
  std::string all;
  for (const std::string& line : Lines())
    all += line.substr(line.find(": ") + 2);
  std::string expected;
  for (int i = 0; i < 3000; ++i) expected += "\\xf0";
  EXPECT_EQ(all, expected);
}

}  // namespace
}  // namespace fairlead::tool::data_log_test
