// File positions: wrapping arithmetic, hexadecimal both ways, and sizes.

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

#include "gmock/gmock.h"
#include "gtest/gtest.h"

namespace fairlead {
namespace {

constexpr unsigned kSeed = 20261114;
constexpr std::uint64_t kLargest = std::numeric_limits<std::uint64_t>::max();
constexpr std::uint64_t kSigned = std::uint64_t{1} << 63U;
constexpr std::uint64_t kKilo = 1024;

static_assert(hexletters == "0123456789ABCDEF");
static_assert(std::is_same_v<decltype(CFilePos::position), std::fpos_t>);
static_assert(std::is_same_v<decltype(CFilePos::additions), std::int32_t>);
static_assert(offsetof(CFilePos, position) == 0);
static_assert(offsetof(CFilePos, additions) == 16);
static_assert(std::is_trivially_copyable_v<CFilePos>);
static_assert(std::is_standard_layout_v<CFilePos>);

// A conversion state that nothing here would make, and a count beside it.
constexpr int kPattern = 0xA5;
constexpr int kAdditions = 41;

CFilePos At(std::uint64_t offset) {
  CFilePos made;
  std::memset(&made.position, kPattern, sizeof made.position);
  made.position.__pos = static_cast<std::int64_t>(offset);
  made.additions = kAdditions;
  return made;
}

std::uint64_t Offset(const CFilePos& at) {
  return static_cast<std::uint64_t>(at.position.__pos);
}

// Whether only the offset may have changed since At() made it.
bool RestIsKept(const CFilePos& at) {
  std::fpos_t state;
  std::memset(&state, kPattern, sizeof state);
  return at.additions == kAdditions &&
         std::memcmp(&at.position.__state, &state.__state,
                     sizeof state.__state) == 0;
}

// An offset of random length, so that small ones are as frequent as large ones.
std::uint64_t AnyOffset(std::mt19937_64& random) {
  return random() >> random() % 64;
}

TEST(FilePosTest, StartsWithEverythingZero) {
  const CFilePos start;
  const std::fpos_t zero{};
  EXPECT_EQ(std::memcmp(&start.position, &zero, sizeof zero), 0);
  EXPECT_EQ(start.additions, 0);
  EXPECT_TRUE(start.IsZero());
  EXPECT_EQ(start.GetStr(), "0000000000000000");
  EXPECT_EQ(start.GetText(), "0 bytes");
}

TEST(FilePosTest, HandsOutAndTakesThePositionWhole) {
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

TEST(FilePosTest, AddsTheWholeRangeOfTheAmountAndWraps) {
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
      {kLargest, 1, 0},  // past the largest of all
      {kLargest, 0xFFFFFFFFU, 0xFFFFFFFE},
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

TEST(FilePosTest, TheCountOfAdditionsWraps) {
  CFilePos at;
  at.additions = std::numeric_limits<std::int32_t>::max();
  at.AddValue(1);
  EXPECT_EQ(at.additions, std::numeric_limits<std::int32_t>::min());
}

TEST(FilePosTest, KnowsZeroByAllItsBits) {
  EXPECT_TRUE(At(0).IsZero());
  for (unsigned bit = 0; bit < 64; ++bit)
    EXPECT_FALSE(At(std::uint64_t{1} << bit).IsZero()) << "bit " << bit;
}

TEST(FilePosTest, ComparesAsUnsigned) {
  constexpr std::uint64_t kAscending[] = {
      0,           1,           0x7FFFFFFF,  0x80000000,  0xFFFFFFFF,
      0x100000000, 0x100000001, 0x1FFFFFFFF, 0x200000000, kSigned - 1,
      kSigned,     kSigned + 1, kLargest};
  for (const std::uint64_t one : kAscending) {
    for (const std::uint64_t two : kAscending) {
      CFilePos other = At(two);
      other.additions = 0;  // Nor does the count take part.
      EXPECT_EQ(At(one).GreaterThan(other), one > two) << one << ' ' << two;
    }
  }
}

TEST(FilePosTest, TheDifferenceIgnoresTheUpperHalves) {
  const std::uint64_t two_to_32 = std::uint64_t{1} << 32U;
  EXPECT_EQ(At(two_to_32 + 5).Difference(At(3)), 2U);
  EXPECT_EQ(At(5).Difference(At(two_to_32 * 7 + 3)), 2U);
  EXPECT_EQ(At(3).Difference(At(5)), 0xFFFFFFFEU);
  EXPECT_EQ(At(0).Difference(At(kLargest)), 1U);
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
  EXPECT_EQ(At(kLargest).DifferenceInMb(At(0)), 17592186044416.0);
  EXPECT_EQ(At(kSigned).DifferenceInMb(At(kSigned)), 0.0);
}

TEST(FilePosTest, TheDifferenceInMebibytesIsThatOfTheHalves) {
  std::mt19937_64 random(kSeed);
  for (int i = 0; i < 100'000; ++i) {
    const std::uint64_t one = AnyOffset(random);
    const std::uint64_t two = AnyOffset(random);
    ASSERT_EQ(At(one).DifferenceInMb(At(two)),
              MebibytesOfHalves(one) - MebibytesOfHalves(two))
        << "seed " << kSeed << ", " << one << ' ' << two;
  }
}

// ---- Hexadecimal ----

TEST(FilePosTest, WritesSixteenDigits) {
  EXPECT_EQ(At(0x1F).GetStr(), "000000000000001F");
  EXPECT_EQ(At(0x0123456789ABCDEF).GetStr(), "0123456789ABCDEF");
  EXPECT_EQ(At(0xFEDCBA9876543210).GetStr(), "FEDCBA9876543210");
  EXPECT_EQ(At(kLargest).GetStr(), "FFFFFFFFFFFFFFFF");
}

TEST(FilePosTest, WritesAndReadsBackRandomOffsets) {
  std::mt19937_64 random(kSeed);
  for (int i = 0; i < 100'000; ++i) {
    const std::uint64_t offset = AnyOffset(random);
    SCOPED_TRACE(testing::Message() << "seed " << kSeed << ", " << offset);
    std::array<char, 17> printed;
    std::snprintf(printed.data(), printed.size(), "%016lX", offset);
    ASSERT_EQ(At(offset).GetStr(), printed.data());
    CFilePos back = At(~offset);
    ASSERT_TRUE(back.LoadFromString(printed.data()));
    ASSERT_EQ(Offset(back), offset);
  }
}

// The value of a digit by the system's own rules; -1 where there is none.
int DigitValue(char c) {
  const std::string_view digits = "0123456789ABCDEF";
  const int upper = std::toupper(static_cast<unsigned char>(c));
  const std::size_t found = digits.find(static_cast<char>(upper));
  return found == std::string_view::npos ? -1 : static_cast<int>(found);
}

TEST(FilePosTest, KnowsEveryCharacterAsADigitOrNone) {
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
    {"ffffffffffffffff", true, kLargest},
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
  for (int i = 0; i < 100'000; ++i) {
    SCOPED_TRACE(testing::Message() << "seed " << kSeed << ", text " << i);
    std::string text(random() % 40, '0');
    for (char& c : text) c = digits[random() % digits.size()];
    for (auto wrong = random() % 3; wrong > 0 && !text.empty(); --wrong)
      text[random() % text.size()] = static_cast<char>(random());
    ASSERT_NO_FATAL_FAILURE(RequireReadAlike(text));
  }
}

// ---- Sizes ----

struct TextCase {
  std::uint64_t offset;
  const char* text;
};

constexpr TextCase kTextCases[] = {
    {0, "0 bytes"},
    {1, "1 bytes"},
    {512, "512 bytes"},
    {1023, "1023 bytes"},
    {1024, "1 Kb"},
    {1025, "1.01 Kb"},
    {1536, "1.51 Kb"},  // not 1.50: the rounding adds one
    {2047, "2 Kb"},
    {9 * kKilo + 1012, "9.99 Kb"},
    {9 * kKilo + 1013, "10 Kb"},
    {10 * kKilo, "10 Kb"},
    {10 * kKilo + 1, "10.1 Kb"},
    {10 * kKilo + 512, "10.6 Kb"},
    {10 * kKilo + 920, "10.9 Kb"},
    {10 * kKilo + 921, "11 Kb"},
    {99 * kKilo + 920, "99.9 Kb"},
    {99 * kKilo + 921, "100 Kb"},
    {100 * kKilo, "100 Kb"},
    {100 * kKilo + 1, "101 Kb"},
    {1023 * kKilo, "1023 Kb"},
    {1023 * kKilo + 1, "1024 Kb"},
    {1048575, "1024 Kb"},  // not 1 Mb
    {1048576, "1 Mb"},
    {1048577, "1.01 Mb"},  // a remainder of any division counts
    {std::uint64_t{1} << 30U, "1 Gb"},
    {std::uint64_t{1} << 40U, "1 Tb"},
    {std::uint64_t{1} << 50U, "1 Pb"},
    {std::uint64_t{1} << 60U, "1 Eb"},
    {(std::uint64_t{1} << 60U) + 1, "1.01 Eb"},
    {kSigned - 1, "8 Eb"},
    {kSigned, "8 Eb"},
    {kSigned + 1, "8.01 Eb"},
    {kLargest, "16 Eb"},
};

TEST(FilePosTest, WritesSizes) {
  for (const TextCase& c : kTextCases)
    EXPECT_EQ(At(c.offset).GetText(), c.text);
}

constexpr const char* kUnits[] = {"bytes", "Kb", "Mb", "Gb", "Tb", "Pb", "Eb"};

// The rounding of a fraction, a number of 1024ths, in floating point. To narrow
// it on the way loses nothing: 100 * 1024 + 1024 has 17 bits.
unsigned RoundedInFloat(unsigned fraction, int steps) {
  return static_cast<unsigned>(
      static_cast<float>(fraction * (1.0 / 1024) * steps + 1.0));
}

// The size by repeated division, its rounding in floating point.
std::string Size(std::uint64_t offset) {
  if (offset < 1024) return std::to_string(offset) + " bytes";
  unsigned divisions = 0;
  unsigned remainder = 0;
  bool is_whole = true;
  for (; offset >= 1024; offset /= 1024) {
    remainder = offset % 1024;
    is_whole = is_whole && remainder == 0;
    ++divisions;
  }
  std::string decimals;
  if (!is_whole) {
    const int steps = offset < 10 ? 100 : offset < 100 ? 10 : 0;
    const unsigned shown = RoundedInFloat(remainder + 1, steps);
    if (steps == 0 || shown >= static_cast<unsigned>(steps))
      ++offset;
    else
      decimals =
          (steps == 100 && shown < 10 ? ".0" : ".") + std::to_string(shown);
  }
  return std::to_string(offset) + decimals + ' ' + kUnits[divisions];
}

TEST(FilePosTest, WritesEverySizeOfTwoMegabytesAsTheDivisionsDo) {
  for (std::uint64_t offset = 0; offset < 2 * kKilo * kKilo; offset += 3)
    ASSERT_EQ(At(offset).GetText(), Size(offset)) << offset;
}

TEST(FilePosTest, WritesSizesAroundEveryBoundary) {
  for (unsigned unit = 1; unit <= 6; ++unit) {
    const std::uint64_t one = std::uint64_t{1} << (10 * unit);
    for (const std::uint64_t whole : {1U, 2U, 8U, 9U, 10U, 11U, 15U, 98U, 99U,
                                      100U, 101U, 999U, 1000U, 1022U, 1023U}) {
      if (whole > kLargest / one) continue;
      for (std::uint64_t part = 0; part < 1024; ++part) {
        for (std::uint64_t delta = 0; delta < 5; ++delta) {
          const std::uint64_t at =
              whole * one + part * (one / 1024) + delta - 2;
          ASSERT_EQ(At(at).GetText(), Size(at)) << at;
        }
      }
    }
  }
}

TEST(FilePosTest, WritesRandomSizes) {
  std::mt19937_64 random(kSeed);
  for (int i = 0; i < 200'000; ++i) {
    const std::uint64_t offset = AnyOffset(random);
    ASSERT_EQ(At(offset).GetText(), Size(offset))
        << "seed " << kSeed << ", " << offset;
  }
}

__extension__ using Wide = unsigned __int128;

// A hundred times the bytes that a size text stands for.
Wide HundredfoldBytes(const std::string& text) {
  unsigned whole = 0;
  std::array<char, 4> decimals{};
  std::array<char, 8> unit{};
  if (std::sscanf(text.c_str(), "%u.%3s %7s", &whole, decimals.data(),
                  unit.data()) != 3)
    std::sscanf(text.c_str(), "%u %7s", &whole, unit.data());
  Wide hundredfold = whole * 100U;
  if (decimals[0] != '\0')
    hundredfold += static_cast<unsigned>(decimals[0] - '0') * 10U;
  if (decimals[1] != '\0')
    hundredfold += static_cast<unsigned>(decimals[1] - '0');
  for (const char* name : kUnits) {
    if (std::strcmp(name, unit.data()) == 0) return hundredfold;
    hundredfold *= 1024;
  }
  ADD_FAILURE() << "no such unit: " << text;
  return 0;
}

TEST(FilePosTest, NeverShowsLessThanThereIsNorMuchMore) {
  std::mt19937_64 random(kSeed);
  for (int i = 0; i < 100'000; ++i) {
    const std::uint64_t offset = AnyOffset(random);
    const std::string text = At(offset).GetText();
    SCOPED_TRACE(testing::Message() << "seed " << kSeed << ", " << offset);
    const Wide there = Wide{offset} * 100;
    const Wide shown = HundredfoldBytes(text);
    ASSERT_TRUE(shown >= there) << text;
    // Two steps of the last decimal, of one unit in ten, ten in a hundred...
    ASSERT_TRUE((shown - there) * 50 <= there) << text;
  }
}

}  // namespace
}  // namespace fairlead
