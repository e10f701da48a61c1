// For tests of the log of an exchange: the lines of its file.

#ifndef FAIRLEAD_TOOL_TRAFFIC_EXCHANGE_LOG_TESTING_H_
#define FAIRLEAD_TOOL_TRAFFIC_EXCHANGE_LOG_TESTING_H_

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "fairlead/testing/temp_folder.h"
#include "tool/testing.h"

namespace fairlead::tool {

inline constexpr std::string_view kStamp = "[2026.11.14 20:57:54] ";

class LogFileTest : public testing::Test {
 protected:
  std::string File() const { return internal::ReadFile(path_); }

  // Returns the lines of the log without their timestamps, which are required.
  std::vector<std::string> Events(const std::string& end = "\n") const {
    const std::string stamp =
        "\\[[0-9]{4}(\\.[0-9]{2}){2} [0-9]{2}(:[0-9]{2}){2}\\] ";
    std::vector<std::string> events;
    std::string rest = File();
    for (std::size_t at = 0; (at = rest.find(end)) != std::string::npos;
         rest.erase(0, at + end.size())) {
      EXPECT_THAT(rest.substr(0, at),
                  testing::MatchesRegex(stamp + "[^\r\n]+"));
      events.push_back(rest.substr(0, at).erase(0, kStamp.size()));
    }
    EXPECT_EQ(rest, "");
    return events;
  }

  const TempFolder folder_;
  const std::string path_ = folder_.path() + "/box.log";
};

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_TRAFFIC_EXCHANGE_LOG_TESTING_H_
