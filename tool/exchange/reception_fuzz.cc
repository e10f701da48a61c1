// Cuts any received bytes into pieces of several sizes. However they are cut,
// they decrypt and show the same, and each stop rule is met with the piece that
// holds the byte that meets it.
//
// Some hundred inputs a second: RC4 discards 12,347 bytes for each of six keys.
//
// The first three bytes select the number of bytes and lines to stop at and the
// cipher; the first line is the text to stop at, the rest what is received.

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "fairlead/net/stop_rules.h"
#include "fairlead/testing/fuzzing.h"
#include "tool/crypt/cipher.h"

namespace {

using fairlead::StopLimits;
using fairlead::StopRules;
using fairlead::internal::RequireLaw;
using fairlead::tool::Cipher;
using fairlead::tool::CipherKey;
using fairlead::tool::CipherStream;
using fairlead::tool::Direction;

constexpr std::size_t kNever = std::string_view::npos;
constexpr std::array<std::size_t, 5> kSizes = {1, 2, 3, 7, 16};

std::size_t EndOfLine(std::string_view bytes, std::int64_t count) {
  std::size_t end = 0;
  for (std::int64_t line = 0; line < count; ++line) {
    const std::size_t newline = bytes.find('\n', end);
    if (newline == kNever) return kNever;
    end = newline + 1;
  }
  return end;
}

// Returns how many bytes meet a rule, or kNever.
std::size_t EnoughOf(std::string_view bytes, const StopLimits& limits) {
  std::size_t enough = kNever;
  if (limits.bytes > 0 &&
      static_cast<std::size_t>(limits.bytes) <= bytes.size())
    enough = static_cast<std::size_t>(limits.bytes);
  if (limits.lines > 0)
    enough = std::min(enough, EndOfLine(bytes, limits.lines));
  if (!limits.until.empty()) {
    const std::size_t place = bytes.find(limits.until);
    if (place != kNever) enough = std::min(enough, place + limits.until.size());
  }
  return enough;
}

void CheckRules(std::string_view bytes, const StopLimits& limits,
                std::size_t size) {
  const std::size_t enough = EnoughOf(bytes, limits);
  StopRules rules(limits);
  for (std::size_t at = 0; at < bytes.size(); at += size) {
    const std::string_view piece = bytes.substr(at, size);
    RequireLaw(rules.Take(piece) == (at + piece.size() >= enough));
  }
  RequireLaw(static_cast<std::size_t>(rules.bytes()) == bytes.size());
  RequireLaw(rules.IsMet() == (bytes.size() >= enough && !bytes.empty()));
}

struct Result {
  std::string bytes;
  std::size_t waiting = 0;

  bool operator==(const Result&) const = default;
};

Result Decrypted(std::string_view bytes, const CipherKey& key,
                 std::size_t size) {
  CipherStream stream(key, Direction::kDecrypt);
  Result result;
  for (std::size_t at = 0; at < bytes.size(); at += size)
    result.bytes += stream.Take(bytes.substr(at, size));
  result.waiting = stream.waiting();
  return result;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  constexpr std::size_t kSettings = 3;
  if (size < kSettings || size > 1000) return 0;
  const auto input =
      fairlead::internal::InputText(data, size).substr(kSettings);
  const std::size_t rule = std::min(input.find('\n'), input.size());
  const std::string_view bytes = input.substr(std::min(input.size(), rule + 1));
  const StopLimits limits = {.bytes = data[0] % 64,
                             .lines = data[1] % 8,
                             .until = std::string(input.substr(0, rule))};
  const CipherKey key = {
      data[2] % 2 == 0 ? Cipher::kAesEcb : Cipher::kRc4Stream, 128, "key"};
  const Result whole =
      Decrypted(bytes, key, std::max<std::size_t>(1, bytes.size()));
  for (const std::size_t piece : kSizes) {
    CheckRules(bytes, limits, piece);
    RequireLaw(Decrypted(bytes, key, piece) == whole);
  }
  return 0;
}
