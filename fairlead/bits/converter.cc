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
constexpr std::size_t kDataBytes = sizeof(CBitstr::data);

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

// Stores the low bytes of a word, those for which there is room.
void Store(unsigned char* bytes, std::size_t at, std::uint64_t word) {
  if (at + sizeof(word) <= kDataBytes) {
    std::memcpy(bytes + at, &word, sizeof(word));
    return;
  }
  for (; at < kDataBytes; ++at, word >>= 8U)
    bytes[at] = static_cast<unsigned char>(word);
}

// Digits put together as one word. What was seen of them is judged later: it
// is too large if one of them is.
struct Joined {
  std::uint64_t word = 0;
  std::uint32_t seen = 0;

  void Add(const CConverter& converter, std::size_t digit, std::size_t shift) {
    const std::uint32_t value = converter.reverse[digit];
    word |= std::uint64_t{value} << shift;
    seen |= value;
  }
};

constexpr std::uint64_t kTopBits = 0x8080808080808080U;

// Reads eight digits at a time, which fill whole bytes, until fewer are left or
// one of them has no value of `kBits` bits. Returns how many were read.
template <std::size_t kBits>
std::size_t ReadEights(const CConverter& converter, std::string_view text,
                       unsigned char* bytes) {
  std::size_t at = 0;
  for (std::size_t byte = 0; at + 8 <= text.size() && byte < kDataBytes;
       at += 8, byte += kBits) {
    std::uint64_t digits = 0;
    std::memcpy(&digits, &text[at], sizeof(digits));
    if ((digits & kTopBits) != 0) break;
    Joined eight;
    eight.Add(converter, digits & 0xFFU, 0);
    eight.Add(converter, digits >> 8U & 0xFFU, kBits);
    eight.Add(converter, digits >> 16U & 0xFFU, kBits * 2);
    eight.Add(converter, digits >> 24U & 0xFFU, kBits * 3);
    eight.Add(converter, digits >> 32U & 0xFFU, kBits * 4);
    eight.Add(converter, digits >> 40U & 0xFFU, kBits * 5);
    eight.Add(converter, digits >> 48U & 0xFFU, kBits * 6);
    eight.Add(converter, digits >> 56U, kBits * 7);
    if (eight.seen >> kBits != 0) break;
    Store(bytes, byte, eight.word);
  }
  return at;
}

constexpr std::array kReadEights = {ReadEights<1>, ReadEights<2>, ReadEights<3>,
                                    ReadEights<4>, ReadEights<5>, ReadEights<6>,
                                    ReadEights<7>};

// Reads a text of digits in which nothing is skipped or wrong or beyond ASCII;
// false, with anything in the result, where that is not so.
bool ReadPlain(const CConverter& converter, std::string_view text,
               CBitstr& result) {
  const auto bits = static_cast<std::size_t>(converter.bitsPerChar);
  const auto total = static_cast<std::size_t>(converter.totalBits);
  if (converter.totalBits < 0 || bits - 1 >= kReadEights.size()) return false;
  const std::size_t held = text.size() * bits;
  if (held > total || total - held >= bits) return false;
  // What is to be skipped must not pass for a digit.
  if (converter.reverse[std::size_t{'-'}] >> bits == 0 ||
      converter.reverse[std::size_t{' '}] >> bits == 0)
    return false;

  auto* const bytes = reinterpret_cast<unsigned char*>(result.data);
  const std::size_t at = kReadEights[bits - 1](converter, text, bytes);
  text.remove_prefix(at);
  if (text.size() >= 8) return false;
  Joined last;
  std::size_t filled = 0;
  for (const char digit : text) {
    if (digit < 0) return false;
    last.Add(converter, static_cast<std::size_t>(digit), filled);
    filled += bits;
  }
  if (last.seen >> bits != 0) return false;

  // A digit that the text lacks is zero, and may complete one byte more.
  if (held < total) filled += bits;
  const std::uint64_t whole = (std::uint64_t{1} << (filled & ~7U)) - 1;
  Store(bytes, at / 8 * bits, last.word & whole);
  result.length = converter.totalBits / 8;
  return true;
}

// Reads a cleaned text of digits, one after the other.
Error ReadDigits(const CConverter& converter, std::string_view text,
                 CBitstr& result) {
  const int bits = converter.bitsPerChar;
  if (bits < 0 ||
      static_cast<std::int64_t>(text.size()) != converter.totalBits / bits)
    return kWrongLength;

  auto* const bytes = reinterpret_cast<unsigned char*>(result.data);
  std::size_t at = 0;
  unsigned int pending = 0;  // Bits that do not fill a byte yet.
  for (std::int64_t p = 0; p < converter.totalBits; p += bits, ++at) {
    const unsigned int value =
        at < text.size() ? DigitValue(converter, text[at]) : 0;
    if (bits < 8 && value >> bits != 0) return kTooLargeDigit;
    pending |= value << (p % 8);
    if (p % 8 + bits < 8) continue;
    if (p / 8 < std::int64_t{kDataBytes})
      bytes[p / 8] = static_cast<unsigned char>(pending);
    pending >>= 8U;
  }
  result.length = converter.totalBits / 8;
  return kNone;
}

