// Reads any bytes as the text of an instant, and checks the result.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <iterator>
#include <stdexcept>
#include <string>

#include "fairlead/time/the_time.h"

namespace {

using fairlead::TheTime;

enum class Outcome { kLoaded, kRefused, kThrown };

constexpr std::time_t kSecondsBefore = -12345;
constexpr long kNanosecondsBefore = 67890;

void Require(bool holds) {
  if (!holds) std::abort();
}

Outcome Load(const std::string& text, TheTime& time) {
  time.ts = {kSecondsBefore, kNanosecondsBefore};
  Outcome outcome = Outcome::kThrown;
  try {
    outcome = time.LoadFromString(text) ? Outcome::kLoaded : Outcome::kRefused;
  } catch (const std::out_of_range& error) {
    Require(std::strcmp(error.what(), "basic_string::substr") == 0);
  }
  Require(time.ts.tv_nsec == kNanosecondsBefore);
  if (outcome != Outcome::kLoaded) Require(time.ts.tv_sec == kSecondsBefore);
  return outcome;
}

void RequireOutcomeAllowed(std::size_t length, Outcome outcome) {
  constexpr std::size_t kThrowing[] = {1, 2, 3, 5, 7, 10, 12};
  const bool may_throw = std::find(std::begin(kThrowing), std::end(kThrowing),
                                   length) != std::end(kThrowing);
  const bool may_load = length == 8 || length >= 14;
  Require(outcome != Outcome::kThrown || may_throw);
  Require(outcome != Outcome::kLoaded || may_load);
}

// The ninth character and those after the fifteenth are ignored.
void RequireIgnoredCharacters(std::string text, const TheTime& time) {
  if (text.size() == 8) return;
  text[8] = static_cast<char>(text[8] + 1);
  text.resize(std::min<std::size_t>(text.size(), 15));
  if (text.size() == 15) text += "9";
  TheTime other;
  Require(Load(text, other) == Outcome::kLoaded);
  Require(other.ts.tv_sec == time.ts.tv_sec);
}

void RequireRoundTrip(const TheTime& time) {
  const std::string saved = time.SaveToString();
  Require(saved == time.GetDateStr() + "x" + time.GetTimeStr(""));
  if (saved.size() != 15) return;  // A year of more than four characters.
  TheTime back;
  Require(Load(saved, back) == Outcome::kLoaded);
  Require(back.ts.tv_sec == time.ts.tv_sec);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
  // Without clock changes, every text is one instant.
  setenv("TZ", "<+0545>-5:45", 1);
  tzset();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  const std::string text(data, data + size);
  TheTime time;
  const Outcome outcome = Load(text, time);
  RequireOutcomeAllowed(size, outcome);
  if (outcome != Outcome::kLoaded) return 0;
  RequireIgnoredCharacters(text, time);
  RequireRoundTrip(time);
  return 0;
}
