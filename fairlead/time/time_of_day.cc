// Seconds as hours, minutes and seconds, in text and back.

#include "fairlead/time/time_of_day.h"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <system_error>

#include "fairlead/base/ascii.h"
#include "fairlead/text/strings.h"

namespace fairlead {
namespace {

struct Parts {
  int hours;
  int minutes;
  int seconds;
};

Parts Split(std::int32_t seconds) {
  return {seconds / 3600, seconds / 60 % 60, seconds % 60};
}

// Unsigned, so that arithmetic wraps around instead of being undefined.
std::uint32_t Unsigned(std::int32_t number) {
  return static_cast<std::uint32_t>(number);
}

CTimeOfDay Seconds(std::uint32_t seconds) {
  return {static_cast<std::int32_t>(seconds)};
}

// The two digits of a number from 0 to 99, the first in the lower byte.
std::uint64_t TwoDigits(int number) {
  const auto digits = static_cast<unsigned>(number);  // Cheaper to divide.
  return digits / 10 + digits % 10 * 0x100 + 0x3030;
}

// The text of a negative count or of more than 99 hours. Not inlined, so that
// the usual case does not set up this one's stack frame.
[[gnu::noinline]] std::string JoinedParts(const Parts& parts) {
  return lz2(parts.hours) + ':' + lz2(parts.minutes) + ':' + lz2(parts.seconds);
}

bool Separates(char c) { return internal::IsSpace(c) || c == ':'; }

// Reads the next number as a stream does, and removes it from `text`.
bool ReadNumber(std::string_view& text, int& number) {
  const char* const end = text.data() + text.size();
  const char* at = std::find_if_not(text.data(), end, Separates);
  // from_chars accepts what a stream accepts, but for a plus sign.
  if (end - at > 1 && at[0] == '+' && internal::IsDigit(at[1])) ++at;
  const std::from_chars_result read = std::from_chars(at, end, number);
  text.remove_prefix(static_cast<std::size_t>(read.ptr - text.data()));
  return read.ec == std::errc();
}

}  // namespace

std::string CTimeOfDay::GetSecondsString() const { return inttostr(seconds); }

unsigned int CTimeOfDay::GetStamp() const {
  const Parts parts = Split(seconds);
  return Unsigned(parts.hours) * 10000U + Unsigned(parts.minutes) * 100U +
         Unsigned(parts.seconds);
}

std::string CTimeOfDay::GetStampString() const {
  const Parts parts = Split(seconds);
  if (seconds < 0 || parts.hours > 99) return JoinedParts(parts);

  // Eight bytes in one word, the first in the lowest: copying bytes that were
  // just stored one by one would stall the processor.
  const std::uint64_t bytes =
      TwoDigits(parts.hours) | std::uint64_t{':'} << 16U |
      TwoDigits(parts.minutes) << 24U | std::uint64_t{':'} << 40U |
      TwoDigits(parts.seconds) << 48U;
  const auto text = std::bit_cast<std::array<char, 8>>(bytes);
  return {text.data(), text.size()};
}

CTimeOfDay CTimeOfDay::operator+(const CTimeOfDay& other) const {
  return Seconds(Unsigned(seconds) + Unsigned(other.seconds));
}

CTimeOfDay CTimeOfDay::operator-(const CTimeOfDay& other) const {
  return Seconds(Unsigned(seconds) - Unsigned(other.seconds));
}

bool CTimeOfDay::LoadFromString(std::string_view text) {
  if (text.empty()) return false;
  if (text.find(':') == std::string_view::npos)
    return getval<int, int>(text, seconds, 0);

  std::uint32_t total = 0;
  int number = 0;
  for (int read = 0; read < 3 && ReadNumber(text, number); ++read)
    total = total * 60U + Unsigned(number);
  *this = Seconds(total);
  return true;
}

}  // namespace fairlead
