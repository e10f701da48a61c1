#include "fairlead/time/time_of_day.h"

#include <algorithm>
#include <charconv>
#include <system_error>

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

// Unsigned arithmetic wraps where that of `int` is undefined.
std::uint32_t Unsigned(std::int32_t number) {
  return static_cast<std::uint32_t>(number);
}

CTimeOfDay Seconds(std::uint32_t seconds) {
  return {static_cast<std::int32_t>(seconds)};
}

// Writes the two digits of a number from 0 to 99.
void WriteTwo(char* at, int number) {
  at[0] = static_cast<char>('0' + number / 10);
  at[1] = static_cast<char>('0' + number % 10);
}

// What a stream skips, and the colon, which stands for a blank.
bool IsBlank(char c) {
  return c == ' ' || (c >= '\t' && c <= '\r') || c == ':';
}

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

// Reads the next number as a stream does, and cuts what it read off `text`.
bool ReadNumber(std::string_view& text, int& number) {
  const char* const end = text.data() + text.size();
  const char* at = std::find_if_not(text.data(), end, IsBlank);
  // The plus sign is the one thing a stream takes and from_chars does not.
  if (end - at > 1 && at[0] == '+' && IsDigit(at[1])) ++at;
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
  if (seconds < 0 || parts.hours > 99)
    return lz2(parts.hours) + ':' + lz2(parts.minutes) + ':' +
           lz2(parts.seconds);

  std::string text = "hh:mm:ss";
  WriteTwo(&text[0], parts.hours);
  WriteTwo(&text[3], parts.minutes);
  WriteTwo(&text[6], parts.seconds);
  return text;
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
