// Tests of owned descriptors, and of writes that take less than all.

#include "fairlead/base/descriptor.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <string_view>

namespace fairlead::internal::descriptor_test {
namespace {

TEST(DescriptorTest, AnAssignmentToItselfKeepsItOpen) {
  Descriptor descriptor(open("/dev/null", O_WRONLY | O_CLOEXEC));
  const int number = descriptor.number();
  Descriptor& same = descriptor;
  descriptor = std::move(same);
  EXPECT_EQ(descriptor.number(), number);
  EXPECT_NE(fcntl(number, F_GETFD), -1);
}

TEST(DescriptorTest, WritesTheRestOfWhatACallTook) {
  std::string pieces;
  const std::size_t written =
      WriteRepeatedly("abcde", [&](std::string_view rest, std::size_t done) {
        pieces += std::string(rest) + std::to_string(done) + " ";
        return ssize_t{2} < static_cast<ssize_t>(rest.size()) ? 2 : 1;
      });
  EXPECT_EQ(written, 5U);
  EXPECT_EQ(pieces, "abcde0 cde2 e4 ");
}

// It would be repeated for ever.
TEST(DescriptorTest, ACallThatTakesNothingIsAnError) {
  int calls = 0;
  const std::size_t written =
      WriteRepeatedly("abc", [&](std::string_view, std::size_t) {
        return ++calls == 1 ? ssize_t{2} : ssize_t{0};
      });
  EXPECT_EQ(written, 2U);
  EXPECT_EQ(calls, 2);
  EXPECT_EQ(errno, EIO);
}

}  // namespace
}  // namespace fairlead::internal::descriptor_test
