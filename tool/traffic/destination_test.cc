// A destination that is a file.

#include "tool/traffic/destination.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstddef>
#include <string>

#include "tool/base/descriptor.h"
#include "tool/base/failure.h"
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

TEST_F(DestinationTest, AFlushOpensTheFile) {
  Destination file(output_, {.path = path_});
  file.Add("one ");
  file.Add("two ");
  EXPECT_EQ(Content(), "old ");
  EXPECT_EQ(file.waiting(), 8U);
  file.Flush();
  EXPECT_EQ(Content(), "one two ");
  EXPECT_EQ(file.waiting(), 0U);
  file.Add("three");
  file.Flush();
  EXPECT_EQ(Content(), "one two three");
  EXPECT_EQ(file.added(), 13U);
}

TEST_F(DestinationTest, AFlushOfNothingLeavesTheFileAsItWas) {
  Destination file(output_, {.path = path_});
  file.Flush();
  file.FlushAtOnce();
  file.Close();
  EXPECT_EQ(Content(), "old ");
}

TEST_F(DestinationTest, OpenedAgainItGoesOn) {
  Destination file(output_, {.path = path_});
  file.Open();
  EXPECT_EQ(Content(), "");
  file.Add("one ");
  file.Flush();
  file.Open();
  file.Add("two");
  file.FlushAtOnce();
  EXPECT_EQ(Content(), "one two");
}

TEST_F(DestinationTest, AppendingKeepsWhatIsThere) {
  Destination file(output_, {.path = path_, .append = true});
  file.Open();
  file.Add("new");
  file.Close();
  file.Close();
  EXPECT_EQ(Content(), "old new");
}

TEST_F(DestinationTest, WhatCannotBeWrittenIsDropped) {
  Destination full(output_, {.path = "/dev/full"});
  full.Add("text");
  EXPECT_THROW(full.Flush(), Failure);
  EXPECT_EQ(full.waiting(), 0U);
  full.Flush();
}

// Reads what a pipe has now.
std::string TakenFrom(int pipe) {
  std::string bytes(1 << 20, '\0');
  const ssize_t got = read(pipe, bytes.data(), bytes.size());
  bytes.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
  return bytes;
}

TEST_F(DestinationTest, AtOnceAPipeGetsWhatFits) {
  const std::string path = folder_.path() + "/pipe";
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  const Descriptor pipe(OpenUninterrupted(path.c_str(), O_RDONLY | O_NONBLOCK));
  Destination file(output_, {.path = path});
  const std::string bytes = RandomBytes(300'000);
  file.Add(bytes);
  std::string taken;
  for (std::size_t before = bytes.size() + 1; file.waiting() < before;) {
    before = file.waiting();
    file.FlushAtOnce();
    EXPECT_LT(file.waiting(), bytes.size());
    taken += TakenFrom(pipe.number());
  }
  EXPECT_EQ(file.waiting(), 0U);
  EXPECT_TRUE(taken == bytes);
}

TEST_F(DestinationTest, AtOnceAPipeGetsNoPartOfALineThatFitsAPage) {
  const std::string path = folder_.path() + "/pipe";
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  const Descriptor pipe(OpenUninterrupted(path.c_str(), O_RDONLY | O_NONBLOCK));
  Destination file(output_, {.path = path});
  std::string lines;
  for (const std::size_t length : {1000U, 4095U, 1U, 3000U})
    for (int i = 0; i < 40; ++i) lines += std::string(length, 'x') + "\n";
  file.Add(lines);
  std::string taken;
  while (file.waiting() > 0) {
    file.FlushAtOnce();
    file.FlushAtOnce();
    taken += TakenFrom(pipe.number());
    ASSERT_TRUE(taken.ends_with('\n'));
  }
  EXPECT_TRUE(taken == lines);
}

TEST_F(DestinationTest, AtOnceAPipeWithoutAReaderIsNotAwaited) {
  const std::string path = folder_.path() + "/pipe";
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  Destination file(output_, {.path = path});
  file.Add("text");
  EXPECT_THROW(file.FlushAtOnce(), Failure);
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
  file.Add("new");
  file.Flush();
  EXPECT_EQ(Content(), "new");
}

}  // namespace
}  // namespace fairlead::tool::destination_test
