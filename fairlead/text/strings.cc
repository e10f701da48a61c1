#include "fairlead/text/strings.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <climits>
#include <cstring>
#include <limits>
#include <system_error>
#include <utility>

namespace fairlead {
namespace {

constexpr std::size_t kLongestPascalString = 255;

// The decimal text of `number`, with zeros after the sign up to `width`.
template <typename Integer>
std::string Decimal(Integer number, std::size_t width) {
  char text[std::numeric_limits<Integer>::digits10 + 2];
  const char* const end =
      std::to_chars(std::begin(text), std::end(text), number).ptr;
  const auto length = static_cast<std::size_t>(end - text);
  if (length >= width) return std::string(text, length);

  const std::size_t sign = number < 0 ? 1 : 0;
  std::string padded(width, '0');
  std::copy_n(text, sign, padded.begin());
  std::copy(text + sign, end, padded.end() - (end - text) + sign);
  return padded;
}

// White space of the classic locale, which no program's setlocale changes.
bool IsSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

char Byte(std::uint32_t value, int shift) {
  return static_cast<char>(static_cast<unsigned char>(value >> shift));
}

}  // namespace

void Trim(std::string& text, std::string_view set, int mode) {
  const std::size_t first = text.find_first_not_of(set);
  if (first == std::string::npos) {
    text.clear();
    return;
  }
  // The right end goes first: what is cut there need not be moved.
  if (mode != 1) text.resize(text.find_last_not_of(set) + 1);
  if (mode < 2) text.erase(0, first);
}

std::string TrimStr(std::string text, std::string_view set, int mode) {
  Trim(text, set, mode);
  return text;
}

std::string DecTrim(std::string text, std::string_view set) {
  set = set.substr(0, set.find('\0'));
  const std::size_t first = text.find_first_of(set);
  if (first == std::string::npos) return {};
  text.resize(text.find_last_of(set) + 1);
  text.erase(0, first);
  return text;
}

// toupper and tolower take a byte as an unsigned value; in the C locale the
// bytes above 0x7F, seen as negative numbers, come back as they are too.
std::string MakeUpper(std::string text) {
  for (char& c : text)
    c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return text;
}

std::string MakeLower(std::string text) {
  for (char& c : text)
    c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text;
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
  const std::size_t length = std::min(text.size(), kLongestPascalString);
  buffer[0] = static_cast<unsigned char>(length);
  std::copy_n(text.begin(), length, buffer + 1);
  return static_cast<int>(length) + 1;
}

int ReadPascalString(const unsigned char* buffer, std::string& text) {
  const int length = buffer[0];
  text.assign(buffer + 1, buffer + 1 + length);
  return length;
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
