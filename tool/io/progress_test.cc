// Tests of the progress bar.

#include "tool/io/progress.h"

#include <gtest/gtest.h>

namespace fairlead::tool::progress_test {
namespace {

TEST(ProgressTest, DrawsTheBar) {
  EXPECT_EQ(ProgressBar(0, 5'000'000), "[                    ]   0% of 5.0 MB");
  EXPECT_EQ(ProgressBar(1'249'999, 5'000'000),
            "[####                ]  24% of 5.0 MB");
  EXPECT_EQ(ProgressBar(1'250'000, 5'000'000),
            "[#####               ]  25% of 5.0 MB");
  EXPECT_EQ(ProgressBar(5'000'000, 5'000'000),
            "[####################] 100% of 5.0 MB");
  EXPECT_EQ(ProgressBar(1, 1), "[####################] 100% of 0.0 MB");
}

// A file that grows while it is sent.
TEST(ProgressTest, ABarThatIsOverfullIsFull) {
  for (const std::size_t done : {5'250'000U, 500'000'000U})
    EXPECT_EQ(ProgressBar(done, 5'000'000),
              "[####################] 100% of 5.0 MB");
}

}  // namespace
}  // namespace fairlead::tool::progress_test
