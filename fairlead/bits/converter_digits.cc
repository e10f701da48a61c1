// Bits as digits, eight at a time where they fill whole bytes.

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

#include "fairlead/base/eight_bytes.h"
#include "fairlead/bits/converter_modes.h"
#include "fairlead/bits/converter_sixteens.h"

namespace fairlead::internal {
namespace {

// Returns the value of one character. Kept for compatibility: a byte above 0x7F
// is looked up in the other table, as by a negative index into `reverse`.
unsigned int DigitValue(const CConverter& converter, char digit) {
  const auto byte = static_cast<unsigned char>(digit);
  return byte > 0x7F ? static_cast<unsigned char>(converter.alphabet[byte])
                     : converter.reverse[byte];
}

// Stores a word's low bytes, as many as fit.
void Store(unsigned char* bytes, std::size_t at, std::uint64_t word) {
  if (at + sizeof(word) <= kDataBytes) {
    std::memcpy(bytes + at, &word, sizeof(word));
    return;
  }
  for (; at < kDataBytes; ++at, word >>= 8U)
    bytes[at] = static_cast<unsigned char>(word);
}

// Digits combined into one word. `seen` is too large if any of them is.
struct Joined {
  std::uint64_t word = 0;
  std::uint32_t seen = 0;

  void Add(const CConverter& converter, std::size_t digit, std::size_t shift) {
    const std::uint32_t value = converter.reverse[digit];
    word |= std::uint64_t{value} << shift;
    seen |= value;
  }
};

constexpr std::uint64_t kTopBits = EightTimes(0x80);

// Combines eight digits, the first one in the lowest byte, into one word.
// Returns false if one is not ASCII or has no value of `kBits` bits.
template <std::size_t kBits>
[[gnu::always_inline]] inline bool JoinEight(const CConverter& converter,
                                             std::uint64_t digits,
                                             std::uint64_t& word) {
  Joined eight;
  eight.Add(converter, digits & 0xFFU, 0);
  eight.Add(converter, digits >> 8U & 0xFFU, kBits);
  eight.Add(converter, digits >> 16U & 0xFFU, kBits * 2);
  eight.Add(converter, digits >> 24U & 0xFFU, kBits * 3);
  eight.Add(converter, digits >> 32U & 0xFFU, kBits * 4);
  eight.Add(converter, digits >> 40U & 0xFFU, kBits * 5);
  eight.Add(converter, digits >> 48U & 0xFFU, kBits * 6);
  eight.Add(converter, digits >> 56U, kBits * 7);
  word = eight.word;
  return (digits & kTopBits) == 0 && eight.seen >> kBits == 0;
}

// Reads eight digits at a time, which fill whole bytes, from index `at` until
// fewer are left or one has no value of `kBits` bits. Returns the index of the
// next digit.
template <std::size_t kBits>
std::size_t ReadEights(const CConverter& converter, std::string_view text,
                       std::size_t at, unsigned char* bytes) {
  for (std::size_t byte = at / 8 * kBits;
       at + 8 <= text.size() && byte < kDataBytes; at += 8, byte += kBits) {
    std::uint64_t word = 0;
    if (!JoinEight<kBits>(converter, LoadBytes<std::uint64_t>(&text[at]), word))
      break;
    Store(bytes, byte, word);
  }
  return at;
}

// Reads one to seven digits, as eight of which the last ones repeat the first:
// a loop would end where the processor does not expect it. Returns false if one
// has no value of `kBits` bits.
template <std::size_t kBits>
bool ReadFew(const CConverter& converter, std::string_view text,
             unsigned char* bytes, std::size_t byte) {
  const std::uint64_t digits = FirstBytes(text.data(), text.size()) |
                               EightTimes(static_cast<unsigned char>(text[0]))
                                   << 8U * text.size();
  std::uint64_t word = 0;
  if (!JoinEight<kBits>(converter, digits, word)) return false;
  Store(bytes, byte, word & ((std::uint64_t{1} << kBits * text.size()) - 1));
  return true;
}

// Reads a text if it has the right number of digits and nothing to skip.
template <std::size_t kBits>
bool ReadPlain(const CConverter& converter, std::string_view text,
               CBitstr& result) {
  const auto total = static_cast<std::size_t>(converter.totalBits);
  const std::size_t held = text.size() * kBits;
  if (held > total || total - held >= kBits) return false;
  // Characters to skip must not be taken for digits.
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

  // A missing digit is zero and may complete one more byte. Bits that do not
  // fill a byte are dropped.
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

// Returns 64 bits from byte `at` on; those beyond the data are zero.
std::uint64_t WordAt(const unsigned char* bytes, std::size_t at) {
  std::uint64_t word = 0;
  if (at + sizeof(word) <= kDataBytes) {
    std::memcpy(&word, bytes + at, sizeof(word));
    return word;
  }
  for (std::size_t i = kDataBytes; i-- > at;) word = word << 8U | bytes[i];
  return word;
}

// Returns the characters of eight digits.
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

// Writes eight or more characters of `kBits` bits each.
template <unsigned int kBits>
[[gnu::always_inline]] inline void WriteMany(const CConverter& converter,
                                             const unsigned char* bytes,
                                             char* out, std::size_t size) {
  std::size_t at = 0;
  if (kBits == 6 && size >= 16) at = WriteSixteens(converter, bytes, out, size);
  while (at < size) {
    at = std::min(at, size - 8);  // The last ones overlap the others.
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

// Returns a text of fewer than eight digits, without an allocation. A buffer of
// constant size is created and filled without a call.
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

// Returns the digit text of `bits`. With a constant width there is no division.
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

// Writes the low eight bits of each character of more than eight.
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
  unsigned int pending = 0;  // Bits that do not yet fill a byte.
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

}  // namespace fairlead::internal

namespace fairlead {

// Defined here, beside what it calls, so that the compiler can inline it: a
// short text takes the time of a few calls.
std::string CConverter::BitstrToStr(const CBitstr& bits) const {
  if (bitsPerChar == 0) return internal::DecimalText(totalBits, bits);
  if (bitsPerChar < 0 || totalBits <= 0) return {};
  const auto width = static_cast<std::uint32_t>(bitsPerChar);
  return width <= internal::kWriters.size()
             ? internal::kWriters[width - 1].text(*this, bits)
             : internal::WideText(*this, bits);
}

}  // namespace fairlead
