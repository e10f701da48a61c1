// Bits as text and back, against the rules written a second time.
#include "fairlead/bits/converter.h"

#include <gtest/gtest.h>

#include <string>

namespace fairlead {
namespace {

TEST(ConverterTest, GroupedTextReadsBack) {
  CConverter converter(30, 6, 2);
  EXPECT_TRUE(converter.LoadData("TB-AA-A"));
  EXPECT_EQ(converter.GetStr(), "TBAAA");
  EXPECT_EQ(converter.GetDividedStr(), "TB-AA-A");
  EXPECT_EQ(converter.bitstr.data[0], 83U);
}

}  // namespace
}  // namespace fairlead
