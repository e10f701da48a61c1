// Frames, cut at every place.

#include "tool/exchange/frames.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "tool/base/failure.h"

namespace fairlead::tool::frames_test {
namespace {

using std::string_literals::operator""s;
using testing::ElementsAre;

struct FrameCase {
  PrefixForm form;
  std::int64_t add;
  std::string message;
  std::string frame;
};

const std::vector<FrameCase> kFrameCases = {
    {PrefixForm::kU8, 0, "abc", "\3abc"},
    {PrefixForm::kU8, 0, "", "\0"s},
    {PrefixForm::kU8, 0, std::string(255, 'x'), "\xff" + std::string(255, 'x')},
    {PrefixForm::kU8, 1, "abc", "\4abc"},
    {PrefixForm::kU8, -3, "abc", "\0abc"s},
    {PrefixForm::kU8, -3, "abcd", "\1abcd"},
    {PrefixForm::kU8, 255, "", "\xff"},
    {PrefixForm::kU16Be, 0, "abc", "\0\3abc"s},
    {PrefixForm::kU16Le, 0, "abc", "\3\0abc"s},
    {PrefixForm::kU16Be, 2, "abc", "\0\5abc"s},
    {PrefixForm::kU16Be, 0, std::string(258, 'x'),
     "\1\2" + std::string(258, 'x')},
    {PrefixForm::kU16Le, 0, std::string(258, 'x'),
     "\2\1" + std::string(258, 'x')},
    {PrefixForm::kU16Be, 65535, "", "\xff\xff"},
    {PrefixForm::kU32Be, 4, "abc", "\0\0\0\7abc"s},
    {PrefixForm::kU32Le, 4, "abc", "\7\0\0\0abc"s},
    {PrefixForm::kU32Be, 0, std::string(66'051, 'x'),
     "\0\1\2\3"s + std::string(66'051, 'x')},
};

// What a reader gets of the bytes; messages that are not whole end with '~'.
struct Reading {
  std::vector<std::string> messages;
  std::string missing;
  bool malformed = false;

  bool operator==(const Reading&) const = default;
};

class Collector {
 public:
  explicit Collector(FramePrefix prefix, std::size_t block = 1)
      : reader_(prefix, block) {}

  void Take(std::string_view bytes) {
    while (const auto piece = reader_.Take(bytes)) {
      message_ += piece->bytes;
      begun_ = !piece->ends_message;
      if (begun_) continue;
      EXPECT_EQ(message_.size(), reader_.length());
      reading_.messages.push_back(std::move(message_));
      message_.clear();
    }
    EXPECT_TRUE(bytes.empty() || reader_.IsMalformed());
  }

  Reading End() {
    if (begun_) reading_.messages.push_back(message_ + "~");
    reading_.missing = reader_.Missing();
    reading_.malformed = reader_.IsMalformed();
    return reading_;
  }

  const FrameReader& reader() const { return reader_; }

 private:
  FrameReader reader_;
  Reading reading_;
  std::string message_;
  bool begun_ = false;
};

Reading Read(FramePrefix prefix, const std::vector<std::string_view>& pieces,
             std::size_t block = 1) {
  Collector collector(prefix, block);
  for (const std::string_view piece : pieces) collector.Take(piece);
  return collector.End();
}

TEST(FramesTest, AFrameIsTheLengthAndTheMessage) {
  for (const FrameCase& c : kFrameCases) {
    SCOPED_TRACE(testing::Message() << ChoiceName(kPrefix, c.form) << " add "
                                    << c.add << " size " << c.message.size());
    EXPECT_EQ(Framed({c.form, c.add}, c.message), c.frame);
    EXPECT_EQ(Read({c.form, c.add}, {c.frame}),
              (Reading{{c.message}, "", false}));
  }
}

std::string Refusal(FramePrefix prefix, std::size_t size) {
  try {
    Framed(prefix, std::string(size, 'x'));
  } catch (const Failure& failure) {
    EXPECT_EQ(failure.status(), kWrongUsage);
    return failure.what();
  }
  return "";
}

TEST(FramesTest, AMessageThatThePrefixCannotHoldIsRefused) {
  EXPECT_EQ(Refusal({PrefixForm::kU8}, 255), "");
  EXPECT_EQ(Refusal({PrefixForm::kU8}, 256),
            "a message of 256 bytes: its prefix would be 256; -prefix u8 holds "
            "0 to 255");
  EXPECT_EQ(Refusal({PrefixForm::kU8, 1}, 254), "");
  EXPECT_NE(Refusal({PrefixForm::kU8, 1}, 255), "");
  EXPECT_EQ(Refusal({PrefixForm::kU16Le}, 65535), "");
  EXPECT_NE(Refusal({PrefixForm::kU16Le}, 65536), "");
  EXPECT_EQ(Refusal({PrefixForm::kU16Be, -4}, 4), "");
  EXPECT_EQ(Refusal({PrefixForm::kU16Be, -4}, 3),
            "a message of 3 bytes: its prefix would be -1; -prefix u16be holds "
            "0 to 65535");
  EXPECT_EQ(Refusal({PrefixForm::kU32Be, 65535}, 0), "");
}

// Two pieces, and single bytes, are read as the whole is.
TEST(FramesTest, FramesMayBeCutAnywhere) {
  for (const PrefixForm form :
       {PrefixForm::kU8, PrefixForm::kU16Be, PrefixForm::kU16Le,
        PrefixForm::kU32Be, PrefixForm::kU32Le})
    for (const std::int64_t add : {0, 4, -1}) {
      const FramePrefix prefix{form, add};
      const std::string stream = Framed(prefix, "one") + Framed(prefix, "\0"s) +
                                 Framed(prefix, std::string(100, 'x')) +
                                 Framed(prefix, "last");
      for (std::size_t size = 0; size <= stream.size(); ++size) {
        const std::string_view bytes = std::string_view(stream).substr(0, size);
        const Reading whole = Read(prefix, {bytes});
        for (std::size_t cut = 0; cut <= size; ++cut)
          ASSERT_EQ(Read(prefix, {bytes.substr(0, cut), bytes.substr(cut)}),
                    whole)
              << size << " bytes cut at " << cut;
        std::vector<std::string_view> single;
        for (std::size_t i = 0; i < size; ++i)
          single.push_back(bytes.substr(i, 1));
        ASSERT_EQ(Read(prefix, single), whole) << size << " single bytes";
      }
    }
}

TEST(FramesTest, AFrameThatHasBegunIsMissing) {
  const FramePrefix prefix{PrefixForm::kU16Be, 2};
  const std::string frame = "\0\7hello"s;
  const auto missing = [&](std::size_t size) {
    return Read(prefix, {std::string_view(frame).substr(0, size)}).missing;
  };
  EXPECT_EQ(missing(0), "");
  EXPECT_EQ(missing(1), "1 of 2 bytes of a frame's prefix");
  EXPECT_EQ(missing(2), "0 of 5 bytes of a frame");
  EXPECT_EQ(missing(6), "4 of 5 bytes of a frame");
  EXPECT_EQ(missing(7), "");
}

TEST(FramesTest, EmptyMessagesAreMessages) {
  EXPECT_EQ(Read({PrefixForm::kU8}, {"\0\0\1a\0"s}),
            (Reading{{"", "", "a", ""}, "", false}));
}

TEST(FramesTest, ANumberBelowWhatIsAddedIsMalformed) {
  Collector collector({PrefixForm::kU16Be, 4});
  collector.Take("\0\4\0\3rest"s);
  EXPECT_TRUE(collector.reader().IsMalformed());
  EXPECT_EQ(collector.reader().number(), 3U);
  std::string_view more = "more";
  EXPECT_FALSE(FrameReader(collector.reader()).Take(more));
  EXPECT_EQ(more, "more");
  EXPECT_THAT(collector.End().messages, ElementsAre(""));
}

TEST(FramesTest, TheLongestLengthIsKnownWithItsPrefix) {
  FrameReader reader({PrefixForm::kU32Le, -65535});
  std::string_view bytes = "\xff\xff\xff\xffx";
  const auto piece = reader.Take(bytes);
  ASSERT_TRUE(piece);
  EXPECT_EQ(piece->bytes, "x");
  EXPECT_FALSE(piece->ends_message);
  EXPECT_EQ(reader.length(), 4'295'032'830U);
  EXPECT_EQ(reader.Missing(), "1 of 4295032830 bytes of a frame");
}

// The padding is skipped, whatever it is and wherever it is cut.
TEST(FramesTest, FramesMayBeginAtBlocks) {
  const std::string stream =
      "\2ab\xff" + "\3abc"s + "\0\1\2\3"s + "\4abcd...\1"s;
  const Reading whole = {
      {"ab", "abc", "", "abcd"}, "0 of 1 byte of a frame", false};
  for (std::size_t cut = 0; cut <= stream.size(); ++cut)
    ASSERT_EQ(Read({PrefixForm::kU8},
                   {std::string_view(stream).substr(0, cut),
                    std::string_view(stream).substr(cut)},
                   4),
              whole)
        << cut;
}

}  // namespace
}  // namespace fairlead::tool::frames_test
