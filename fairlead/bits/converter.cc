// The converter: its tables, the characters that it skips, and its groups.

#include "fairlead/bits/converter.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>

#include "fairlead/bits/converter_modes.h"

namespace fairlead {
namespace {

using internal::TextError;

constexpr std::string_view kDigits =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZ123456789abcdefghijklmnopqrstuvwxyz0@#";
constexpr std::size_t kSymbols = 256;

struct Tables {
  std::array<char, kSymbols> alphabet{};
  std::array<unsigned char, kSymbols> reverse{};
};

constexpr Tables MakeTables() {
  Tables tables;
  tables.alphabet.fill('-');
  std::copy(kDigits.begin(), kDigits.end(), tables.alphabet.begin());
  tables.reverse.fill(0xFF);
  for (std::size_t value = 0; value < kSymbols; ++value)
    tables.reverse[static_cast<unsigned char>(tables.alphabet[value])] =
        static_cast<unsigned char>(value);
  return tables;
}

// The same in every converter: they are copied rather than built.
constexpr Tables kTables = MakeTables();

bool IsSkipped(char c) { return c == '-' || c == ' '; }

// Texts up to this length are stripped without an allocation.
constexpr std::size_t kMaxShortText = 1024;

// A text without its hyphens and spaces.
class StrippedText {
 public:
  explicit StrippedText(std::string_view text) : view_(text) {
    if (std::none_of(text.begin(), text.end(), IsSkipped)) return;
    char* const out = Buffer(text.size());
    const char* const end =
        std::remove_copy_if(text.begin(), text.end(), out, IsSkipped);
    view_ = {out, static_cast<std::size_t>(end - out)};
  }
  StrippedText(const StrippedText&) = delete;
  StrippedText& operator=(const StrippedText&) = delete;

  std::string_view View() const { return view_; }

 private:
  char* Buffer(std::size_t size) {
    if (size <= kMaxShortText) return short_.data();
    long_.resize(size);
    return long_.data();
  }

  std::string_view view_;
  std::array<char, kMaxShortText> short_;  // Uninitialized until it is needed.
  std::string long_;
};

// Reads any text into a result that is all zero. Not inlined: a text that needs
// no stripping does not pay for the buffer on the stack.
[[gnu::noinline]] TextError ReadStripped(const CConverter& converter,
                                         std::string_view text,
                                         CBitstr& result) {
  const StrippedText stripped(text);
  if (converter.bitsPerChar == 0)
    return internal::ReadDecimal(converter.totalBits, stripped.View(), result);
  if (internal::ReadPlainDigits(converter, stripped.View(), result))
    return TextError::kNone;
  result = CBitstr();
  return internal::ReadDigits(converter, stripped.View(), result);
}

// Returns the group size without its sign; for 0, one group of all characters.
std::size_t Group(int size, std::size_t characters) {
  const auto group = static_cast<unsigned int>(size);
  return size == 0 ? characters : size < 0 ? 0 - group : group;
}

std::size_t HyphenCount(std::size_t characters, std::size_t group) {
  return characters == 0 ? 0 : (characters - 1) / group;
}

// Copies `text` to `out` with a hyphen between groups. The text may be the tail
// of the output.
void Divide(std::string_view text, std::size_t group, char* out) {
  const char* from = text.data();
  const char* const end = from + text.size();
  std::size_t left = group;
  while (from != end) {
    *out++ = *from++;
    if (--left > 0 || from == end) continue;
    *out++ = '-';
    left = group;
  }
}

}  // namespace

CConverter::CConverter(int total_bits, int bits_per_char,
                       int group_size) noexcept
    : totalBits(total_bits), bitsPerChar(bits_per_char), groupSize(group_size) {
  std::memcpy(alphabet, kTables.alphabet.data(), kSymbols);
  std::memcpy(reverse, kTables.reverse.data(), kSymbols);
}

std::string CConverter::ExtractMeat(std::string_view text) {
  const auto skipped = std::count_if(text.begin(), text.end(), IsSkipped);
  std::string stripped(text.size() - static_cast<std::size_t>(skipped), '\0');
  std::remove_copy_if(text.begin(), text.end(), stripped.begin(), IsSkipped);
  return stripped;
}

CBitstr CConverter::StrToBitstr(std::string_view text) {
  CBitstr result;
  if (!internal::ReadPlainDigits(*this, text, result)) {
    result = CBitstr();
    const TextError failure = ReadStripped(*this, text, result);
    if (failure != TextError::kNone) error = static_cast<std::int32_t>(failure);
  }
  return result;
}

bool CConverter::LoadData(std::string_view text) {
  bitstr = StrToBitstr(text);
  return error == 0;
}

bool CConverter::LoadData(const CBitstr& bits) noexcept {
  bitstr = bits;
  return true;
}

std::string CConverter::GetDividedStr(std::string_view text, int size) {
  if (text.empty()) return {};
  const std::size_t group = Group(size, text.size());
  std::string divided(text.size() + HyphenCount(text.size(), group), '\0');
  Divide(text, group, divided.data());
  return divided;
}

std::string CConverter::GetDividedStr() const {
  if (bitsPerChar == 0) {
    internal::DecimalBuffer buffer;
    const int digits = std::max(internal::DecimalDigitCount(totalBits), 0);
    return GetDividedStr(internal::WriteDecimal(totalBits, bitstr, buffer)
                             .substr(0, static_cast<std::size_t>(digits)),
                         groupSize);
  }
  if (bitsPerChar < 0 || totalBits < bitsPerChar) return {};
  const auto size = static_cast<std::size_t>(totalBits / bitsPerChar);
  const std::size_t group = Group(groupSize, size);
  const std::size_t hyphens = HyphenCount(size, group);
  // The undivided text is written to the end of the result, then divided.
  std::string divided(size + hyphens, '\0');
  char* const digits = divided.data() + hyphens;
  internal::WriteDigits(*this, bitstr, digits, size);
  Divide({digits, size}, group, divided.data());
  return divided;
}

}  // namespace fairlead
