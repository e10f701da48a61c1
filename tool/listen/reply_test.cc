// A reply that is a text or a file.

#include "tool/listen/reply.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <array>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <thread>

#include "tool/base/failure.h"
#include "tool/testing.h"

namespace fairlead::tool::reply_test {
namespace {

// Returns the reply, in pieces of at most ten bytes, from the last to the
// first, as of a peer that is ahead of another one.
std::string All(const Reply& reply) {
  std::array<char, 10> buffer{};
  std::string all(reply.size(), '\0');
  for (std::uint64_t at = (reply.size() + 9) / 10 * 10; at > 0;) {
    at -= 10;
    const std::string_view piece = reply.From(at, buffer);
    all.replace(at, piece.size(), piece);
  }
  return all;
}

class ReplyTest : public testing::Test {
 protected:
  // Returns the reply of a pipe that has these bytes.
  Reply OfPipe(const std::string& bytes) const {
    const std::string path = folder_.path() + "/pipe";
    EXPECT_EQ(mkfifo(path.c_str(), 0600), 0);
    std::thread writer([&] { std::ofstream(path) << bytes; });
    Reply reply = Reply::OfFile(path);
    writer.join();
    return reply;
  }

  const TempFolder folder_;
};

TEST_F(ReplyTest, IsReadInPieces) {
  for (const std::size_t size : {1U, 9U, 10U, 11U, 12'345U}) {
    SCOPED_TRACE(size);
    const std::string bytes = RandomBytes(size);
    EXPECT_TRUE(All(Reply(bytes)) == bytes);
    EXPECT_TRUE(All(Reply::OfFile(folder_.File("f", bytes))) == bytes);
  }
}

TEST_F(ReplyTest, MayBeEmpty) {
  EXPECT_EQ(Reply().size(), 0U);
  EXPECT_EQ(Reply("").size(), 0U);
  EXPECT_EQ(Reply::OfFile(folder_.File("f", "")).size(), 0U);
}

// The system reports their size as 0.
TEST_F(ReplyTest, AFileOfUnknownSizeIsRead) {
  EXPECT_GT(Reply::OfFile("/proc/self/stat").size(), 10U);
}

// The system reports a page, and they have less.
TEST_F(ReplyTest, AFileOfWrongSizeIsRead) {
  const std::string path = "/sys/devices/system/cpu/online";
  if (!std::filesystem::exists(path)) GTEST_SKIP() << "no " << path;
  const std::string bytes = internal::ReadFile(path);
  ASSERT_LT(bytes.size(), std::filesystem::file_size(path));
  EXPECT_EQ(All(Reply::OfFile(path)), bytes);
}

TEST_F(ReplyTest, APipeIsHeldUpToALimit) {
  const std::string most(Reply::kMaxHeld, 'x');
  EXPECT_TRUE(All(OfPipe(most)) == most);
}

TEST_F(ReplyTest, WithoutAnEndItIsRefused) {
  try {
    Reply::OfFile("/dev/zero");
    ADD_FAILURE();
  } catch (const Failure& failure) {
    EXPECT_EQ(failure.status(), kWrongUsage);
  }
}

TEST_F(ReplyTest, AFolderAndAMissingFileCannotBeRead) {
  for (const std::string& path :
       {folder_.path(), folder_.path() + "/missing"}) {
    try {
      Reply::OfFile(path);
      ADD_FAILURE() << path;
    } catch (const Failure& failure) {
      EXPECT_EQ(failure.status(), kCannotRead);
    }
  }
}

TEST_F(ReplyTest, AFileMayGrow) {
  const std::string path = folder_.File("f", "0123456789ab");
  const Reply reply = Reply::OfFile(path);
  std::ofstream(path, std::ios::app) << "cdefghijklmnop";
  EXPECT_EQ(reply.size(), 12U);
  EXPECT_EQ(All(reply), "0123456789ab");
}

TEST_F(ReplyTest, AFileMustNotShrink) {
  const std::string path = folder_.File("f", "0123456789ab");
  const Reply reply = Reply::OfFile(path);
  std::filesystem::resize_file(path, 11);
  std::array<char, 10> buffer{};
  EXPECT_EQ(reply.From(10, buffer), "a");
  try {
    reply.From(11, buffer);
    ADD_FAILURE();
  } catch (const Failure& failure) {
    EXPECT_EQ(failure.status(), kCannotRead);
    EXPECT_EQ(failure.what(), "cannot read '" + path +
                                  "': it had 12 bytes at first, and now has "
                                  "fewer");
  }
}

}  // namespace
}  // namespace fairlead::tool::reply_test
