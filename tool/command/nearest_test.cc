// Tests of the suggestions for mistyped names.

#include "tool/command/nearest.h"

#include <gtest/gtest.h>

namespace fairlead::tool::nearest_test {
namespace {

struct DistanceCase {
  const char* a;
  const char* b;
  int distance;
};

constexpr DistanceCase kDistanceCases[] = {
    {"", "", 0},
    {"", "port", 4},
    {"port", "", 4},
    {"port", "port", 0},
    {"prot", "port", 1},   // neighbours swapped
    {"por", "port", 1},    // one left out
    {"ports", "port", 1},  // one too many
    {"pord", "port", 1},   // one replaced
    {"kitten", "sitting", 3},
    {"opt", "port", 2},
    {"ab", "ba", 1},
    {"abc", "cab", 2},
};

TEST(NearestTest, CountsTheEdits) {
  for (const DistanceCase& c : kDistanceCases) {
    SCOPED_TRACE(testing::Message() << c.a << " and " << c.b);
    EXPECT_EQ(EditDistance(c.a, c.b), c.distance);
    EXPECT_EQ(EditDistance(c.b, c.a), c.distance);
  }
}

TEST(NearestTest, TakesTheNearestAndTheFirstAmongEquals) {
  constexpr std::string_view kNames[] = {"host", "port", "text", "test"};
  EXPECT_EQ(Nearest("prot", kNames), "port");
  EXPECT_EQ(Nearest("tezt", kNames), "text");
  EXPECT_EQ(Nearest("tes", kNames), "test");
  EXPECT_EQ(Nearest("zzzz", kNames), "host");
}

TEST(NearestTest, OffersOnlyWhatIsNear) {
  constexpr std::string_view kNames[] = {"host", "version", "completion"};
  EXPECT_EQ(Suggestion("hst", kNames), "host");
  EXPECT_EQ(Suggestion("vresoin", kNames), "version");
  EXPECT_EQ(Suggestion("comletin", kNames), "completion");
  EXPECT_EQ(Suggestion("hots!", kNames), "");
  EXPECT_EQ(Suggestion("zzzz", kNames), "");
  EXPECT_EQ(Suggestion("", kNames), "");
}

}  // namespace
}  // namespace fairlead::tool::nearest_test
