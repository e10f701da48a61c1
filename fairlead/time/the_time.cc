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

#include "fairlead/text/strings.h"

namespace fairlead {
namespace {

// The local calendar of an instant; all zero where the system has none.
std::tm Local(std::time_t seconds) {
  std::tm fields{};
  if (localtime_r(&seconds, &fields) == nullptr) return {};
  return fields;
}

// Writes `number` as printf does with "%0<width>d"; returns the end.
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

// The calendar of an instant, being written. Years and months are counted on
// in 64 bits, since the last year of a `tm` is beyond `int`.
class Stamp {
 public:
  explicit Stamp(std::time_t seconds) : fields_(Local(seconds)) {}

  Stamp& Text(std::string_view text) {
    end_ = std::copy(text.begin(), text.end(), end_);
    return *this;
  }
  Stamp& Year() {
    end_ = WriteFour(end_, FullYear());
    return *this;
  }
  Stamp& ShortYear() { return Two(FullYear()); }
  Stamp& Month() { return Two(std::int64_t{fields_.tm_mon} + 1); }
  Stamp& Day() { return Two(fields_.tm_mday); }

  // Hour, minute and second.
  Stamp& Time(std::string_view between) {
    Two(fields_.tm_hour).Text(between).Two(fields_.tm_min);
    return Text(between).Two(fields_.tm_sec);
  }

  std::string Str() { return {text_.data(), end_}; }

 private:
  std::int64_t FullYear() const { return std::int64_t{fields_.tm_year} + 1900; }

  Stamp& Two(std::int64_t number) {
    end_ = WriteTwo(end_, number);
    return *this;
  }

  const std::tm fields_;
  std::array<char, 96> text_;  // Six numbers of 11 characters make 77.
  char* end_ = text_.data();
};

// Reads the number in the `length` characters from `start`, or in those that
// there are. Unlike a view's own, the message has no positions in it.
bool ReadField(std::string_view text, std::size_t start, std::size_t length,
               int& number) {
  if (start > text.size()) throw std::out_of_range("basic_string::substr");
  return getval<int>(text.substr(start, length), number);
}

}  // namespace

int TheTime::Update() { return clock_gettime(CLOCK_REALTIME, &ts); }

int TheTime::Difference(const TheTime& other) const {
  const double seconds = DifferenceFloat(other);
  // What the processor answers too; the language leaves it undefined.
  if (seconds <= INT_MIN - 1.0 || seconds >= INT_MAX + 1.0) return INT_MIN;
  return static_cast<int>(seconds);
}

double TheTime::DifferenceFloat(const TheTime& other) const {
  const auto in_seconds = [](const timespec& instant) {
    return static_cast<double>(instant.tv_sec) +
           static_cast<double>(instant.tv_nsec) / 1e9;
  };
  return in_seconds(ts) - in_seconds(other.ts);
}

void TheTime::SetToPast(int seconds) {
  // Unsigned, so that it wraps.
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
  return Stamp(ts.tv_sec).Year().Month().Day().Text("x").Time("").Str();
}

bool TheTime::LoadFromString(std::string_view text) {
  std::tm fields{};
  if (!ReadField(text, 0, 4, fields.tm_year)) return false;
  if (!ReadField(text, 4, 2, fields.tm_mon)) return false;
  if (!ReadField(text, 6, 2, fields.tm_mday)) return false;
  if (text.size() != 8) {  // The date alone means midnight.
    if (!ReadField(text, 9, 2, fields.tm_hour)) return false;
    if (!ReadField(text, 11, 2, fields.tm_min)) return false;
    if (!ReadField(text, 13, 2, fields.tm_sec)) return false;
  }
  fields.tm_year -= 1900;
  fields.tm_mon -= 1;
  fields.tm_isdst = -1;  // Not in the text: the system decides.
  ts.tv_sec = mktime(&fields);
  return true;
}

bool TheTime::SetSystemTime() const {
  const timeval whole_seconds{ts.tv_sec, 0};
  return settimeofday(&whole_seconds, nullptr) == 0;
}

std::string TheTime::GetStr(bool brackets) const {
  Stamp stamp(ts.tv_sec);
  if (brackets) stamp.Text("[");
  stamp.Year().Text(".").Month().Text(".").Day().Text(" ").Time(":");
  if (brackets) stamp.Text("] ");
  return stamp.Str();
}

std::string TheTime::GetHumanStr() const {
  Stamp stamp(ts.tv_sec);
  stamp.Text("on ").Year().Text(".").Month().Text(".").Day();
  return stamp.Text(" at ").Time(":").Str();
}

std::string TheTime::GetDateStr() const {
  return Stamp(ts.tv_sec).Year().Month().Day().Str();
}

std::string TheTime::GetDateStr2() const {
  return Stamp(ts.tv_sec).Day().Month().Year().Str();
}

std::string TheTime::GetTimeStr(std::string_view separator) const {
  separator = separator.substr(0, separator.find('\0'));
  const std::tm local = Local(ts.tv_sec);
  std::string text = lz2(local.tm_hour);
  text.append(separator).append(lz2(local.tm_min));
  text.append(separator).append(lz2(local.tm_sec));
  return text;
}

std::string strtime() {
  Stamp now(time(nullptr));
  now.Text("[").ShortYear().Text(":").Month().Text(":").Day();
  return now.Text(" ").Time(":").Text("] ").Str();
}

std::string strtimeonly() { return Stamp(time(nullptr)).Time("").Str(); }

std::string strdateonly() {
  return Stamp(time(nullptr)).ShortYear().Month().Day().Str();
}

int intdayonly() { return Local(time(nullptr)).tm_mday; }

}  // namespace fairlead
