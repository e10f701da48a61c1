// Reads any bytes as a time of day, compares with a stream, and checks the
// texts.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <string>

#include "fairlead/time/time_of_day.h"

namespace {

using fairlead::CTimeOfDay;

constexpr std::int32_t kBefore = -7654321;

void Require(bool holds) {
  if (!holds) std::abort();
}

void RequireAsPlainNumber(const std::string& text, bool loaded,
                          std::int32_t seconds) {
  std::istringstream in(text);
  int number = 0;
  const bool read = !(in >> number).fail();
  Require(loaded == read);
  Require(seconds == (read ? number : 0));
}

void RequireAsNumbers(std::string text, bool loaded, std::int32_t seconds) {
  std::replace(text.begin(), text.end(), ':', ' ');
  std::istringstream in(text);
  std::int64_t total = 0;
  int number = 0;
  for (int read = 0; read < 3 && in >> number; ++read)
    total = total * 60 + number;
  Require(loaded);
  Require(seconds == static_cast<std::int32_t>(total));
}

// Also for negative times, whose parts have a sign each.
void RequireRoundTrip(const CTimeOfDay& time) {
  CTimeOfDay back;
  Require(back.LoadFromString(time.GetStampString()));
  Require(back.seconds == time.seconds);
  Require(back.LoadFromString(time.GetSecondsString()));
  Require(back.seconds == time.seconds);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  const std::string text(data, data + size);
  CTimeOfDay time{kBefore};
  const bool loaded = time.LoadFromString(text);
  if (text.empty()) {
    Require(!loaded && time.seconds == kBefore);
  } else if (text.find(':') == std::string::npos) {
    RequireAsPlainNumber(text, loaded, time.seconds);
  } else {
    RequireAsNumbers(text, loaded, time.seconds);
  }
  RequireRoundTrip(time);
  return 0;
}
