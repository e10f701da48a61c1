#include "fairlead/time/file_pos.h"

#include <array>
#include <bit>
#include <cstddef>

#include "fairlead/text/strings.h"

namespace fairlead {
namespace {

constexpr std::size_t kDigitsOfHalf = 8;

constexpr std::array<const char*, 7> kUnits = {"bytes", "Kb", "Mb", "Gb",
                                               "Tb",    "Pb", "Eb"};

// The value of every character as a digit, -1 for what is none.
constexpr std::array<std::int8_t, 256> kDigitValues = [] {
  std::array<std::int8_t, 256> values{};
  values.fill(-1);
  std::int8_t value = 0;
  for (const char digit : hexletters) {
    values[static_cast<unsigned char>(digit)] = value;
    if (digit >= 'A')
      values[static_cast<unsigned char>(digit - 'A' + 'a')] = value;
    ++value;
  }
  return values;
}();

// Unsigned arithmetic wraps where that of the offset's own type is undefined.
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

// Reads one half of an offset, from the last digit to the first, up to what is
// no digit. Digits past the eighth are added from the lowest place again.
bool ReadHalf(std::string_view digits, std::uint32_t& half) {
  bool ok = true;
  half = 0;
  for (unsigned shift = 0; ok && !digits.empty(); shift += 4) {
    const int value = CFilePos::GetFromHex(digits.back(), ok);
    half += static_cast<std::uint32_t>(value) << shift % 32U;
    digits.remove_suffix(1);
  }
  return ok;
}

// The decimals of `whole` units and `part` 1024ths, one 1024th added and one
// step on top, so that the size is never shown too small. Where they amount to
// one more unit, that goes to `whole`, and no decimals remain.
std::string Decimals(std::uint64_t& whole, std::uint64_t part) {
  const std::uint64_t steps = whole < 10 ? 100 : whole < 100 ? 10 : 1;
  const std::uint64_t shown = (part + 1) * steps / 1024 + 1;
  if (shown >= steps) {
    ++whole;
    return {};
  }
  const int number = static_cast<int>(shown);
  return '.' + (steps == 100 ? lz2(number) : inttostr(number));
}

}  // namespace

void CFilePos::AddValue(unsigned int amount) {
  SetOffset(*this, Offset(*this) + amount);
  additions =
      static_cast<std::int32_t>(static_cast<std::uint32_t>(additions) + 1);
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
  std::array<char, 2 * kDigitsOfHalf> digits;
  std::uint64_t rest = Offset(*this);
  for (auto at = digits.rbegin(); at != digits.rend(); ++at) {
    *at = hexletters[rest % 16];
    rest /= 16;
  }
  return {digits.data(), digits.size()};
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
      text.size() > kDigitsOfHalf ? text.size() - kDigitsOfHalf : 0;
  std::uint32_t low = 0;
  std::uint32_t high = High(*this);
  const bool ok = ReadHalf(text.substr(split), low) &&
                  ReadHalf(text.substr(0, split), high);
  SetOffset(*this, std::uint64_t{high} << 32U | low);
  return ok;
}

std::string CFilePos::GetText() const {
  const std::uint64_t offset = Offset(*this);
  if (offset < 1024)
    return inttostr(static_cast<std::int64_t>(offset)) + " bytes";

  const auto unit = static_cast<unsigned>(std::bit_width(offset) - 1) / 10;
  const unsigned bits = 10 * unit;
  std::uint64_t whole = offset >> bits;
  std::string decimals;
  if (whole << bits != offset)
    decimals = Decimals(whole, (offset >> (bits - 10)) % 1024);
  if (unit >= kUnits.size()) {  // Not before an offset has 70 bits.
    std::puts("!!! INTERNAL ERROR, the size is too huge.");
    return decimals;
  }
  return inttostr(static_cast<std::int64_t>(whole)) + decimals + ' ' +
         kUnits[unit];
}

}  // namespace fairlead
