// Text helpers: trimming, case, numbers as text and back, Pascal strings.

#include "fairlead/text/strings.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cctype>
#include <climits>
#include <clocale>
#include <cstring>

#include "fairlead/base/ascii.h"
#include "fairlead/base/decimal.h"
#include "fairlead/base/eight_bytes.h"
#include "fairlead/text/few_bytes.h"
#include "fairlead/text/trimmed.h"

namespace fairlead {
namespace {

constexpr std::size_t kMaxPascalString = 255;

constexpr std::uint64_t kTenToThe8 = 100'000'000;

// The text of a number below 10^8: its first character is the lowest byte.
struct ShortDecimal {
  std::uint64_t text;
  std::size_t size;
};

// Returns the number, zero-padded to `width`, which is from 1 to 8.
inline ShortDecimal ShortDecimalOf(std::uint64_t number, std::size_t width) {
  const std::uint64_t digits =
      internal::EightDigits(static_cast<std::uint32_t>(number));
  const std::uint64_t written = std::uint64_t{1} << (64U - 8U * width);
  const auto zeros =
      static_cast<unsigned>(std::countr_zero(digits | written)) / 8U;
  return {.text = (digits | internal::EightTimes('0')) >> 8U * zeros,
          .size = 8U - zeros};
}

inline void WriteEight(std::uint64_t below_ten_to_the_8, char* out) {
  const std::uint64_t text =
      internal::EightDigits(static_cast<std::uint32_t>(below_ten_to_the_8)) |
      internal::EightTimes('0');
  std::memcpy(out, &text, sizeof text);
}

// The decimal text of a magnitude of at least 10^8. The first digits are stored
// as eight bytes, and those after them are overwritten.
std::string LongDecimal(std::uint64_t magnitude, bool negative) {
  const std::uint64_t upper = magnitude / kTenToThe8;
  const bool in_three = upper >= kTenToThe8;
  const ShortDecimal first =
      ShortDecimalOf(in_three ? upper / kTenToThe8 : upper, 1);
  const std::size_t size = first.size + (negative ? 1U : 0U);
  std::string text(size + (in_three ? 16U : 8U), '-');
  std::memcpy(text.data() + (negative ? 1 : 0), &first.text, 8);
  if (in_three) WriteEight(upper % kTenToThe8, text.data() + size);
  WriteEight(magnitude % kTenToThe8, text.data() + text.size() - 8);
  return text;
}

// The decimal text of `number`, zero-padded after the sign to `width`.
std::string Decimal(std::int64_t number, std::size_t width) {
  const auto bits = static_cast<std::uint64_t>(number);
  const bool negative = number < 0;
  const std::uint64_t magnitude = negative ? 0 - bits : bits;
  if (magnitude >= kTenToThe8) return LongDecimal(magnitude, negative);

  const std::size_t sign = negative ? 1 : 0;
  const ShortDecimal digits =
      ShortDecimalOf(magnitude, std::max<std::size_t>(width - sign, 1));
  // One word, which is copied faster than a sign and a word.
  std::array<std::uint64_t, 2> text = {digits.text, 0};
  if (negative) text = {digits.text << 8U | '-', digits.text >> 56U};
  return {reinterpret_cast<const char*>(text.data()), sign + digits.size};
}

// Reads a number whose first eight digits are known; more may begin at `at`.
// Not inlined: shorter numbers need not save registers for it.
[[gnu::noinline]] bool ReadLong(std::uint64_t first_digits, const char* at,
                                const char* end, bool negative, int& target) {
  const std::int64_t limit = INT_MAX + std::int64_t{negative ? 1 : 0};
  std::int64_t number = internal::NumberOf(first_digits);
  for (; at != end && internal::IsDigit(*at) && number <= limit; ++at)
    number = number * 10 + (*at - '0');
  const bool in_range = number <= limit;
  number = std::min(number, limit);
  target = static_cast<int>(negative ? -number : number);
  return in_range;
}

// Has the tables that toupper and tolower use unless a locale is set.
locale_t ClassicLocale() {
  static const locale_t classic = newlocale(LC_ALL_MASK, "C", nullptr);
  return classic;
}

// The text with the letters from kFirst, 'a' or 'A', in the other case.
template <char kFirst>
std::string OtherCase(std::string_view text) {
  if (text.size() < 8) {
    const std::uint64_t bytes = internal::OtherCase<kFirst>(
        internal::FirstBytes(text.data(), text.size()));
    return {reinterpret_cast<const char*>(&bytes), text.size()};
  }
  std::string other(text);
  const std::size_t last = text.size() - 8;
  for (std::size_t at = 0;; at = std::min(at + 8, last)) {
    const std::uint64_t bytes = internal::OtherCase<kFirst>(
        internal::LoadBytes<std::uint64_t>(text.data() + at));
    std::memcpy(other.data() + at, &bytes, sizeof bytes);
    if (at == last) return other;
  }
}

// The text with every byte mapped by a table of the C library: the one that
// toupper or tolower uses in the current locale. Reading it directly saves a
// call per byte. It has an entry for every signed char.
std::string Mapped(std::string_view text, const std::int32_t* table) {
  std::string mapped(text);
  for (char& c : mapped)
    c = static_cast<char>(table[static_cast<signed char>(c)]);
  return mapped;
}

// The part of `text` that a trim keeps. Most ends are decided at once: a loop
// would end where the processor does not expect it.
std::string_view TrimmedOfFew(std::string_view text,
                              const internal::FewBytes& few, int mode) {
  if (text.size() >= 8) {
    const auto [leading, trailing] = few.CountAtEnds(text);
    if (leading < 8 && trailing < 8) {
      if (mode != 1) text.remove_suffix(static_cast<std::size_t>(trailing));
      if (mode < 2) text.remove_prefix(static_cast<std::size_t>(leading));
      return text;
    }
  }
  return internal::Trimmed(
      text, [few](char c) { return few.Has(c); }, mode);
}

std::string_view Trimmed(std::string_view text, std::string_view set,
                         int mode) {
  if (!set.empty() && set.size() <= internal::FewBytes::kMost)
    return TrimmedOfFew(text, internal::FewBytes(set), mode);
  const auto in_set = [set](char c) {
    return set.find(c) != std::string_view::npos;
  };
  return internal::Trimmed(text, in_set, mode);
}

char Byte(std::uint32_t value, int shift) {
  return static_cast<char>(static_cast<unsigned char>(value >> shift));
}

}  // namespace

void Trim(std::string& text, std::string_view set, int mode) {
  text.assign(Trimmed(text, set, mode));
}

std::string TrimStr(std::string_view text, std::string_view set, int mode) {
  return std::string(Trimmed(text, set, mode));
}

std::string DecTrim(std::string_view text, std::string_view set) {
  set = set.substr(0, set.find('\0'));
  const std::size_t first = text.find_first_of(set);
  if (first == std::string_view::npos) return {};
  const std::size_t last = text.find_last_of(set);
  return std::string(text.substr(first, last - first + 1));
}

std::string MakeUpper(std::string_view text) {
  const std::int32_t* const table = *__ctype_toupper_loc();
  return table == ClassicLocale()->__ctype_toupper ? OtherCase<'a'>(text)
                                                   : Mapped(text, table);
}

std::string MakeLower(std::string_view text) {
  const std::int32_t* const table = *__ctype_tolower_loc();
  return table == ClassicLocale()->__ctype_tolower ? OtherCase<'A'>(text)
                                                   : Mapped(text, table);
}

std::string inttostr(std::int64_t number) { return Decimal(number, 1); }

std::string lz2(int number) { return Decimal(number, 2); }

std::string lz6(int number) { return Decimal(number, 6); }

std::string int2str(int number) {
  const auto bits = static_cast<std::uint32_t>(number);
  return {Byte(bits, 24), Byte(bits, 16), Byte(bits, 8), Byte(bits, 0)};
}

std::string INT2STR(int number) {
  const auto bits = static_cast<std::uint32_t>(number);
  return {Byte(bits, 0), Byte(bits, 8), Byte(bits, 16), Byte(bits, 24)};
}

int WritePascalString(unsigned char* buffer, std::string_view text) {
  const std::size_t length = std::min(text.size(), kMaxPascalString);
  // The text moves first, since it may be in the buffer itself.
  std::char_traits<char>::move(reinterpret_cast<char*>(buffer + 1), text.data(),
                               length);
  buffer[0] = static_cast<unsigned char>(length);
  return static_cast<int>(length) + 1;
}

int ReadPascalString(const unsigned char* buffer, std::string& text) {
  const std::size_t length = buffer[0];
  text.assign(reinterpret_cast<const char*>(buffer + 1), length);
  return static_cast<int>(length);
}

template <>
bool getval<int>(std::string_view text, int& target) {
  const char* at = text.data();
  const char* const end = at + text.size();
  while (at != end && internal::IsSpace(*at)) ++at;
  if (at == end) return false;

  const bool negative = *at == '-';
  at += negative || *at == '+' ? 1 : 0;
  const std::uint64_t values = internal::DigitValues(
      internal::FirstBytes(at, static_cast<std::size_t>(end - at)));
  const std::uint64_t others = internal::NoDigits(values);
  if (others == 0) return ReadLong(values, at + 8, end, negative, target);

  // Zeros in front of up to seven digits; without a digit, nothing but zeros.
  const auto first = static_cast<unsigned>(std::countr_zero(others));
  const auto number =
      static_cast<int>(internal::NumberOf(values << 8U << (63U - first)));
  target = negative ? -number : number;
  return first > 7;
}

template <>
bool getval<int, int>(std::string_view text, int& target, int fallback) {
  if (getval<int>(text, target)) return true;
  target = fallback;
  return false;
}

}  // namespace fairlead
