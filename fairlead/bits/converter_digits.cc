// Bits as digits of some bits each, eight at a time where they fill bytes.
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

#include "fairlead/bits/converter_modes.h"

namespace fairlead::internal {
namespace {

constexpr std::size_t kDataBytes = sizeof(CBitstr::data);

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
std::string Text(const CConverter& converter, const CBitstr& bits) {
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
constexpr Writer kWriter = {WriteEights<kBits>, Text<kBits>};

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

}  // namespace

bool ReadPlainDigits(const CConverter& converter, std::string_view text,
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

TextError ReadDigits(const CConverter& converter, std::string_view text,
                     CBitstr& result) {
  const int bits = converter.bitsPerChar;
  if (bits < 0 ||
      static_cast<std::int64_t>(text.size()) != converter.totalBits / bits)
    return TextError::kWrongLength;

  auto* const bytes = reinterpret_cast<unsigned char*>(result.data);
  std::size_t at = 0;
  unsigned int pending = 0;  // Bits that do not fill a byte yet.
  for (std::int64_t p = 0; p < converter.totalBits; p += bits, ++at) {
    const unsigned int value =
        at < text.size() ? DigitValue(converter, text[at]) : 0;
    if (bits < 8 && value >> bits != 0) return TextError::kTooLargeDigit;
    pending |= value << (p % 8);
    if (p % 8 + bits < 8) continue;
    if (p / 8 < std::int64_t{kDataBytes})
      bytes[p / 8] = static_cast<unsigned char>(pending);
    pending >>= 8U;
  }
  result.length = converter.totalBits / 8;
  return TextError::kNone;
}

std::string DigitText(const CConverter& converter, const CBitstr& bits) {
  if (converter.bitsPerChar < 0 || converter.totalBits <= 0) return {};
  const auto width = static_cast<std::uint32_t>(converter.bitsPerChar);
  if (width <= kWriters.size())
    return kWriters[width - 1].text(converter, bits);
  const auto total = static_cast<std::uint32_t>(converter.totalBits);
  std::string text((total + width - 1) / width, '\0');
  WriteWide(converter, bits, text.data(), text.size());
  return text;
}

void WriteDigits(const CConverter& converter, const CBitstr& bits, char* out,
                 std::size_t size) {
  const auto width = static_cast<std::size_t>(converter.bitsPerChar);
  if (width <= kWriters.size())
    kWriters[width - 1].write(converter, BytesOf(bits), out, size);
  else
    WriteWide(converter, bits, out, size);
}

}  // namespace fairlead::internal
