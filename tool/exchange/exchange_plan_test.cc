// Tests of the limits of time in the plan of an exchange.

#include "tool/exchange/exchange_plan.h"

#include <gtest/gtest.h>

#include <chrono>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "tool/command/command_table.h"
#include "tool/testing.h"

namespace fairlead::tool::exchange_plan_test {
namespace {

using std::chrono::seconds;

// The plan of a `recv -demo` with more arguments.
class Planned {
 public:
  explicit Planned(const Words& arguments)
      : words_(Words{"recv", "-demo"} + arguments),
        parsed_(kRecvCommand, Pointers()),
        plan_(Arguments<kPlanUses>(parsed_)) {}

  ExchangePlan* operator->() { return &plan_; }

 private:
  std::span<char* const> Pointers() {
    for (std::string& word : words_) pointers_.push_back(word.data());
    return pointers_;
  }

  Words words_;
  std::vector<char*> pointers_;
  const ParsedArguments parsed_;
  ExchangePlan plan_;
};

TEST(ExchangePlanTest, LimitsOfTimeHaveDefaults) {
  Planned plan({});
  EXPECT_EQ(plan->settings.timeout, seconds(30));
  EXPECT_EQ(plan->settings.limits.idle, seconds(5));
  EXPECT_EQ(plan->retry_delay, seconds(1));
  EXPECT_EQ(plan->interval, seconds(1));
  EXPECT_FALSE(plan->MayReconnect());
}

TEST(ExchangePlanTest, ReconnectingHasNoDefaultLimits) {
  Planned plan({});
  plan->Reconnect();
  EXPECT_EQ(plan->settings.timeout, std::nullopt);
  EXPECT_EQ(plan->settings.limits.idle, std::nullopt);
  EXPECT_TRUE(plan->MayReconnect());
}

TEST(ExchangePlanTest, ReconnectingKeepsTheLimitsThatAreGiven) {
  Planned given({"-timeout", "30"});
  given->Reconnect();
  EXPECT_EQ(given->settings.timeout, seconds(30));
  EXPECT_EQ(given->settings.limits.idle, std::nullopt);

  const TempFolder folder;
  const std::string settings = folder.File("box.ini", "[box]\nidle=5\n");
  Planned kept({"-settings", settings, "-profile", "box"});
  kept->Reconnect();
  EXPECT_EQ(kept->settings.timeout, std::nullopt);
  EXPECT_EQ(kept->settings.limits.idle, seconds(5));
}

TEST(ExchangePlanTest, AUserHasNoDefaultTimeout) {
  Planned plan({});
  plan->AwaitUser();
  EXPECT_EQ(plan->settings.timeout, std::nullopt);
  EXPECT_EQ(plan->settings.limits.idle, seconds(5));
  Planned given({"-timeout", "30"});
  given->AwaitUser();
  EXPECT_EQ(given->settings.timeout, seconds(30));
}

TEST(ExchangePlanTest, OneRetryMayReconnect) {
  EXPECT_TRUE(Planned({"-retry", "1"})->MayReconnect());
  EXPECT_FALSE(Planned({})->MayReconnect());
}

TEST(ExchangePlanTest, CountsRetriesAndRuns) {
  EXPECT_EQ(Planned({"-retry", "3"})->retries, 3);
  EXPECT_EQ(Planned({})->runs, 1);
  EXPECT_EQ(Planned({"-repeat", "3"})->runs, 3);
  EXPECT_EQ(Planned({"-repeat", "forever"})->runs, 0);
  EXPECT_TRUE(Planned({"-repeat", "forever"})->repeats);
  EXPECT_EQ(Planned({"-repeat", "2", "-interval", "250ms"})->interval,
            std::chrono::milliseconds(250));
}

}  // namespace
}  // namespace fairlead::tool::exchange_plan_test
