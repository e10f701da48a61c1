// The check value against a register of single bits, and whole runs of values
// against one value at a time.
#include "fairlead/bits/crc.h"

#include <gtest/gtest.h>
#include <sys/mman.h>

#include <array>
#include <climits>
#include <cstddef>
#include <functional>
#include <random>
#include <string>
#include <type_traits>
#include <vector>

namespace fairlead {
namespace {

constexpr std::size_t kLong = 100'000;

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

// Each bit moved up by `places`, which are taken modulo 64; down with `up`
// false. What leaves the register is lost.
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

using Values = std::vector<std::uint32_t>;

CCRC OneByOne(CCRC crc, const Values& values) {
  for (const std::uint32_t value : values) crc.AddVal(value);
  return crc;
}

CCRC AtOnce(CCRC crc, const Values& values) {
  std::wstring text;
  for (const std::uint32_t value : values)
    text.push_back(static_cast<wchar_t>(value));
  crc.AddVal(text);
  return crc;
}

void ExpectSame(const CCRC& one, const CCRC& other) {
  ASSERT_EQ(one.state, other.state) << "rotation " << one.rotation;
  ASSERT_EQ(one.count, other.count) << "rotation " << one.rotation;
}

TEST(CrcTest, IsMadeByItsFields) {
  const CCRC empty{};
  EXPECT_EQ(empty.state, 0U);
  EXPECT_EQ(empty.rotation, 0);
  EXPECT_EQ(empty.count, 0);
  const CCRC turning{.rotation = 5};
  EXPECT_EQ(turning.state, 0U);
  EXPECT_EQ(turning.rotation, 5);
  EXPECT_EQ(turning.count, 0);
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
    {1, 0x80000000, 0, 0x100000001},  // the top bit stays and comes back
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

TEST(CrcTest, AStepTurnsThenCombines) {
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
      // States of their own as well: those that grow here are soon all ones.
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

TEST(CrcTest, ANegativeRotationIsThePositiveOneBeyondIt) {
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

TEST(CrcTest, NothingAddsNothing) {
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

TEST(CrcTest, TheCountWraps) {
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

// Four gigabytes of zeros, none of which is read but the last few: any other
// way of adding them takes seconds.
TEST(CrcTest, ATextOfGigabytesIsAddedAndCounted) {
  const std::size_t size = (std::size_t{1} << 32) + 5;
  void* const zeros = mmap(nullptr, size, PROT_READ,
                           MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  if (zeros == MAP_FAILED) GTEST_SKIP() << "no room for so large a text";
  CCRC crc{.state = ~std::uint64_t{0}, .rotation = 8, .count = 2};
  crc.AddVal(std::string_view(static_cast<const char*>(zeros), size));
  EXPECT_EQ(crc.count, 7);
  EXPECT_EQ(crc.state, 0xFFFFFFFFFFFFFFFFU);
  munmap(zeros, size);
}

// Memory of which only the last bytes may be read.
class UnreadableMemory {
 public:
  static constexpr std::size_t kUnreadable = std::size_t{1} << 20;

  UnreadableMemory() {
    void* const start =
        mmap(nullptr, kSize, PROT_NONE,
             MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (start == MAP_FAILED) return;
    start_ = static_cast<unsigned char*>(start);
    usable_ =
        mprotect(start_ + kUnreadable, kPage, PROT_READ | PROT_WRITE) == 0;
  }
  ~UnreadableMemory() {
    if (start_ != nullptr) munmap(start_, kSize);
  }
  UnreadableMemory(const UnreadableMemory&) = delete;
  UnreadableMemory& operator=(const UnreadableMemory&) = delete;

  bool usable() const { return usable_; }

  unsigned char* readable() const { return start_ + kUnreadable; }

  // All that is unreadable, and so many bytes behind it.
  std::string_view Text(std::size_t bytes) const {
    return {reinterpret_cast<const char*>(start_), kUnreadable + bytes};
  }

 private:
  static constexpr std::size_t kPage = std::size_t{1} << 16;
  static constexpr std::size_t kSize = kUnreadable + kPage;

  unsigned char* start_ = nullptr;
  bool usable_ = false;
};

// What is remembered of r bits to the left is 32 / (32 - r), rounded up.
TEST(CrcTest, AFullUpperHalfReadsOnlyWhatItRemembers) {
  const UnreadableMemory memory;
  ASSERT_TRUE(memory.usable());
  std::mt19937 random(66);
  for (std::size_t i = 0; i < 32; ++i)
    memory.readable()[i] = static_cast<unsigned char>(random());
  for (int rotation = -31; rotation <= 31; ++rotation) {
    if (rotation == 0) continue;
    SCOPED_TRACE(rotation);
    const int left = rotation > 0 ? rotation : 32 + rotation;
    const auto remembered = static_cast<std::size_t>((63 - left) / (32 - left));
    for (const std::uint64_t state : {0xFFFFFFFF00000000, 0xFFFFFFFFFFFFFFFF}) {
      CCRC crc{.state = state, .rotation = rotation};
      CCRC expected = crc;
      crc.AddVal(memory.Text(remembered));
      for (const char c : memory.Text(remembered).substr(memory.kUnreadable))
        expected.AddVal(std::string_view(&c, 1));
      EXPECT_EQ(crc.state, expected.state);
    }
  }
}

// What is added: values by number, given the state that they meet.
struct Input {
  const char* name;
  std::function<std::uint32_t(std::size_t, const CCRC&)> value;
};

std::vector<Input> Inputs(std::mt19937& random) {
  const auto any = [&random] { return static_cast<std::uint32_t>(random()); };
  return {
      {"random", [=](std::size_t, const CCRC&) { return any(); }},
      {"text", [=](std::size_t, const CCRC&) { return 32 + any() % 95; }},
      {"zeros", [](std::size_t, const CCRC&) { return 0U; }},
      {"ones", [](std::size_t, const CCRC&) { return ~0U; }},
      {"constant", [](std::size_t, const CCRC&) { return 0x80402010U; }},
      {"sparse",
       [=](std::size_t, const CCRC&) {
         return any() % 50 == 0 ? 1U << any() % 32 : 0U;
       }},
      {"rare",
       [=](std::size_t, const CCRC&) {
         return any() % 5000 == 0 ? 1U << any() % 32 : 0U;
       }},
      // Each value takes out what the turn brings down, so that the upper half
      // gains nothing but a bit once in a while.
      {"late",
       [=](std::size_t i, const CCRC& crc) {
         CCRC next = crc;
         next.AddVal(0U);
         const auto turned = static_cast<std::uint32_t>(next.state);
         return i % 700 == 699 ? turned ^ 1U << any() % 32 : turned;
       }},
      {"never",
       [](std::size_t, const CCRC& crc) {
         CCRC next = crc;
         next.AddVal(0U);
         return static_cast<std::uint32_t>(next.state);
       }},
  };
}

std::vector<std::uint64_t> StartStates(std::mt19937& random) {
  const std::uint64_t low = random();
  const std::uint64_t ones = ~std::uint64_t{0} << 32;
  const std::uint64_t hole = std::uint64_t{1} << (32 + random() % 32);
  return {0, low, ones | low, (ones ^ hole) | low, ~std::uint64_t{0}};
}

Values Generated(const Input& input, CCRC crc, std::size_t size) {
  Values values;
  for (std::size_t i = 0; i < size; ++i) {
    values.push_back(input.value(i, crc));
    crc.AddVal(values.back());
  }
  return values;
}

// Every length past which a short cut could be taken one value too early.
TEST(CrcTest, ShortRunsEqualSingleValues) {
  std::mt19937 random(64);
  for (int rotation = -32; rotation <= 32; ++rotation)
    for (const Input& input : Inputs(random))
      for (const std::uint64_t start : StartStates(random)) {
        SCOPED_TRACE(input.name);
        CCRC single{.state = start, .rotation = rotation, .count = INT_MAX - 9};
        const CCRC fresh = single;
        Values values;
        for (std::size_t size = 0; size < 150; ++size) {
          if (size < 40 || size % 8 < 2)
            ExpectSame(AtOnce(fresh, values), single);
          if (HasFatalFailure()) return;
          values.push_back(input.value(size, single));
          single.AddVal(values.back());
        }
      }
}

TEST(CrcTest, LongRunsEqualSingleValues) {
  std::mt19937 random(65);
  for (int rotation = -32; rotation <= 32; ++rotation)
    for (const Input& input : Inputs(random)) {
      SCOPED_TRACE(input.name);
      const std::uint64_t start = StartStates(random)[random() % 5];
      const CCRC fresh{.state = start, .rotation = rotation};
      const std::size_t size = kLong / 10 + random() % (kLong / 10 * 9);
      const Values values =
          Generated(input, fresh, random() % 16 ? 2000 : size);
      ExpectSame(AtOnce(fresh, values), OneByOne(fresh, values));
      if (HasFatalFailure()) return;
    }
}

TEST(CrcTest, LongTextsAndArraysEqualSingleValues) {
  std::mt19937 random(66);
  for (int rotation = -40; rotation <= 40; ++rotation)
    for (const unsigned int range : {1U, 2U, 16U, 128U, 256U}) {
      std::vector<unsigned char> bytes(random() % 3 == 0 ? kLong : 500);
      for (unsigned char& byte : bytes)
        byte = static_cast<unsigned char>(random() % range);
      const CCRC fresh{.state = StartStates(random)[random() % 5],
                       .rotation = rotation};
      CCRC array = fresh;
      array.AddArr(bytes.data(), static_cast<int>(bytes.size()));
      ExpectSame(array, OneByOne(fresh, Values(bytes.begin(), bytes.end())));

      const std::string text(bytes.begin(), bytes.end());
      CCRC string = fresh;
      string.AddVal(text);
      Values extended;
      for (const char c : text)
        extended.push_back(c < 0 ? 0xFFFFFF00U | static_cast<unsigned char>(c)
                                 : static_cast<unsigned char>(c));
      ExpectSame(string, OneByOne(fresh, extended));
      if (HasFatalFailure()) return;
    }
}

// The promise of the header: so many values decide, and not one less.
TEST(CrcTest, AFullUpperHalfRemembersTheLastValuesAlone) {
  const std::uint64_t ones = ~std::uint64_t{0} << 32;
  std::mt19937 random(67);
  for (int rotation = 1; rotation < 32; ++rotation) {
    const int remembered = (32 + 31 - rotation) / (32 - rotation);
    std::uint32_t differs = 0;
    for (int trial = 0; trial < 100; ++trial) {
      CCRC one{.state = ones | random(), .rotation = rotation};
      CCRC other{.state = ones | random(), .rotation = rotation};
      for (int i = 0; i < remembered; ++i) {
        if (i + 1 == remembered) differs |= one.state != other.state;
        const auto value = static_cast<std::uint32_t>(random());
        one.AddVal(value);
        other.AddVal(value);
      }
      ASSERT_EQ(one.state, other.state);
    }
    EXPECT_TRUE(differs);
  }
}

}  // namespace
}  // namespace fairlead
