// What is received, counted and shown, in pieces.

#include "tool/exchange/reception.h"

#include <gtest/gtest.h>

#include <string>

#include "tool/base/failure.h"
#include "tool/testing.h"

namespace fairlead::tool::reception_test {
namespace {

using std::string_literals::operator""s;

class ReceptionTest : public testing::Test {
 protected:
  ReceptionTest() { display_.Connected("127.0.0.1:7"); }

  std::string Shown() {
    display_.Flush();
    return internal::ReadFile(path_);
  }

  static bool Take(Reception& reception, const std::string& bytes) {
    return reception.Take(bytes, TheTime());
  }

  const TempFolder folder_;
  const std::string path_ = folder_.path() + "/shown";
  const Output output_;
  Display display_{output_, View::kRaw, {.path = path_}};
};

TEST_F(ReceptionTest, FramesAfterTheOneThatMeetsARuleWait) {
  const ReceptionSettings settings = {.stop = {.messages = 2},
                                      .prefix = FramePrefix{}};
  Reception reception(settings, display_);
  EXPECT_FALSE(Take(reception, "\3one"));
  EXPECT_TRUE(Take(reception, "\3two\5three\4fo"));
  EXPECT_EQ(Shown(), "onetwo");
  EXPECT_TRUE(Take(reception, "ur\4five"));
  EXPECT_EQ(Shown(), "onetwothreefourfive");
}

TEST_F(ReceptionTest, ARuleIsMetAtTheEndOfAFrame) {
  const ReceptionSettings settings = {.stop = {.bytes = 2},
                                      .prefix = FramePrefix{}};
  Reception reception(settings, display_);
  EXPECT_FALSE(Take(reception, "\5thr"));
  EXPECT_FALSE(Take(reception, "e"));
  EXPECT_TRUE(Take(reception, "e\4four"));
  EXPECT_EQ(Shown(), "three");
}

TEST_F(ReceptionTest, AnotherConnectionBeginsWithAFrame) {
  const ReceptionSettings settings = {.prefix = FramePrefix{}};
  Reception reception(settings, display_);
  EXPECT_FALSE(Take(reception, "\5thr"));
  EXPECT_THROW(reception.Check(true, "the peer closed"), Failure);
  reception.Begin();
  EXPECT_FALSE(Take(reception, "\3one\0"s));
  EXPECT_NO_THROW(reception.Check(true, "the peer closed"));
  EXPECT_EQ(Shown(), "throne");
}

}  // namespace
}  // namespace fairlead::tool::reception_test
