// Bits as digits of some bits each, eight at a time where they fill bytes.
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

#include "fairlead/bits/converter_modes.h"
#include "fairlead/bits/converter_sixteens.h"

namespace fairlead {
namespace internal {
namespace {

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

// Reads eight digits at a time, which fill whole bytes, from digit `at` on
// until fewer are left or one of them has no value of `kBits` bits. Returns
// where.
template <std::size_t kBits>
std::size_t ReadEights(const CConverter& converter, std::string_view text,
                       std::size_t at, unsigned char* bytes) {
  for (std::size_t byte = at / 8 * kBits;
       at + 8 <= text.size() && byte < kDataBytes; at += 8, byte += kBits) {
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

// Reads up to seven digits; false if one of them has no value of `kBits` bits.
template <std::size_t kBits>
bool ReadFew(const CConverter& converter, std::string_view text,
             unsigned char* bytes, std::size_t byte) {
  Joined few;
  unsigned int met = 0;
  std::size_t filled = 0;
  for (const char digit : text) {
    const auto index = static_cast<unsigned char>(digit);
    met |= index;
    few.Add(converter, index, filled);
    filled += kBits;
  }
  Store(bytes, byte, few.word);
  return met <= 0x7F && few.seen >> kBits == 0;
}

// Reads a text of as many digits as there must be.
template <std::size_t kBits>
bool ReadPlain(const CConverter& converter, std::string_view text,
               CBitstr& result) {
  const auto total = static_cast<std::size_t>(converter.totalBits);
  const std::size_t held = text.size() * kBits;
  if (held > total || total - held >= kBits) return false;
  // What is to be skipped must not pass for a digit.
  if (converter.reverse[std::size_t{'-'}] >> kBits == 0 ||
      converter.reverse[std::size_t{' '}] >> kBits == 0)
    return false;

  auto* const bytes = reinterpret_cast<unsigned char*>(result.data);
  std::size_t at = 0;
  if (kBits == 6 && text.size() >= 16)
    at = ReadSixteens(converter, text, bytes);
  if (text.size() - at >= 8) at = ReadEights<kBits>(converter, text, at, bytes);
  text.remove_prefix(at);
  if (text.size() >= 8) return false;
  if (!text.empty() && !ReadFew<kBits>(converter, text, bytes, at / 8 * kBits))
    return false;

  // A digit that the text lacks is zero, and may complete one byte more. Bits
  // that do not complete one are dropped.
  const std::size_t whole = (held < total ? held + kBits : held) / 8;
  if (whole < kDataBytes) bytes[whole] = 0;
  result.length = converter.totalBits / 8;
  return true;
}

constexpr std::array kPlainReaders = {ReadPlain<1>, ReadPlain<2>, ReadPlain<3>,
                                      ReadPlain<4>, ReadPlain<5>, ReadPlain<6>,
                                      ReadPlain<7>};

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

// The characters of eight digits.
template <unsigned int kBits>
[[gnu::always_inline]] inline std::uint64_t EightSymbols(
    const CConverter& converter, std::uint64_t word) {
  const auto symbol = [&](unsigned int i) {
    const auto c = static_cast<unsigned char>(
        converter.alphabet[word >> (i * kBits) & ((1U << kBits) - 1)]);
    return std::uint64_t{c} << (i * 8);
  };
  return symbol(0) | symbol(1) | symbol(2) | symbol(3) | symbol(4) | symbol(5) |
         symbol(6) | symbol(7);
}

// Writes eight characters or more of `kBits` bits each, many of them at a time.
template <unsigned int kBits>
[[gnu::always_inline]] inline void WriteMany(const CConverter& converter,
                                             const unsigned char* bytes,
                                             char* out, std::size_t size) {
  std::size_t at = 0;
  if (kBits == 6 && size >= 16) at = WriteSixteens(converter, bytes, out, size);
  while (at < size) {
    at = std::min(at, size - 8);  // The last ones: some of them once more.
    const std::size_t bit = at * kBits;
    const std::uint64_t symbols =
        EightSymbols<kBits>(converter, WordAt(bytes, bit / 8) >> bit % 8);
    std::memcpy(out + at, &symbols, sizeof(symbols));
    at += 8;
  }
}

template <unsigned int kBits>
void Write(const CConverter& converter, const unsigned char* bytes, char* out,
           std::size_t size) {
  if (size >= 8) return WriteMany<kBits>(converter, bytes, out, size);
  const std::uint64_t symbols =
      EightSymbols<kBits>(converter, WordAt(bytes, 0));
  std::memcpy(out, &symbols, size);
}

// Texts of fewer digits than eight need no allocation, and room of a known size
// is made and filled without a call.
template <unsigned int kBits>
std::string ShortText(const CConverter& converter, const unsigned char* bytes,
                      std::size_t size) {
  std::string text(8, '\0');
  const std::uint64_t symbols =
      EightSymbols<kBits>(converter, WordAt(bytes, 0));
  std::memcpy(text.data(), &symbols, sizeof(symbols));
  text.resize(size);
  return text;
}

template <unsigned int kBits>
std::string LongText(const CConverter& converter, const unsigned char* bytes,
                     std::size_t size) {
  std::string text(size, '\0');
  WriteMany<kBits>(converter, bytes, text.data(), size);
  return text;
}

// The digit text of `bits`; with the width known, no division is needed.
template <unsigned int kBits>
std::string Text(const CConverter& converter, const CBitstr& bits) {
  const auto total = static_cast<std::uint32_t>(converter.totalBits);
  const std::size_t size = (total + kBits - 1) / kBits;
  return size < 8 ? ShortText<kBits>(converter, BytesOf(bits), size)
                  : LongText<kBits>(converter, BytesOf(bits), size);
}

struct Writer {
  void (*write)(const CConverter& converter, const unsigned char* bytes,
                char* out, std::size_t size);
  std::string (*text)(const CConverter& converter, const CBitstr& bits);
};

template <unsigned int kBits>
constexpr Writer kWriter = {Write<kBits>, Text<kBits>};

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

std::string WideText(const CConverter& converter, const CBitstr& bits) {
  const auto total = static_cast<std::uint32_t>(converter.totalBits);
  const auto width = static_cast<std::uint32_t>(converter.bitsPerChar);
  std::string text((total + width - 1) / width, '\0');
  WriteWide(converter, bits, text.data(), text.size());
  return text;
}

}  // namespace

bool ReadPlainDigits(const CConverter& converter, std::string_view text,
                     CBitstr& result) {
  const auto bits = static_cast<std::size_t>(converter.bitsPerChar);
  return converter.totalBits >= 0 && bits - 1 < kPlainReaders.size() &&
         kPlainReaders[bits - 1](converter, text, result);
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

void WriteDigits(const CConverter& converter, const CBitstr& bits, char* out,
                 std::size_t size) {
  const auto width = static_cast<std::size_t>(converter.bitsPerChar);
  if (width <= kWriters.size())
    kWriters[width - 1].write(converter, BytesOf(bits), out, size);
  else
    WriteWide(converter, bits, out, size);
}

}  // namespace internal

// Stands here, beside what it calls: a short text is written in the time of a
// few calls.
std::string CConverter::BitstrToStr(const CBitstr& bits) const {
  if (bitsPerChar == 0) return internal::DecimalText(totalBits, bits);
  if (bitsPerChar < 0 || totalBits <= 0) return {};
  const auto width = static_cast<std::uint32_t>(bitsPerChar);
  return width <= internal::kWriters.size()
             ? internal::kWriters[width - 1].text(*this, bits)
             : internal::WideText(*this, bits);
}

}  // namespace fairlead
