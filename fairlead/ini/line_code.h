// What a line of an INI text means, in one byte. Not installed.

#ifndef FAIRLEAD_INI_LINE_CODE_H_
#define FAIRLEAD_INI_LINE_CODE_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "fairlead/ini/ini_line.h"

namespace fairlead::internal {

// What a code says of a line. Only a header that is closed and a key have the
// hash of their name.
struct LineMeaning {
  LineKind kind = LineKind::kBlank;
  bool disabled = false;
  std::uint8_t hash = 0;
};

// The hashes are as many as leave a code for every line without a name.
inline constexpr std::size_t kLineHashes = 62;

// Returns a number that equal names share and most others do not.
inline std::uint8_t HashOf(std::string_view name) {
  std::uint32_t hash = 2166136261;
  for (const char c : name)
    hash = (hash ^ static_cast<unsigned char>(c)) * 16777619;
  hash = (hash ^ (hash >> 16)) & 0xFFFFU;
  return static_cast<std::uint8_t>((hash * kLineHashes) >> 16);
}

inline constexpr std::array<LineMeaning, 256> kLineMeanings = [] {
  std::array<LineMeaning, 256> meanings;
  std::size_t code = 0;
  for (const LineKind kind : {LineKind::kKey, LineKind::kHeader})
    for (const bool disabled : {false, true})
      for (std::size_t hash = 0; hash < kLineHashes; ++hash)
        meanings[code++] = {kind, disabled, static_cast<std::uint8_t>(hash)};
  for (const LineKind kind :
       {LineKind::kUnclosedHeader, LineKind::kKeyless, LineKind::kOther})
    for (const bool disabled : {false, true})
      meanings[code++] = {kind, disabled, 0};
  meanings[code++] = {LineKind::kComment, false, 0};
  meanings[code] = {LineKind::kBlank, false, 0};
  return meanings;
}();

inline constexpr std::uint8_t kBlankLine = kLineMeanings.size() - 1;

// Returns the code of a line.
inline std::uint8_t CodeOf(const IniLine& line) {
  constexpr std::size_t kOthers = 4 * kLineHashes;
  const std::size_t disabled = line.mark == ' ' ? 0 : 1;
  const auto code = [](std::size_t number) {
    return static_cast<std::uint8_t>(number);
  };
  switch (line.kind) {
    case LineKind::kKey:
      return code(disabled * kLineHashes + HashOf(line.name));
    case LineKind::kHeader:
      return code((2 + disabled) * kLineHashes + HashOf(line.name));
    case LineKind::kUnclosedHeader:
      return code(kOthers + disabled);
    case LineKind::kKeyless:
      return code(kOthers + 2 + disabled);
    case LineKind::kOther:
      return code(kOthers + 4 + disabled);
    case LineKind::kComment:
      return kBlankLine - 1;
    case LineKind::kBlank:
      break;
  }
  return kBlankLine;
}

}  // namespace fairlead::internal

#endif  // FAIRLEAD_INI_LINE_CODE_H_
