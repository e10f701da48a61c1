// Reads any bytes as the hexadecimal text of a file position, and checks the
// position and its texts.

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "fairlead/time/file_pos.h"
#include "fairlead/time/file_pos_testing.h"

namespace {

using fairlead::CFilePos;
using fairlead::internal::At;
using fairlead::internal::Offset;
using fairlead::internal::RestIsKept;

constexpr std::uint64_t kBefore = 0x1122334455667788;

void Require(bool holds) {
  if (!holds) std::abort();
}

bool AllDigits(const std::string& text) {
  return std::all_of(text.begin(), text.end(), [](char c) {
    return std::isxdigit(static_cast<unsigned char>(c)) != 0;
  });
}

void RequireOutcome(const std::string& text, bool loaded, const CFilePos& at) {
  Require(loaded == (!text.empty() && AllDigits(text)));
  if (text.empty()) Require(Offset(at) == kBefore);
  if (loaded && text.size() <= 16)
    Require(Offset(at) == std::strtoull(text.c_str(), nullptr, 16));
  const std::string last =
      text.substr(text.size() - std::min<std::size_t>(text.size(), 8));
  if (!AllDigits(last)) Require(Offset(at) >> 32U == kBefore >> 32U);
}

void RequireRoundTrip(const CFilePos& at) {
  const std::string digits = at.GetStr();
  Require(digits.size() == 16);
  CFilePos back;
  Require(back.LoadFromString(digits));
  Require(Offset(back) == Offset(at));
}

// The size uses a unit that the offset reaches, and is never too small.
void RequireSize(const CFilePos& at) {
  static constexpr const char* kUnits[] = {" bytes", " Kb", " Mb", " Gb",
                                           " Tb",    " Pb", " Eb"};
  const std::string text = at.GetText();
  const std::string unit = text.substr(text.find(' '));
  std::size_t power = 0;
  while (unit != kUnits[power]) Require(++power < 7);
  Require(power == 0 || Offset(at) >> (10 * power) != 0);
  // Wider than a double, so that the last byte counts.
  const long double shown = std::strtold(text.c_str(), nullptr);
  const long double bytes =
      shown * static_cast<long double>(1ULL << (10 * power));
  Require(bytes >= static_cast<long double>(Offset(at)));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  const std::string text(data, data + size);
  CFilePos at = At(kBefore);
  const bool loaded = at.LoadFromString(text);
  RequireOutcome(text, loaded, at);
  RequireRoundTrip(at);
  RequireSize(at);
  Require(RestIsKept(at));
  return 0;
}
