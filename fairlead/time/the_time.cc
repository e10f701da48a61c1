// Local time as text and back, by the system's clock and calendar functions.

#include "fairlead/time/the_time.h"

#include <sys/time.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <stdexcept>

#include "fairlead/base/numbers.h"
#include "fairlead/text/strings.h"

namespace fairlead {
namespace {

// Holds the longest form: 77 bytes, with six numbers of 11 characters.
using Buffer = std::array<char, 96>;

constexpr char kNone = '\0';

// The local calendar date of an instant; all zero if the system refuses it.
std::tm Local(std::time_t seconds) {
  std::tm local{};
  if (localtime_r(&seconds, &local) == nullptr) local = {};
  return local;
}

// Each of these writes at `at` and returns the end of what it wrote.

char* WriteText(char* at, std::string_view text) {
  return std::copy(text.begin(), text.end(), at);
}

// Writes a separator, or nothing for kNone.
char* WriteMark(char* at, char mark) {
  *at = mark;
  return mark == kNone ? at : at + 1;
}

// Writes the number as printf does with "%0<width>d".
char* WriteAny(char* at, std::int64_t number, int width) {
  std::array<char, std::numeric_limits<std::int64_t>::digits10 + 1> digits;
  if (number < 0) {
    *at++ = '-';
    --width;
    number = -number;
  }
  const char* const end =
      std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
  const auto length = static_cast<int>(end - digits.data());
  at = std::fill_n(at, std::max(0, width - length), '0');
  return std::copy_n(digits.data(), length, at);
}

char Digit(std::int64_t number) { return static_cast<char>('0' + number); }

char* WriteTwo(char* at, std::int64_t number) {
  if (number < 0 || number > 99) return WriteAny(at, number, 2);
  *at++ = Digit(number / 10);
  *at++ = Digit(number % 10);
  return at;
}

char* WriteFour(char* at, std::int64_t number) {
  if (number < 0 || number > 9999) return WriteAny(at, number, 4);
  return WriteTwo(WriteTwo(at, number / 100), number % 100);
}

// Years and months are 64 bits wide, as the last year of a `tm` exceeds `int`.
std::int64_t Year(const std::tm& local) {
  return std::int64_t{local.tm_year} + 1900;
}

std::int64_t Month(const std::tm& local) {
  return std::int64_t{local.tm_mon} + 1;
}

// Writes month and day, each after `between`.
char* WriteMonthAndDay(char* at, const std::tm& local, char between) {
  at = WriteTwo(WriteMark(at, between), Month(local));
  return WriteTwo(WriteMark(at, between), local.tm_mday);
}

char* WriteDate(char* at, const std::tm& local, char between) {
  return WriteMonthAndDay(WriteFour(at, Year(local)), local, between);
}

char* WriteTime(char* at, const std::tm& local, char between) {
  at = WriteTwo(at, local.tm_hour);
  at = WriteTwo(WriteMark(at, between), local.tm_min);
  return WriteTwo(WriteMark(at, between), local.tm_sec);
}

// Fast path: reads a field that is complete and all digits.
bool ReadDigits(std::string_view text, std::size_t start, std::size_t length,
                int& number) {
  if (text.size() < start + length) return false;
  number = 0;
  for (const char c : text.substr(start, length)) {
    if (c < '0' || c > '9') return false;
    number = number * 10 + (c - '0');
  }
  return true;
}

// Reads the number in the `length` characters from `start`, or in as many as
// there are. The exception is our own: that of std::string_view has a message
// with positions.
bool ReadField(std::string_view text, std::size_t start, std::size_t length,
               int& number) {
  if (ReadDigits(text, start, length, number)) return true;
  if (start > text.size()) throw std::out_of_range("basic_string::substr");
  return getval<int>(text.substr(start, length), number);
}

}  // namespace

int TheTime::Update() { return clock_gettime(CLOCK_REALTIME, &ts); }

int TheTime::Difference(const TheTime& other) const {
  const double seconds = DifferenceFloat(other);
  // Kept for compatibility: the result of the processor's own conversion, which
  // the language leaves undefined.
  if (seconds <= INT_MIN - 1.0 || seconds >= INT_MAX + 1.0) return INT_MIN;
  return static_cast<int>(seconds);
}

double TheTime::DifferenceFloat(const TheTime& other) const {
  return internal::Seconds(ts) - internal::Seconds(other.ts);
}

void TheTime::SetToPast(int seconds) {
  // Unsigned, so that it wraps around.
  ts.tv_sec = static_cast<std::time_t>(static_cast<std::uint64_t>(ts.tv_sec) -
                                       static_cast<std::uint64_t>(seconds));
}

bool TheTime::DateChanged(const TheTime& other) const {
  return Local(ts.tv_sec).tm_mday != Local(other.ts.tv_sec).tm_mday;
}

int TheTime::GetDaySec(unsigned int& seconds) const {
  const std::tm local = Local(ts.tv_sec);
  seconds = static_cast<unsigned>(local.tm_hour) * 3600U +
            static_cast<unsigned>(local.tm_min) * 60U +
            static_cast<unsigned>(local.tm_sec);
  return local.tm_mday;
}

std::string TheTime::SaveToString() const {
  const std::tm local = Local(ts.tv_sec);
  Buffer text;
  char* at = WriteDate(text.data(), local, kNone);
  at = WriteTime(WriteMark(at, 'x'), local, kNone);
  return {text.data(), at};
}

bool TheTime::LoadFromString(std::string_view text) {
  std::tm fields{};
  if (!ReadField(text, 0, 4, fields.tm_year)) return false;
  if (!ReadField(text, 4, 2, fields.tm_mon)) return false;
  if (!ReadField(text, 6, 2, fields.tm_mday)) return false;
  if (text.size() != 8) {  // A date alone means midnight.
    if (!ReadField(text, 9, 2, fields.tm_hour)) return false;
    if (!ReadField(text, 11, 2, fields.tm_min)) return false;
    if (!ReadField(text, 13, 2, fields.tm_sec)) return false;
  }
  fields.tm_year -= 1900;
  fields.tm_mon -= 1;
  fields.tm_isdst = -1;  // The system decides.
  ts.tv_sec = mktime(&fields);
  return true;
}

bool TheTime::SetSystemTime() const {
  const timeval whole_seconds{ts.tv_sec, 0};
  return settimeofday(&whole_seconds, nullptr) == 0;
}

std::string TheTime::GetStr(bool brackets) const {
  const std::tm local = Local(ts.tv_sec);
  Buffer text;
  char* at = WriteMark(text.data(), brackets ? '[' : kNone);
  at = WriteDate(at, local, '.');
  at = WriteTime(WriteMark(at, ' '), local, ':');
  at = WriteText(at, brackets ? "] " : "");
  return {text.data(), at};
}

std::string TheTime::GetHumanStr() const {
  const std::tm local = Local(ts.tv_sec);
  Buffer text;
  char* at = WriteDate(WriteText(text.data(), "on "), local, '.');
  at = WriteTime(WriteText(at, " at "), local, ':');
  return {text.data(), at};
}

std::string TheTime::GetDateStr() const {
  Buffer text;
  return {text.data(), WriteDate(text.data(), Local(ts.tv_sec), kNone)};
}

std::string TheTime::GetDateStr2() const {
  const std::tm local = Local(ts.tv_sec);
  Buffer text;
  char* at = WriteTwo(text.data(), local.tm_mday);
  at = WriteFour(WriteTwo(at, Month(local)), Year(local));
  return {text.data(), at};
}

std::string TheTime::GetTimeStr(std::string_view separator) const {
  separator = separator.substr(0, separator.find('\0'));
  const std::tm local = Local(ts.tv_sec);
  std::string text;
  text.reserve(2 * separator.size() + 6);
  text.append(lz2(local.tm_hour));
  text.append(separator).append(lz2(local.tm_min));
  text.append(separator).append(lz2(local.tm_sec));
  return text;
}

std::string strtime() {
  const std::tm local = Local(time(nullptr));
  Buffer text;
  char* at = WriteTwo(WriteMark(text.data(), '['), Year(local));
  at = WriteMonthAndDay(at, local, ':');
  at = WriteTime(WriteMark(at, ' '), local, ':');
  at = WriteText(at, "] ");
  return {text.data(), at};
}

std::string strtimeonly() {
  Buffer text;
  return {text.data(), WriteTime(text.data(), Local(time(nullptr)), kNone)};
}

std::string strdateonly() {
  const std::tm local = Local(time(nullptr));
  Buffer text;
  char* at = WriteTwo(text.data(), Year(local));
  return {text.data(), WriteMonthAndDay(at, local, kNone)};
}

int intdayonly() { return Local(time(nullptr)).tm_mday; }

}  // namespace fairlead
