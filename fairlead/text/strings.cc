// Text helpers: trimming, case, numbers as text and back, Pascal strings.

#include "fairlead/text/strings.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <climits>
#include <limits>

#include "fairlead/text/trimmed.h"

namespace fairlead {
namespace {

constexpr std::size_t kMaxPascalString = 255;

// The decimal text of `number`, zero-padded after the sign to `width`.
template <typename Integer>
std::string Decimal(Integer number, std::size_t width) {
  std::array<char, std::numeric_limits<Integer>::digits10 + 2> digits;
  const char* const end =
      std::to_chars(digits.begin(), digits.end(), number).ptr;
  std::string text(digits.data(),
                   static_cast<std::size_t>(end - digits.data()));
  if (text.size() < width)
    text.insert(number < 0 ? 1U : 0U, width - text.size(), '0');
  return text;
}

// Whitespace of the classic locale, independent of setlocale.
bool IsSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

// The text with every byte mapped by a table of the C library: the one that
// toupper or tolower uses in the current locale. Reading it directly saves a
// call per byte. It has an entry for every signed char.
std::string Mapped(std::string_view text, const std::int32_t* table) {
  std::string mapped(text);
  for (char& c : mapped)
    c = static_cast<char>(table[static_cast<signed char>(c)]);
  return mapped;
}

// The part of `text` that a trim keeps.
std::string_view Trimmed(std::string_view text, std::string_view set,
                         int mode) {
  const auto in_set = [set](char c) {
    return std::find(set.begin(), set.end(), c) != set.end();
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
  return Mapped(text, *__ctype_toupper_loc());
}

std::string MakeLower(std::string_view text) {
  return Mapped(text, *__ctype_tolower_loc());
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
  at = std::find_if_not(at, end, IsSpace);
  if (at == end) return false;

  const bool negative = *at == '-';
  if (negative || *at == '+') ++at;
  if (at == end || !IsDigit(*at)) {
    target = 0;
    return false;
  }
  const std::int64_t limit = negative ? -std::int64_t{INT_MIN} : INT_MAX;
  std::int64_t magnitude = 0;
  for (; at != end && IsDigit(*at); ++at) {
    magnitude = magnitude * 10 + (*at - '0');
    if (magnitude > limit) {
      target = negative ? INT_MIN : INT_MAX;
      return false;
    }
  }
  target = static_cast<int>(negative ? -magnitude : magnitude);
  return true;
}

template <>
bool getval<int, int>(std::string_view text, int& target, int fallback) {
  if (getval<int>(text, target)) return true;
  target = fallback;
  return false;
}

}  // namespace fairlead
