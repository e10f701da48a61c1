// Bits to text and back, eight characters at a time where they fill bytes.
#include "fairlead/bits/converter.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <cstring>

namespace fairlead {
namespace {

constexpr std::string_view kDigits =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZ123456789abcdefghijklmnopqrstuvwxyz0@#";
constexpr std::size_t kSymbols = 256;
constexpr std::int64_t kDataBytes = sizeof(CBitstr::data);

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

enum Error { kNone, kWrongLength, kTooLargeDigit, kTooManyDigits, kNoNumber };

bool IsSkipped(char c) { return c == '-' || c == ' '; }

// Texts up to this length are cleaned without an allocation.
constexpr std::size_t kShortText = 1024;

// A text without its hyphens and blanks.
class Meat {
 public:
  explicit Meat(std::string_view text) : view_(text) {
    if (text.find('-') == text.npos && text.find(' ') == text.npos) return;
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

// Digits that a decimal text of so many bits can need.
int DigitCount(int total_bits) {
  return static_cast<int>(total_bits * 0.30103 + 1.0);
}

// Bytes that hold so many bits.
int ByteCount(int total_bits) {
  return static_cast<int>((std::int64_t{total_bits} + 7) / 8);
}

// The value of one character. The table of values is for the seven-bit ones
// only: a character above them stands before its start, in the other table.
unsigned int DigitValue(const CConverter& converter, char digit) {
  const auto byte = static_cast<unsigned char>(digit);
  return byte > 0x7F ? static_cast<unsigned char>(converter.alphabet[byte])
                     : converter.reverse[byte];
}

// Eight digits of `bits` bits each, the first one lowest; false where one of
// them has a larger value or is above 0x7F.
bool ReadEight(const CConverter& converter, const char* digits,
               unsigned int bits, std::uint64_t& word) {
  constexpr std::uint64_t kTopBits = 0x8080808080808080U;
  std::uint64_t packed = 0;
  std::memcpy(&packed, digits, sizeof(packed));
  if ((packed & kTopBits) != 0) return false;

  std::array<std::uint64_t, 8> values;
  std::uint64_t all = 0;
  for (std::size_t i = 0; i < values.size(); ++i) {
    values[i] = converter.reverse[static_cast<unsigned char>(digits[i])];
    all |= values[i];
  }
  if (all >> bits != 0) return false;

  // Joined two by two, so that no join waits for more than three others.
  for (std::size_t half = 4; half > 0; half /= 2, bits *= 2)
    for (std::size_t i = 0; i < half; ++i)
      values[i] = values[2 * i] | values[2 * i + 1] << bits;
  word = values[0];
  return true;
}

Error ReadDigits(const CConverter& converter, std::string_view text,
                 CBitstr& result) {
  const int bits = converter.bitsPerChar;
  const std::int64_t total = converter.totalBits;
  if (bits < 0 || static_cast<std::int64_t>(text.size()) != total / bits)
    return kWrongLength;

  auto* const bytes = reinterpret_cast<unsigned char*>(result.data);
  std::size_t at = 0;
  std::int64_t byte = 0;
  if (bits <= 8) {
    std::uint64_t word = 0;
    for (; at + 8 <= text.size() && byte + 8 <= kDataBytes; at += 8) {
      if (!ReadEight(converter, &text[at], static_cast<unsigned int>(bits),
                     word))
        break;
      std::memcpy(bytes + byte, &word, sizeof(word));
      byte += bits;
    }
  }

  unsigned int pending = 0;  // Bits that do not fill a byte yet.
  for (std::int64_t p = byte * 8; p < total; p += bits, ++at) {
    const unsigned int value =
        at < text.size() ? DigitValue(converter, text[at]) : 0;
    if (bits < 8 && value >> bits != 0) return kTooLargeDigit;
    pending |= value << (p % 8);
    if (p % 8 + bits < 8) continue;
    if (p / 8 < kDataBytes) bytes[p / 8] = static_cast<unsigned char>(pending);
    pending >>= 8U;
  }
  result.length = converter.totalBits / 8;
  return kNone;
}

// Reads a number as a stream does that is set to the classic locale. There is
// no hyphen left that could be a minus sign.
bool ReadNumber(std::string_view text, std::int64_t& number) {
  const std::size_t start = text.find_first_not_of(" \t\n\v\f\r");
  if (start == text.npos) return false;
  text.remove_prefix(start);
  if (text.front() == '+') text.remove_prefix(1);
  return std::from_chars(text.data(), text.data() + text.size(), number).ec ==
         std::errc();
}

Error ReadDecimal(int total_bits, std::string_view text, CBitstr& result) {
  while (text.size() > 1 && text.front() == '0') text.remove_prefix(1);
  if (static_cast<std::int64_t>(text.size()) > DigitCount(total_bits))
    return kTooManyDigits;
  std::int64_t number = 0;
  if (!ReadNumber(text, number)) return kNoNumber;

  result.length = ByteCount(total_bits);
  std::memcpy(result.data, &number,
              static_cast<std::size_t>(std::clamp(result.length, 0, 8)));
  return kNone;
}

// 16 bits from byte `at` on, or what there is of them.
unsigned int TwoBytes(const unsigned char* bytes, std::int64_t at) {
  if (at >= kDataBytes) return 0;
  const unsigned int low = bytes[at];
  return at + 1 < kDataBytes ? low | bytes[at + 1] * 256U : low;
}

// The first `size` characters of the digit text of `bits`.
void WriteDigits(const CConverter& converter, const CBitstr& bits, char* out,
                 std::int64_t size) {
  const int width = converter.bitsPerChar;
  const unsigned int mask = width < 8 ? (1U << width) - 1 : 0xFFU;
  const auto* const bytes = reinterpret_cast<const unsigned char*>(bits.data);
  char* const end = out + size;
  std::int64_t byte = 0;
  if (width <= 8) {
    for (; end - out >= 8 && byte + 8 <= kDataBytes; byte += width) {
      std::uint64_t word = 0;
      std::memcpy(&word, bytes + byte, sizeof(word));
      for (int i = 0; i < 8; ++i, word >>= width)
        *out++ = converter.alphabet[word & mask];
    }
  }
  for (std::int64_t p = byte * 8; out != end; p += width)
    *out++ = converter.alphabet[TwoBytes(bytes, p / 8) >> p % 8 & mask];
}

constexpr std::size_t kLongestDecimal = 32;

// The decimal text of `bits`; at most 64 bits have one.
std::string_view WriteDecimal(int total_bits, const CBitstr& bits,
                              std::array<char, kLongestDecimal>& room) {
  if (total_bits > 64) return {};
  CBitstr low;
  MoveBits(bits.data, 0, low.data, 0, total_bits, 1);
  std::int64_t number = 0;
  std::memcpy(&number, low.data,
              static_cast<std::size_t>(std::max(ByteCount(total_bits), 0)));

  std::array<char, 20> text;  // The longest number with its sign.
  const char* const end = std::to_chars(text.begin(), text.end(), number).ptr;
  const std::ptrdiff_t zeros =
      std::max<std::ptrdiff_t>(DigitCount(total_bits) - (end - text.data()), 0);
  char* const out = std::fill_n(room.data(), zeros, '0');
  const char* const stop = std::copy<const char*>(text.data(), end, out);
  return {room.data(), static_cast<std::size_t>(stop - room.data())};
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

CConverter::CConverter(int total_bits, int bits_per_char, int group_size)
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
  const Meat meat(text);
  CBitstr result;
  const Error failure = bitsPerChar == 0
                            ? ReadDecimal(totalBits, meat.View(), result)
                            : ReadDigits(*this, meat.View(), result);
  if (failure != kNone) error = failure;
  return result;
}

bool CConverter::LoadData(std::string_view text) {
  bitstr = StrToBitstr(text);
  return error == 0;
}

bool CConverter::LoadData(const CBitstr& bits) {
  bitstr = bits;
  return true;
}

std::string CConverter::BitstrToStr(const CBitstr& bits) const {
  if (bitsPerChar == 0) {
    std::array<char, kLongestDecimal> room;
    return std::string(WriteDecimal(totalBits, bits, room));
  }
  if (bitsPerChar < 0 || totalBits <= 0) return {};
  const std::int64_t size =
      (std::int64_t{totalBits} + bitsPerChar - 1) / bitsPerChar;
  std::string text(static_cast<std::size_t>(size), '\0');
  WriteDigits(*this, bits, text.data(), size);
  return text;
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
    std::array<char, kLongestDecimal> room;
    const int digits = std::max(DigitCount(totalBits), 0);
    return GetDividedStr(WriteDecimal(totalBits, bitstr, room)
                             .substr(0, static_cast<std::size_t>(digits)),
                         groupSize);
  }
  if (bitsPerChar < 0 || totalBits < bitsPerChar) return {};
  const std::int64_t digits = totalBits / bitsPerChar;
  const auto size = static_cast<std::size_t>(digits);
  const std::size_t group = Group(groupSize, size);
  const std::size_t hyphens = HyphenCount(size, group);
  // The undivided text is written to the end of the result and spread out.
  std::string divided(size + hyphens, '\0');
  WriteDigits(*this, bitstr, divided.data() + hyphens, digits);
  Divide({divided.data() + hyphens, size}, group, divided.data());
  return divided;
}

}  // namespace fairlead
