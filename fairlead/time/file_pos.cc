// Offsets as unsigned numbers, hexadecimal digits both ways, and sizes.

#include "fairlead/time/file_pos.h"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cstddef>
#include <limits>

#include "fairlead/base/eight_bytes.h"
#include "fairlead/base/numbers.h"

namespace fairlead {
namespace {

constexpr std::size_t kHalfDigits = 8;

constexpr std::array<std::string_view, 7> kUnits = {
    " bytes", " Kb", " Mb", " Gb", " Tb", " Pb", " Eb"};

// The two digits of every byte, so that a number takes half the steps.
constexpr std::array<std::array<char, 2>, 256> kDigitPairs = [] {
  std::array<std::array<char, 2>, 256> pairs{};
  for (std::size_t byte = 0; byte < pairs.size(); ++byte)
    pairs[byte] = {hexletters[byte / 16], hexletters[byte % 16]};
  return pairs;
}();

// The value of every character as a digit, -1 if it is none.
constexpr std::array<int, 256> kDigitValues = [] {
  std::array<int, 256> values{};
  values.fill(-1);
  int value = 0;
  for (const char digit : hexletters) {
    values[static_cast<unsigned char>(digit)] = value;
    if (digit >= 'A')
      values[static_cast<unsigned char>(digit - 'A' + 'a')] = value;
    ++value;
  }
  return values;
}();

// Unsigned, so that arithmetic wraps around instead of being undefined.
std::uint64_t Offset(const CFilePos& at) {
  return static_cast<std::uint64_t>(at.position.__pos);
}

void SetOffset(CFilePos& at, std::uint64_t offset) {
  at.position.__pos = static_cast<std::int64_t>(offset);
}

std::uint32_t Low(const CFilePos& at) {
  return static_cast<std::uint32_t>(Offset(at));
}

std::uint32_t High(const CFilePos& at) {
  return static_cast<std::uint32_t>(Offset(at) >> 32U);
}

double Mebibytes(const CFilePos& at) {
  return static_cast<double>(Offset(at)) * 0x1p-20;
}

// Returns the top bit of every byte that is no hexadecimal digit, of bytes that
// are all ASCII. No sum has a carry into the next byte.
constexpr std::uint64_t NoHexDigits(std::uint64_t bytes) {
  using internal::EightTimes;
  const std::uint64_t digits = bytes ^ EightTimes('0');  // 0 to 9.
  const std::uint64_t letters = (bytes | EightTimes(0x20)) ^ EightTimes(0x60);
  const std::uint64_t above_9 = digits + EightTimes(0x80 - 10);
  const std::uint64_t above_f = letters + EightTimes(0x80 - 7);  // 'f' is 6.
  const std::uint64_t from_a = letters + EightTimes(0x80 - 1);
  return above_9 & (above_f | ~from_a) & EightTimes(0x80);
}

// Fast path: reads a half of eight characters, all of them digits.
bool ReadEightDigits(std::string_view text, std::uint32_t& half) {
  using internal::EightTimes;
  if (text.size() != kHalfDigits) return false;
  const auto bytes = internal::LoadBytes<std::uint64_t>(text.data());
  if (((bytes & EightTimes(0x80)) | NoHexDigits(bytes)) != 0) return false;

  const std::uint64_t letters = bytes >> 6U & EightTimes(1);
  std::uint64_t values = (bytes & EightTimes(0x0F)) + 9 * letters;
  // Combines two, four and eight digits: the first one is the lowest byte.
  values = (values << 4U | values >> 8U) & 0x00FF'00FF'00FF'00FF;
  values = (values << 8U | values >> 16U) & 0x0000'FFFF'0000'FFFF;
  half = static_cast<std::uint32_t>(values << 16U | values >> 32U);
  return true;
}

// Reads one half of an offset from right to left, and stops at a character that
// is no digit. From the ninth digit on, adds from the lowest place again.
bool ReadHalf(std::string_view digits, std::uint32_t& half) {
  if (ReadEightDigits(digits, half)) return true;
  bool ok = true;
  half = 0;
  for (unsigned shift = 0; ok && !digits.empty(); shift += 4) {
    const int value = CFilePos::GetFromHex(digits.back(), ok);
    half += static_cast<std::uint32_t>(value) << shift % 32U;
    digits.remove_suffix(1);
  }
  return ok;
}

struct Size {
  unsigned whole;         // Units, below 1024 before rounding.
  unsigned steps = 1;     // Steps in a unit: 100 for two decimals, 10 for one.
  unsigned decimals = 0;  // Steps to show; 0 shows none.
};

// Rounds `whole` units and `part` 1024ths up: adds one 1024th, then one step,
// so that the size is never shown too small. Steps that make a unit are added
// to the whole. Kept for compatibility: exact fractions are rounded up, too.
Size RoundedUp(unsigned whole, unsigned part) {
  const unsigned steps = whole < 10 ? 100 : whole < 100 ? 10 : 1;
  const unsigned decimals = (part + 1) * steps / 1024 + 1;
  if (decimals >= steps) return {whole + 1};
  return {whole, steps, decimals};
}

// Each of these writes at `at` and returns the end of what it wrote.

char* WriteWhole(char* at, const Size& size) {
  return std::to_chars(at, at + std::numeric_limits<unsigned>::digits10 + 1,
                       size.whole)
      .ptr;
}

char* WriteDecimals(char* at, const Size& size) {
  if (size.decimals == 0) return at;
  *at++ = '.';
  if (size.steps == 100) *at++ = static_cast<char>('0' + size.decimals / 10);
  *at++ = static_cast<char>('0' + size.decimals % 10);
  return at;
}

}  // namespace

void CFilePos::AddValue(unsigned int amount) {
  SetOffset(*this, Offset(*this) + amount);
  internal::CountUp(additions);
}

bool CFilePos::IsZero() const { return Offset(*this) == 0; }

bool CFilePos::GreaterThan(const CFilePos& other) const {
  return Offset(*this) > Offset(other);
}

std::uint32_t CFilePos::Difference(const CFilePos& other) const {
  return Low(*this) - Low(other);
}

double CFilePos::DifferenceInMb(const CFilePos& other) const {
  return Mebibytes(*this) - Mebibytes(other);
}

std::string CFilePos::GetStr() const {
  std::string digits(2 * kHalfDigits, '0');
  std::uint64_t rest = Offset(*this);
  for (std::size_t at = digits.size(); at > 0; rest >>= 8U) {
    at -= 2;
    std::copy_n(kDigitPairs[rest % 256].data(), 2, &digits[at]);
  }
  return digits;
}

int CFilePos::GetFromHex(char c, bool& ok) {
  if (!ok) return 0;
  const int value = kDigitValues[static_cast<unsigned char>(c)];
  ok = value >= 0;
  return value;
}

bool CFilePos::LoadFromString(std::string_view text) {
  if (text.empty()) return false;
  const std::size_t split =
      text.size() > kHalfDigits ? text.size() - kHalfDigits : 0;
  std::uint32_t low = 0;
  std::uint32_t high = High(*this);
  const bool ok = ReadHalf(text.substr(split), low) &&
                  ReadHalf(text.substr(0, split), high);
  SetOffset(*this, std::uint64_t{high} << 32U | low);
  return ok;
}

std::string CFilePos::GetText() const {
  const std::uint64_t offset = Offset(*this);
  const auto unit = static_cast<unsigned>(std::bit_width(offset | 1U) - 1) / 10;
  const unsigned bits = 10 * unit;
  Size size{static_cast<unsigned>(offset >> bits)};
  if (std::uint64_t{size.whole} << bits != offset)
    size = RoundedUp(size.whole, (offset >> (bits - 10)) % 1024);

  std::array<char, 32> text;
  char* const point = WriteWhole(text.data(), size);
  char* at = WriteDecimals(point, size);
  // Kept for compatibility: unreachable, since an offset has 64 bits.
  if (unit >= kUnits.size()) {
    std::puts("!!! INTERNAL ERROR, the size is too huge.");
    return {point, at};
  }
  at = std::copy(kUnits[unit].begin(), kUnits[unit].end(), at);
  return {text.data(), at};
}

}  // namespace fairlead
