// A destination that is a file.

#include "tool/exchange/destination.h"

#include <gtest/gtest.h>

#include <string>

#include "tool/testing.h"

namespace fairlead::tool::destination_test {
namespace {

class DestinationTest : public testing::Test {
 protected:
  std::string Content() const { return internal::ReadFile(path_); }

  const TempFolder folder_;
  const std::string path_ = folder_.File("file", "old ");
  const Output output_;
};

TEST_F(DestinationTest, WhatIsWrittenBeforeItIsOpenWaits) {
  Destination file(output_, {.path = path_});
  file.Write("one ");
  file.Write("two ");
  EXPECT_EQ(Content(), "old ");
  file.Open();
  EXPECT_EQ(Content(), "one two ");
  file.Write("three");
  EXPECT_EQ(Content(), "one two three");
}

TEST_F(DestinationTest, OpenedAgainItGoesOn) {
  Destination file(output_, {.path = path_});
  file.Open();
  file.Write("one ");
  file.Open();
  file.Write("two");
  EXPECT_EQ(Content(), "one two");
}

TEST_F(DestinationTest, AppendingKeepsWhatIsThere) {
  Destination file(output_, {.path = path_, .append = true});
  file.Open();
  file.Write("new");
  file.Close();
  file.Close();
  EXPECT_EQ(Content(), "old new");
}

TEST_F(DestinationTest, AtMost64KiBWait) {
  Destination file(output_, {.path = path_});
  file.Write(std::string(65535, 'x'));
  file.Write("yz");
  file.Write("y");
  file.Write("z");
  file.Open();
  EXPECT_EQ(Content(), std::string(65535, 'x') + "y");
}

TEST_F(DestinationTest, AFileHasNoColours) {
  const Destination file(output_, {.path = path_});
  EXPECT_FALSE(file.screen().terminal);
  EXPECT_FALSE(file.screen().colour);
}

TEST_F(DestinationTest, EndingTheOutputLeavesAFileOpen) {
  Destination file(output_, {.path = path_});
  file.Open();
  file.End();
  file.Write("new");
  EXPECT_EQ(Content(), "new");
}

}  // namespace
}  // namespace fairlead::tool::destination_test
