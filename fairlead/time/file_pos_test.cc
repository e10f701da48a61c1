// File positions: arithmetic that wraps around, and hexadecimal text.

#include "fairlead/time/file_pos.h"

#include <array>
#include <cctype>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <string_view>
#include <type_traits>

#include "fairlead/testing/sanitizers.h"
#include "fairlead/time/file_pos_testing.h"
#include "gtest/gtest.h"

namespace fairlead::internal::file_pos_test {
namespace {

static_assert(hexletters == "0123456789ABCDEF");
static_assert(std::is_same_v<decltype(CFilePos::position), std::fpos_t>);
static_assert(std::is_same_v<decltype(CFilePos::additions), std::int32_t>);
static_assert(offsetof(CFilePos, position) == 0);
static_assert(offsetof(CFilePos, additions) == 16);
static_assert(std::is_trivially_copyable_v<CFilePos>);
static_assert(std::is_standard_layout_v<CFilePos>);

TEST(FilePosTest, StartsWithEverythingZero) {
  const CFilePos start;
  const std::fpos_t zero{};
  EXPECT_EQ(std::memcmp(&start.position, &zero, sizeof zero), 0);
  EXPECT_EQ(start.additions, 0);
  EXPECT_TRUE(start.IsZero());
  EXPECT_EQ(start.GetStr(), "0000000000000000");
  EXPECT_EQ(start.GetText(), "0 bytes");
}

TEST(FilePosTest, GetsAndSetsTheWholePosition) {
  const CFilePos from = At(12345);
  const std::fpos_t value = from.GetValue();
  EXPECT_EQ(std::memcmp(&value, &from.position, sizeof value), 0);
  CFilePos to;
  to.additions = 3;
  to.SetValue(value);
  EXPECT_EQ(std::memcmp(&to.position, &value, sizeof value), 0);
  EXPECT_EQ(to.additions, 3);
}

TEST(FilePosTest, MovesInARealFile) {
  std::FILE* const file = std::tmpfile();
  ASSERT_NE(file, nullptr);
  std::fputs("0123456789", file);
  std::rewind(file);
  CFilePos at;
  EXPECT_EQ(std::fgetpos(file, &at.position), 0);
  at.AddValue(7);
  const std::fpos_t target = at.GetValue();
  EXPECT_EQ(std::fsetpos(file, &target), 0);
  EXPECT_EQ(std::fgetc(file), '7');
  std::fclose(file);
}

TEST(FilePosTest, AddsAndCounts) {
  CFilePos at;
  at.AddValue(10);
  at.AddValue(10);
  EXPECT_EQ(Offset(at), 20U);
  EXPECT_EQ(at.additions, 2);
  at.AddValue(0);
  EXPECT_EQ(Offset(at), 20U);
  EXPECT_EQ(at.additions, 3);
}

TEST(FilePosTest, AddsAnyAmountAndWrapsAround) {
  struct Case {
    std::uint64_t offset;
    unsigned amount;
    std::uint64_t sum;
  };
  constexpr Case kCases[] = {
      {0, 0xFFFFFFFFU, 0xFFFFFFFF},  // not -1
      {0xFFFFFFFF, 1, 0x100000000},  // into the upper half
      {0x1FFFFFFFF, 0xFFFFFFFFU, 0x2FFFFFFFE},
      {kSigned - 1, 1, kSigned},  // past the largest fpos_t
      {kSigned - 1, 0xFFFFFFFFU, kSigned + 0xFFFFFFFE},
      {kMaxOffset, 1, 0},  // past the largest offset
      {kMaxOffset, 0xFFFFFFFFU, 0xFFFFFFFE},
  };
  for (const Case& c : kCases) {
    SCOPED_TRACE(testing::Message() << c.offset << " + " << c.amount);
    CFilePos at = At(c.offset);
    at.AddValue(c.amount);
    EXPECT_EQ(Offset(at), c.sum);
    EXPECT_EQ(at.additions--, kAdditions + 1);
    EXPECT_TRUE(RestIsKept(at));
  }
}

TEST(FilePosTest, TheNumberOfAdditionsWrapsAround) {
  CFilePos at;
  at.additions = std::numeric_limits<std::int32_t>::max();
  at.AddValue(1);
  EXPECT_EQ(at.additions, std::numeric_limits<std::int32_t>::min());
}

TEST(FilePosTest, IsZeroOnlyIfEveryBitIs) {
  EXPECT_TRUE(At(0).IsZero());
  for (unsigned bit = 0; bit < 64; ++bit)
    EXPECT_FALSE(At(std::uint64_t{1} << bit).IsZero()) << "bit " << bit;
}

TEST(FilePosTest, ComparesAsUnsigned) {
  constexpr std::uint64_t kAscending[] = {
      0,           1,           0x7FFFFFFF,  0x80000000,  0xFFFFFFFF,
      0x100000000, 0x100000001, 0x1FFFFFFFF, 0x200000000, kSigned - 1,
      kSigned,     kSigned + 1, kMaxOffset};
  for (const std::uint64_t one : kAscending) {
    for (const std::uint64_t two : kAscending) {
      CFilePos other = At(two);
      other.additions = 0;  // Ignored, like the conversion state.
      EXPECT_EQ(At(one).GreaterThan(other), one > two) << one << ' ' << two;
    }
  }
}

TEST(FilePosTest, TheDifferenceIgnoresTheUpperHalf) {
  const std::uint64_t two_to_32 = std::uint64_t{1} << 32U;
  EXPECT_EQ(At(two_to_32 + 5).Difference(At(3)), 2U);
  EXPECT_EQ(At(5).Difference(At(two_to_32 * 7 + 3)), 2U);
  EXPECT_EQ(At(3).Difference(At(5)), 0xFFFFFFFEU);
  EXPECT_EQ(At(0).Difference(At(kMaxOffset)), 1U);
  EXPECT_EQ(At(two_to_32).Difference(At(two_to_32 - 1)), 1U);
}

// The mebibytes of an offset, from its halves.
double MebibytesOfHalves(std::uint64_t offset) {
  const auto high = static_cast<std::uint32_t>(offset >> 32U);
  const auto low = static_cast<std::uint32_t>(offset);
  return high * 4096.0 + low * (1.0 / 1048576.0);
}

TEST(FilePosTest, TheDifferenceInMebibytesKeepsTheFraction) {
  const std::uint64_t two_to_32 = std::uint64_t{1} << 32U;
  EXPECT_EQ(At(two_to_32 + 5).DifferenceInMb(At(3)), 4096.0 + 2.0 / 1048576.0);
  EXPECT_EQ(At(3).DifferenceInMb(At(two_to_32 + 5)), -4096.0 - 2.0 / 1048576.0);
  EXPECT_EQ(At(1536 * kKilo).DifferenceInMb(At(0)), 1.5);
  EXPECT_EQ(At(1).DifferenceInMb(At(0)), 1.0 / 1048576.0);
  EXPECT_EQ(At(kMaxOffset).DifferenceInMb(At(0)), 17592186044416.0);
  EXPECT_EQ(At(kSigned).DifferenceInMb(At(kSigned)), 0.0);
}

TEST(FilePosTest, TheDifferenceInMebibytesAgreesWithThatOfTheHalves) {
  std::mt19937_64 random(kSeed);
  for (int i = 0; i < Rounds(100'000); ++i) {
    const std::uint64_t one = RandomOffset(random);
    const std::uint64_t two = RandomOffset(random);
    ASSERT_EQ(At(one).DifferenceInMb(At(two)),
              MebibytesOfHalves(one) - MebibytesOfHalves(two))
        << "seed " << kSeed << ", " << one << ' ' << two;
  }
}

TEST(FilePosTest, WritesSixteenDigits) {
  EXPECT_EQ(At(0x1F).GetStr(), "000000000000001F");
  EXPECT_EQ(At(0x0123456789ABCDEF).GetStr(), "0123456789ABCDEF");
  EXPECT_EQ(At(0xFEDCBA9876543210).GetStr(), "FEDCBA9876543210");
  EXPECT_EQ(At(kMaxOffset).GetStr(), "FFFFFFFFFFFFFFFF");
}

TEST(FilePosTest, WritesAndReadsBackRandomOffsets) {
  std::mt19937_64 random(kSeed);
  for (int i = 0; i < Rounds(100'000); ++i) {
    const std::uint64_t offset = RandomOffset(random);
    SCOPED_TRACE(testing::Message() << "seed " << kSeed << ", " << offset);
    std::array<char, 17> printed;
    std::snprintf(printed.data(), printed.size(), "%016lX", offset);
    ASSERT_EQ(At(offset).GetStr(), printed.data());
    CFilePos back = At(~offset);
    ASSERT_TRUE(back.LoadFromString(printed.data()));
    ASSERT_EQ(Offset(back), offset);
  }
}

// The value of a digit according to the system; -1 if it is none.
int DigitValue(char c) {
  const std::string_view digits = "0123456789ABCDEF";
  const int upper = std::toupper(static_cast<unsigned char>(c));
  const std::size_t found = digits.find(static_cast<char>(upper));
  return found == std::string_view::npos ? -1 : static_cast<int>(found);
}

TEST(FilePosTest, ClassifiesEveryCharacter) {
  int digits = 0;
  for (int i = 0; i < 256; ++i) {
    const char c = static_cast<char>(i);
    bool ok = true;
    EXPECT_EQ(CFilePos::GetFromHex(c, ok), DigitValue(c)) << i;
    EXPECT_EQ(ok, DigitValue(c) >= 0) << i;
    digits += ok ? 1 : 0;

    ok = false;  // Once a character was wrong, none is looked at.
    EXPECT_EQ(CFilePos::GetFromHex(c, ok), 0) << i;
    EXPECT_FALSE(ok) << i;
  }
  EXPECT_EQ(digits, 22);
  bool ok = true;
  EXPECT_EQ(CFilePos().GetFromHex('f', ok), 15);  // NOLINT: as of an object.
}

struct LoadCase {
  const char* text;
  bool loaded;
  std::uint64_t offset;
};

constexpr std::uint64_t kBefore = 0x1122334455667788;

constexpr LoadCase kLoadCases[] = {
    {"", false, kBefore},  // nothing is changed
    {"1f", true, 0x1F},
    {"1F", true, 0x1F},
    {"0000001F", true, 0x1F},
    {"000000000000001F", true, 0x1F},
    {"0", true, 0},
    {"aBcDeF", true, 0xABCDEF},
    {"ffffffff", true, 0xFFFFFFFF},    // a low part alone empties the upper
    {"100000000", true, 0x100000000},  // the ninth digit is the upper's first
    {"ffffffffffffffff", true, kMaxOffset},
    // Digits past the sixteenth go around within the upper half...
    {"10000000000000000", true, 0x0000000100000000},
    {"10000000200000003", true, 0x0000000300000003},
    {"120000000000000000", true, 0x0000001200000000},
    // ...where they are added, with their carry, which the half then loses.
    {"F0000000F00000000", true, 0x0000001E00000000},
    {"1FFFFFFFFFFFFFFFF", true, 0x00000000FFFFFFFF},
    {"1000000010000000100000000", true, 0x0000000300000000},
    // What is right of a wrong character was read, and -1 added in its place;
    // the upper half is as it was.
    {"1g", false, 0x11223344FFFFFFFF},
    {"g", false, 0x11223344FFFFFFFF},
    {"g1", false, 0x11223344FFFFFFF1},
    {"1g1", false, 0x11223344FFFFFFF1},
    {"gg1", false, 0x11223344FFFFFFF1},
    {"g0000000", false, 0x11223344F0000000},
    {"0x1F", false, 0x11223344FFFFFF1F},
    {"1 ", false, 0x11223344FFFFFFFF},
    {" 1", false, 0x11223344FFFFFFF1},
    {"-1", false, 0x11223344FFFFFFF1},
    {"+1", false, 0x11223344FFFFFFF1},
    {"000000000000000g", false, 0x11223344FFFFFFFF},
    // The lower half is written before the upper one fails.
    {"g00000002", false, 0xFFFFFFFF00000002},
    {"1g100000002", false, 0xFFFFFFF100000002},
    {"0x0000000000000002", false, 0xFFFFFFFF00000002},
    {"g0000000300000002", false, 0x0000000200000002},
};

TEST(FilePosTest, LoadsHexadecimalDigits) {
  for (const LoadCase& c : kLoadCases) {
    SCOPED_TRACE(testing::Message() << "text \"" << c.text << '"');
    CFilePos at = At(kBefore);
    EXPECT_EQ(at.LoadFromString(c.text), c.loaded);
    EXPECT_EQ(Offset(at), c.offset) << at.GetStr();
    EXPECT_TRUE(RestIsKept(at));
  }
}

// One half in plain steps of 64-bit arithmetic, modulo 2^32.
bool ReadHalf(const std::string& part, std::uint64_t& half) {
  half = 0;
  std::uint64_t place = 1;
  for (std::size_t left = part.size(); left > 0; --left) {
    const int value = DigitValue(part[left - 1]);
    half = (half + (std::uint64_t{1} << 32U) +
            static_cast<std::uint64_t>(value) * place) &
           0xFFFFFFFF;
    if (value < 0) return false;
    place = place == 0x10000000 ? 1 : place * 16;
  }
  return true;
}

bool Read(const std::string& text, std::uint64_t& offset) {
  if (text.empty()) return false;
  const bool is_long = text.size() > 8;
  const std::string low_part = is_long ? text.substr(text.size() - 8) : text;
  const std::string high_part =
      is_long ? text.substr(0, text.size() - 8) : std::string();
  std::uint64_t low = 0;
  std::uint64_t high = offset >> 32U;
  const bool read = ReadHalf(low_part, low) && ReadHalf(high_part, high);
  offset = high * (std::uint64_t{1} << 32U) + low;
  return read;
}

void RequireReadAlike(const std::string& text) {
  std::uint64_t expected = kBefore;
  const bool loaded = Read(text, expected);
  CFilePos at = At(kBefore);
  ASSERT_EQ(at.LoadFromString(text), loaded) << testing::PrintToString(text);
  ASSERT_EQ(Offset(at), expected) << testing::PrintToString(text);
  ASSERT_TRUE(RestIsKept(at)) << testing::PrintToString(text);
}

TEST(FilePosTest, LoadsEveryCharacterAtEveryPlace) {
  const std::string digits = "9a8B7c6D5e4F3210fEdCbA98";
  for (std::size_t length = 1; length <= digits.size(); ++length) {
    for (std::size_t place = 0; place < length; ++place) {
      std::string text = digits.substr(0, length);
      for (int c = 0; c < 256; ++c) {
        text[place] = static_cast<char>(c);
        ASSERT_NO_FATAL_FAILURE(RequireReadAlike(text));
      }
    }
  }
}

TEST(FilePosTest, LoadsRandomTexts) {
  const std::string_view digits = "0123456789abcdefABCDEF";
  std::mt19937 random(kSeed);
  for (int i = 0; i < Rounds(100'000); ++i) {
    SCOPED_TRACE(testing::Message() << "seed " << kSeed << ", text " << i);
    std::string text(random() % 40, '0');
    for (char& c : text) c = digits[random() % digits.size()];
    for (auto wrong = random() % 3; wrong > 0 && !text.empty(); --wrong)
      text[random() % text.size()] = static_cast<char>(random());
    ASSERT_NO_FATAL_FAILURE(RequireReadAlike(text));
  }
}

}  // namespace
}  // namespace fairlead::internal::file_pos_test
