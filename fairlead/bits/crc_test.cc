// The checksum of single values, against a register of single bits.

#include "fairlead/bits/crc.h"

#include <gtest/gtest.h>

#include <array>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <type_traits>

namespace fairlead::crc_test {
namespace {

static_assert(std::is_aggregate_v<CCRC>);
static_assert(std::is_standard_layout_v<CCRC>);
static_assert(std::is_trivially_copyable_v<CCRC>);
static_assert(sizeof(CCRC) == 16);
static_assert(offsetof(CCRC, state) == 0);
static_assert(offsetof(CCRC, rotation) == 8);
static_assert(offsetof(CCRC, count) == 12);
static_assert(std::is_same_v<decltype(CCRC::state), std::uint64_t>);
static_assert(std::is_same_v<decltype(CCRC::rotation), std::int32_t>);
static_assert(std::is_same_v<decltype(CCRC::count), std::int32_t>);

template <typename Result, typename... Arguments>
using ReadOut = Result (CCRC::*)(Arguments...) const noexcept;
static_assert(std::is_same_v<decltype(&CCRC::ReadCRC), ReadOut<std::uint64_t>>);
static_assert(
    std::is_same_v<decltype(&CCRC::ReadCRC24), ReadOut<std::uint64_t>>);
static_assert(
    std::is_same_v<decltype(&CCRC::ReadCRC16), ReadOut<std::uint32_t>>);
static_assert(std::is_same_v<decltype(&CCRC::ReadCRC8), ReadOut<std::uint8_t>>);

// A register of 64 single bits, bit 0 first.
using Register = std::array<bool, 64>;

Register BitsOf(std::uint64_t value) {
  Register bits;
  for (std::size_t i = 0; i < 64; ++i) bits[i] = (value >> i & 1) != 0;
  return bits;
}

std::uint64_t ValueOf(const Register& bits) {
  std::uint64_t value = 0;
  for (std::size_t i = 64; i-- > 0;) value = value * 2 + (bits[i] ? 1 : 0);
  return value;
}

// Moves each bit by `places` modulo 64, to higher positions if `up`, else to
// lower ones. Bits that leave the register are lost.
Register Moved(const Register& bits, int places, bool up) {
  const int distance = ((places % 64) + 64) % 64;
  Register moved{};
  for (int i = 0; i < 64; ++i) {
    const int to = up ? i + distance : i - distance;
    if (to >= 0 && to < 64)
      moved[static_cast<std::size_t>(to)] = bits[static_cast<std::size_t>(i)];
  }
  return moved;
}

std::uint64_t ModelStep(std::uint64_t state, int rotation,
                        std::uint32_t value) {
  const Register old = BitsOf(state);
  const Register one = rotation >= 0 ? Moved(old, 32 - rotation, false)
                                     : Moved(old, rotation + 32, true);
  const Register other =
      rotation >= 0 ? Moved(old, rotation, true) : Moved(old, -rotation, false);
  Register sum = BitsOf(value);
  for (std::size_t i = 0; i < 64; ++i) sum[i] = sum[i] != (one[i] || other[i]);
  return ValueOf(sum);
}

TEST(CrcTest, IsMadeByItsFields) {
  const CCRC empty{};
  EXPECT_EQ(empty.state, 0U);
  EXPECT_EQ(empty.rotation, 0);
  EXPECT_EQ(empty.count, 0);
  const CCRC rotating{.rotation = 5};
  EXPECT_EQ(rotating.state, 0U);
  EXPECT_EQ(rotating.rotation, 5);
  EXPECT_EQ(rotating.count, 0);
  const CCRC whole{0x123456789U, -7, 9};
  EXPECT_EQ(whole.ReadCRC(), 0x123456789U);
  EXPECT_EQ(whole.rotation, -7);
  EXPECT_EQ(whole.count, 9);
}

TEST(CrcTest, RotationOneAddsUp) {
  CCRC crc{.rotation = 1};
  crc.AddVal(1U);
  EXPECT_EQ(crc.ReadCRC(), 1U);
  crc.AddVal(1U);
  EXPECT_EQ(crc.ReadCRC(), 3U);
  EXPECT_EQ(crc.count, 2);
  EXPECT_EQ(crc.rotation, 1);
}

struct StepCase {
  int rotation;
  std::uint64_t state;
  std::uint32_t value;
  std::uint64_t after;
};

constexpr StepCase kStepCases[] = {
    {1, 0x80000000, 0, 0x100000001},  // the top bit stays and re-enters
    {0, 0x80000001, 0, 0x80000001},   // s | s >> 32
    {0, 0x500000002, 8, 0x50000000F},
    {32, 0x500000002, 8, 0x70000000A},   // s | s << 32
    {-32, 0x500000002, 8, 0x50000000F},  // as 0
    {-1, 1, 0, 0x80000000},              // s << 31 | s >> 1
    {-1, 2, 0, 0x100000001},
    {-31, 0x80000000, 0, 0x100000001},  // as 1
    {16, 0x12345678, 0, 0x123456781234},
    {8, 0xFFFFFFFF00000000, 0, 0xFFFFFFFFFFFFFF00},
    {31, 0xFFFFFFFF00000000, 0xFFFFFFFF, 0xFFFFFFFF7FFFFFFF},
    {33, 0x8000000000000001, 0, 0x200000001},         // s >> 63 | s << 33
    {64, 0x8000000100000000, 1, 0x8000000180000000},  // s >> 32 | s
};

TEST(CrcTest, AStepRotatesThenCombines) {
  for (const StepCase& c : kStepCases) {
    CCRC crc{.state = c.state, .rotation = c.rotation};
    crc.AddVal(c.value);
    EXPECT_EQ(crc.state, c.after)
        << std::hex << "rotation " << c.rotation << ", state " << c.state;
    EXPECT_EQ(crc.count, 1);
  }
}

TEST(CrcTest, EveryRotationMovesSingleBits) {
  std::mt19937_64 random(61);
  for (int rotation = -140; rotation <= 140; ++rotation) {
    CCRC crc{.rotation = rotation};
    std::uint64_t model = 0;
    for (int i = 0; i < 100; ++i) {
      // Also from random states: accumulated ones are soon all ones.
      if (i % 4 == 0) crc.state = model = random() & random();
      const auto value = static_cast<std::uint32_t>(random() & random());
      crc.AddVal(value);
      model = ModelStep(model, rotation, value);
      ASSERT_EQ(crc.state, model) << "rotation " << rotation;
    }
  }
}

TEST(CrcTest, RotationsAtTheEndsOfIntAreDefined) {
  constexpr std::uint64_t kState = 0x123456789ABCDEF0;
  CCRC lowest{.state = kState, .rotation = INT_MIN};  // As 0, modulo 64.
  lowest.AddVal(0U);
  EXPECT_EQ(lowest.state, kState << 32 | kState);
  CCRC highest{.state = kState, .rotation = INT_MAX};  // As 63.
  highest.AddVal(0U);
  EXPECT_EQ(highest.state, kState >> 33 | kState << 63);
}

TEST(CrcTest, ARotationOfMinusNEquals32MinusN) {
  std::mt19937_64 random(62);
  for (int n = 1; n <= 32; ++n) {
    const std::uint64_t state = random();
    CCRC down{.state = state, .rotation = -n};
    CCRC up{.state = state, .rotation = 32 - n};
    down.AddVal(99U);
    up.AddVal(99U);
    EXPECT_EQ(down.state, up.state);
  }
}

TEST(CrcTest, TextIsSignExtendedAndBytesAreNot) {
  CCRC text{.rotation = 3};
  text.AddVal(std::string("\xE9"));
  EXPECT_EQ(text.state, 0xFFFFFFE9U);
  CCRC bytes{.rotation = 3};
  unsigned char byte[] = {0xE9};
  bytes.AddArr(byte, 1);
  EXPECT_EQ(bytes.state, 0xE9U);
  CCRC wide{.rotation = 3};
  wide.AddVal(std::wstring(1, static_cast<wchar_t>(0xE9)));
  EXPECT_EQ(wide.state, 0xE9U);
  CCRC negative{.rotation = 3};
  negative.AddVal(std::wstring(1, static_cast<wchar_t>(0x8001F600)));
  EXPECT_EQ(negative.state, 0x8001F600U);
}

TEST(CrcTest, EveryKindOfArgumentFindsItsOverload) {
  CCRC crc{.rotation = 1};
  crc.AddVal(5);
  EXPECT_EQ(crc.state, 5U);
  crc = {.rotation = 1};
  crc.AddVal('a');
  EXPECT_EQ(crc.state, 0x61U);
  crc = {.rotation = 1};
  crc.AddVal("ab");
  EXPECT_EQ(crc.state, (0x61U << 1) ^ 0x62U);
  EXPECT_EQ(crc.count, 2);
  crc = {.rotation = 1};
  crc.AddVal(L"ab");
  EXPECT_EQ(crc.state, (0x61U << 1) ^ 0x62U);
  crc = {.rotation = 1};
  crc.AddVal(std::string("a\0b", 3));
  EXPECT_EQ(crc.count, 3);
  EXPECT_EQ(crc.state, (0x61U << 2) ^ 0x62U);
}

TEST(CrcTest, EmptyInputAddsNothing) {
  const unsigned char bytes[] = {1, 2, 3};
  CCRC crc{.state = 0xABCD, .rotation = 5, .count = 3};
  crc.AddArr(bytes, 0);
  crc.AddArr(bytes, -1);
  crc.AddArr(bytes, INT_MIN);
  crc.AddArr(nullptr, 0);
  crc.AddVal(std::string());
  crc.AddVal(std::wstring());
  crc.AddVal("");
  EXPECT_EQ(crc.state, 0xABCDU);
  EXPECT_EQ(crc.count, 3);
}

TEST(CrcTest, ReadsOut) {
  const CCRC crc{.state = 0x11223344};
  EXPECT_EQ(crc.ReadCRC(), 0x11223344U);
  EXPECT_EQ(crc.ReadCRC24(), 0x333344U);
  EXPECT_EQ(crc.ReadCRC16(), 0x11222266U);
  EXPECT_EQ(crc.ReadCRC8(), 0x44U);
  const CCRC high{.state = 0x123456789ABCDEF0};
  EXPECT_EQ(high.ReadCRC(), 0x123456789ABCDEF0U);
  EXPECT_EQ(high.ReadCRC24(), (0xBCDEF0U ^ 0x9A0000U));
  // Bits 32 to 47 reach the upper half of the 16-bit value.
  EXPECT_EQ(high.ReadCRC16(), (0x9ABCDEF0U ^ 0x56789ABCU));
  EXPECT_EQ(high.ReadCRC8(), 0x9AU ^ 0xBCU ^ 0xDEU ^ 0xF0U);
}

TEST(CrcTest, Folds) {
  static_assert(CCRC::dw(0x11223344) == 0x11222266);
  static_assert(CCRC::dw(0xFFFF000000000000) == 0);
  static_assert(CCRC::dw(0x0000ABCD00000000) == 0xABCD0000);
  static_assert(CCRC::wb(0x1234) == 0x1226);
  static_assert(CCRC::wb(0xFF00) == 0xFFFF);
  static_assert(CCRC::wb(0x00FF) == 0x00FF);
  static_assert(CCRC::db(0x11223344) == (0x11222266U ^ 0x22));
  static_assert(CCRC::db(0x0000ABCD00000000) == 0xABCD0000);
  std::mt19937_64 random(63);
  for (int i = 0; i < 1000; ++i) {
    const std::uint64_t v = random();
    const std::uint64_t bytes = v ^ v >> 8 ^ v >> 16 ^ v >> 24;
    ASSERT_EQ(CCRC::db(v) & 0xFF, bytes & 0xFF);
    ASSERT_EQ(CCRC::dw(v) & 0xFFFF, (v ^ v >> 16) & 0xFFFF);
  }
}

TEST(CrcTest, TheCountWrapsAround) {
  CCRC crc{.rotation = 1, .count = INT_MAX};
  crc.AddVal(0U);
  EXPECT_EQ(crc.count, INT_MIN);
  crc.count = INT_MAX - 1;
  crc.AddVal("abc");
  EXPECT_EQ(crc.count, INT_MIN + 1);
  crc.count = -1;
  crc.AddVal(L"a");
  EXPECT_EQ(crc.count, 0);
  const unsigned char bytes[5] = {};
  crc.count = INT_MAX - 4;
  crc.AddArr(bytes, 5);
  EXPECT_EQ(crc.count, INT_MIN);
}

}  // namespace
}  // namespace fairlead::crc_test
