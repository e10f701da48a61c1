// The check value against a register of single bits, and its short cuts
// against the step that they leave out.
#include "fairlead/bits/crc.h"

#include <gtest/gtest.h>

#include <string>

namespace fairlead {
namespace {

TEST(CrcTest, RotationOneAddsUp) {
  CCRC crc{.rotation = 1};
  crc.AddVal(1U);
  EXPECT_EQ(crc.ReadCRC(), 1U);
  crc.AddVal(1U);
  EXPECT_EQ(crc.ReadCRC(), 3U);
  EXPECT_EQ(crc.count, 2);
}

}  // namespace
}  // namespace fairlead
