// The converter itself: its tables, what it skips, and its groups.
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

// The same in every converter, so they are copied rather than built.
constexpr Tables kTables = MakeTables();

bool IsSkipped(char c) { return c == '-' || c == ' '; }

// Texts up to this length are cleaned without an allocation.
constexpr std::size_t kShortText = 1024;

// A text without its hyphens and blanks.
class Meat {
 public:
  explicit Meat(std::string_view text) : view_(text) {
    if (std::none_of(text.begin(), text.end(), IsSkipped)) return;
    char* const out = Room(text.size());
    const char* const end =
        std::remove_copy_if(text.begin(), text.end(), out, IsSkipped);
    view_ = {out, static_cast<std::size_t>(end - out)};
  }
  Meat(const Meat&) = delete;
  Meat& operator=(const Meat&) = delete;

  std::string_view View() const { return view_; }

 private:
  char* Room(std::size_t size) {
    if (size <= kShortText) return short_.data();
    long_.resize(size);
    return long_.data();
  }

  std::string_view view_;
  std::array<char, kShortText> short_;  // Only written where it is needed.
  std::string long_;
};

// Reads any text; the result is all zero before. It stays a function of its
// own: the room that it needs is not for a text that is read without it.
[[gnu::noinline]] TextError ReadCleaned(const CConverter& converter,
                                        std::string_view text,
                                        CBitstr& result) {
  const Meat meat(text);
  if (converter.bitsPerChar == 0)
    return internal::ReadDecimal(converter.totalBits, meat.View(), result);
  if (internal::ReadPlainDigits(converter, meat.View(), result))
    return TextError::kNone;
  result = CBitstr();
  return internal::ReadDigits(converter, meat.View(), result);
}

// A group size without its sign, where 0 divides nothing.
std::size_t Group(int size, std::size_t characters) {
  const auto group = static_cast<unsigned int>(size);
  return size == 0 ? characters : size < 0 ? 0 - group : group;
}

std::size_t HyphenCount(std::size_t characters, std::size_t group) {
  return characters == 0 ? 0 : (characters - 1) / group;
}

// Copies `text` to `out` with a hyphen between each two groups. The text may
// stand at the end of what is written.
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
  std::string meat(text.size() - static_cast<std::size_t>(skipped), '\0');
  std::remove_copy_if(text.begin(), text.end(), meat.begin(), IsSkipped);
  return meat;
}

CBitstr CConverter::StrToBitstr(std::string_view text) {
  CBitstr result;
  if (!internal::ReadPlainDigits(*this, text, result)) {
    result = CBitstr();
    const TextError failure = ReadCleaned(*this, text, result);
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
    internal::DecimalRoom room;
    const int digits = std::max(internal::DecimalDigitCount(totalBits), 0);
    return GetDividedStr(internal::WriteDecimal(totalBits, bitstr, room)
                             .substr(0, static_cast<std::size_t>(digits)),
                         groupSize);
  }
  if (bitsPerChar < 0 || totalBits < bitsPerChar) return {};
  const auto size = static_cast<std::size_t>(totalBits / bitsPerChar);
  const std::size_t group = Group(groupSize, size);
  const std::size_t hyphens = HyphenCount(size, group);
  // The undivided text is written to the end of the result and spread out.
  std::string divided(size + hyphens, '\0');
  char* const digits = divided.data() + hyphens;
  internal::WriteDigits(*this, bitstr, digits, size);
  Divide({digits, size}, group, divided.data());
  return divided;
}

}  // namespace fairlead