// Reads a number as a stream does that is set to the classic locale. There is
// no hyphen left that could be a minus sign.
bool ReadNumber(std::string_view text, std::int64_t& number) {
  const std::size_t start = text.find_first_not_of(" \t\n\v\f\r");
  if (start == std::string_view::npos) return false;
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

// Reads any text; the result is all zero before.
Error ReadCleaned(const CConverter& converter, std::string_view text,
                  CBitstr& result) {
  const Meat meat(text);
  if (converter.bitsPerChar == 0)
    return ReadDecimal(converter.totalBits, meat.View(), result);
  if (ReadPlain(converter, meat.View(), result)) return kNone;
  result = CBitstr();
  return ReadDigits(converter, meat.View(), result);
}

const unsigned char* BytesOf(const CBitstr& bits) {
  return reinterpret_cast<const unsigned char*>(bits.data);
}

// 64 bits from byte `at` on; those that are not there are zero.
std::uint64_t WordAt(const unsigned char* bytes, std::size_t at) {
  std::uint64_t word = 0;
  if (at + sizeof(word) <= kDataBytes) {
    std::memcpy(&word, bytes + at, sizeof(word));
    return word;
  }
  for (std::size_t i = kDataBytes; i-- > at;) word = word << 8U | bytes[i];
  return word;
}

// Writes characters of `kBits` bits each, eight of a word at a time.
template <unsigned int kBits>
void WriteEights(const CConverter& converter, const unsigned char* bytes,
                 char* out, std::size_t size) {
  const auto symbol = [&](std::uint64_t word, unsigned int i) {
    const auto c = static_cast<unsigned char>(
        converter.alphabet[word >> (i * kBits) & ((1U << kBits) - 1)]);
    return std::uint64_t{c} << (i * 8);
  };
  std::size_t byte = 0;
  for (; size >= 8; size -= 8, out += 8, byte += kBits) {
    const std::uint64_t word = WordAt(bytes, byte);
    const std::uint64_t symbols =
        symbol(word, 0) | symbol(word, 1) | symbol(word, 2) | symbol(word, 3) |
        symbol(word, 4) | symbol(word, 5) | symbol(word, 6) | symbol(word, 7);
    std::memcpy(out, &symbols, sizeof(symbols));
  }
  for (std::uint64_t word = WordAt(bytes, byte); size > 0; --size) {
    *out++ = converter.alphabet[word & ((1U << kBits) - 1)];
    word >>= kBits;
  }
}

// The digit text of `bits`; with the width known, no division is needed.
template <unsigned int kBits>
std::string DigitText(const CConverter& converter, const CBitstr& bits) {
  const auto total = static_cast<std::uint32_t>(converter.totalBits);
  std::string text((total + kBits - 1) / kBits, '\0');
  WriteEights<kBits>(converter, BytesOf(bits), text.data(), text.size());
  return text;
}

struct Writer {
  void (*write)(const CConverter& converter, const unsigned char* bytes,
                char* out, std::size_t size);
  std::string (*text)(const CConverter& converter, const CBitstr& bits);
};

template <unsigned int kBits>
constexpr Writer kWriter = {WriteEights<kBits>, DigitText<kBits>};

constexpr std::array kWriters = {kWriter<1>, kWriter<2>, kWriter<3>,
                                 kWriter<4>, kWriter<5>, kWriter<6>,
                                 kWriter<7>, kWriter<8>};

// Of more than eight bits a character, the low eight count.
void WriteWide(const CConverter& converter, const CBitstr& bits, char* out,
               std::size_t size) {
  const auto width = static_cast<std::size_t>(converter.bitsPerChar);
  for (std::size_t p = 0; size > 0; --size, p += width)
    *out++ = converter.alphabet[WordAt(BytesOf(bits), p / 8) >> p % 8 & 0xFFU];
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
  CBitstr result;
  if (!ReadPlain(*this, text, result)) {
    result = CBitstr();
    const Error failure = ReadCleaned(*this, text, result);
    if (failure != kNone) error = failure;
  }
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
  const auto width = static_cast<std::uint32_t>(bitsPerChar);
  if (width <= kWriters.size()) return kWriters[width - 1].text(*this, bits);
  std::string text((static_cast<std::uint32_t>(totalBits) + width - 1) / width,
                   '\0');
  WriteWide(*this, bits, text.data(), text.size());
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
  const auto size = static_cast<std::size_t>(totalBits / bitsPerChar);
  const std::size_t group = Group(groupSize, size);
  const std::size_t hyphens = HyphenCount(size, group);
  // The undivided text is written to the end of the result and spread out.
  std::string divided(size + hyphens, '\0');
  char* const digits = divided.data() + hyphens;
  const auto width = static_cast<std::size_t>(bitsPerChar);
  if (width <= kWriters.size())
    kWriters[width - 1].write(*this, BytesOf(bitstr), digits, size);
  else
    WriteWide(*this, bitstr, digits, size);
  Divide({digits, size}, group, divided.data());
  return divided;
}

}  // namespace fairlead
