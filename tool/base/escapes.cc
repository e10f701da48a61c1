// Converts text to and from escapes, and makes control bytes visible.

#include "tool/base/escapes.h"

#include <algorithm>
#include <cstddef>

#include "tool/base/concat.h"
#include "tool/base/failure.h"

namespace fairlead::tool {
namespace {

constexpr std::string_view kDigits = "0123456789abcdef";

unsigned Byte(char c) { return static_cast<unsigned char>(c); }

// 0 to 15, or -1 for what is no hexadecimal digit.
int DigitValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// Returns the byte of the two digits at the start of `digits`, or -1.
int PairValue(std::string_view digits) {
  if (digits.size() < 2) return -1;
  const int high = DigitValue(digits[0]);
  const int low = DigitValue(digits[1]);
  return high < 0 || low < 0 ? -1 : high * 16 + low;
}

// Returns the length of the well-formed UTF-8 sequence at the start of `bytes`,
// if it is longer than one byte and not a control character; else 0.
std::size_t Utf8Length(std::string_view bytes) {
  const unsigned lead = Byte(bytes[0]);
  const std::size_t length = lead >= 0xC2 && lead <= 0xDF   ? 2
                             : lead >= 0xE0 && lead <= 0xEF ? 3
                             : lead >= 0xF0 && lead <= 0xF4 ? 4
                                                            : 0;
  if (length == 0 || bytes.size() < length) return 0;
  for (std::size_t i = 1; i < length; ++i)
    if ((Byte(bytes[i]) & 0xC0U) != 0x80) return 0;

  // Exclude C1 controls, longer spellings of short code points, surrogates,
  // and code points above U+10FFFF.
  const unsigned second = Byte(bytes[1]);
  if ((lead == 0xC2 && second < 0xA0) || (lead == 0xE0 && second < 0xA0) ||
      (lead == 0xED && second > 0x9F) || (lead == 0xF0 && second < 0x90) ||
      (lead == 0xF4 && second > 0x8F))
    return 0;
  return length;
}

// Returns whether the bytes begin with a control character from U+0080 to
// U+009F, of two bytes in UTF-8.
bool BeginsWithC1Control(std::string_view bytes) {
  return bytes.size() >= 2 && Byte(bytes[0]) == 0xC2 &&
         Byte(bytes[1]) >= 0x80 && Byte(bytes[1]) < 0xA0;
}

// Returns whether the bytes begin with a character that changes the order or
// the lines in which a text is shown: U+061C, U+200E, U+200F, U+2028 to U+202E,
// U+2066 to U+2069.
bool BeginsWithLayoutControl(std::string_view bytes) {
  if (bytes.starts_with("\xD8\x9C")) return true;
  if (bytes.size() < 3) return false;
  const unsigned last = Byte(bytes[2]);
  if (bytes.starts_with("\xE2\x80"))
    return last == 0x8E || last == 0x8F || (last >= 0xA8 && last <= 0xAE);
  return bytes.starts_with("\xE2\x81") && last >= 0xA6 && last <= 0xA9;
}

// Returns the character, of two or three bytes in UTF-8, as JSON escapes it.
std::string JsonEscape(std::string_view character) {
  unsigned code = Byte(character[0]) & (character.size() == 2 ? 0x1FU : 0x0FU);
  for (const char c : character.substr(1))
    code = code << 6U | (Byte(c) & 0x3FU);
  return Concat("\\u", HexByte(static_cast<char>(code >> 8U)),
                HexByte(static_cast<char>(code)));
}

std::string Spelled(char c) {
  switch (c) {
    case '\r':
      return "\\r";
    case '\n':
      return "\\n";
    case '\t':
      return "\\t";
    case '\\':
      return "\\\\";
    default:
      return Concat("\\x", HexByte(c));
  }
}

// Escapes every byte that is neither printable nor in `kept`, nor part of
// UTF-8, and layout controls. Backslashes are escaped unless they are in
// `kept`.
std::string SpelledExcept(std::string_view kept, std::string_view bytes) {
  std::string text;
  while (!bytes.empty()) {
    const char c = bytes[0];
    std::size_t plain = BeginsWithLayoutControl(bytes) ? 0 : Utf8Length(bytes);
    if ((IsPrintable(c) && c != '\\') || kept.find(c) != std::string_view::npos)
      plain = 1;
    if (plain == 0) text += Spelled(c);
    text += bytes.substr(0, plain);
    bytes.remove_prefix(plain == 0 ? 1 : plain);
  }
  return text;
}

}  // namespace

std::string Unescaped(std::string_view text, std::string_view name) {
  std::string bytes;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '\\') {
      bytes += text[i];
      continue;
    }
    const std::string_view escape = text.substr(i + 1);
    constexpr std::string_view kLetters = "rnt\\";
    constexpr std::string_view kMeant = "\r\n\t\\";
    const std::size_t letter =
        escape.empty() ? std::string_view::npos : kLetters.find(escape[0]);
    const int pair = escape.starts_with('x') ? PairValue(escape.substr(1)) : -1;
    if (letter == std::string_view::npos && pair < 0)
      throw Failure(kWrongUsage,
                    Concat("-", name, ": ", Quoted(text.substr(i, 2)),
                           R"( is not one of \r \n \t \\ \xHH)"));
    bytes += pair < 0 ? kMeant[letter] : static_cast<char>(pair);
    i += pair < 0 ? 1 : 3;
  }
  return bytes;
}

std::string FromHex(std::string_view digits, std::string_view name) {
  std::string bytes;
  while (!digits.empty()) {
    if (std::string_view(" \t\r\n\v\f").find(digits[0]) !=
        std::string_view::npos) {
      digits.remove_prefix(1);
      continue;
    }
    const int pair = PairValue(digits);
    if (pair < 0)
      throw Failure(kWrongUsage,
                    Concat("-", name, ": ", Quoted(digits.substr(0, 2)),
                           " is not a pair of hexadecimal digits"));
    bytes += static_cast<char>(pair);
    digits.remove_prefix(2);
  }
  return bytes;
}

std::string Escaped(std::string_view bytes) { return SpelledExcept("", bytes); }

std::string Shown(std::string_view text) {
  constexpr std::size_t kMaxShown = 100;
  if (text.size() <= kMaxShown) return SpelledExcept("\\", text);
  std::size_t end = kMaxShown;
  while (end > kMaxShown - 3 && (Byte(text[end]) & 0xC0U) == 0x80) --end;
  return SpelledExcept("\\", text.substr(0, end)) + "...";
}

std::string Quoted(std::string_view text) {
  return Concat("'", Shown(text), "'");
}

std::string Visible(std::string_view bytes) {
  return SpelledExcept("\n\t\\", bytes);
}

std::size_t WholeCharacters(std::string_view bytes) {
  for (std::size_t back = 1; back <= std::min<std::size_t>(bytes.size(), 3);
       ++back) {
    const unsigned byte = Byte(bytes[bytes.size() - back]);
    const std::size_t length = byte >= 0xF0 ? 4 : byte >= 0xE0 ? 3 : 2;
    if (byte >= 0xC0) return bytes.size() - (length > back ? back : 0);
    if (byte < 0x80) break;
  }
  return bytes.size();
}

std::string JsonString(std::string_view bytes) {
  std::string text = "\"";
  while (!bytes.empty()) {
    if (BeginsWithC1Control(bytes)) bytes.remove_prefix(1);
    const char c = bytes[0];
    const std::size_t sequence = Utf8Length(bytes);
    if (BeginsWithLayoutControl(bytes))
      text += JsonEscape(bytes.substr(0, sequence));
    else if (sequence > 0)
      text += bytes.substr(0, sequence);
    else if (c == '"' || c == '\\')
      text.append("\\").append(1, c);
    else if (IsPrintable(c))
      text += c;
    else
      text.append("\\u00").append(HexByte(c));
    bytes.remove_prefix(sequence == 0 ? 1 : sequence);
  }
  return text + '"';
}

bool IsUtf8(std::string_view bytes) {
  while (!bytes.empty()) {
    const std::size_t length = Byte(bytes[0]) < 0x80        ? 1
                               : BeginsWithC1Control(bytes) ? 2
                                                            : Utf8Length(bytes);
    if (length == 0) return false;
    bytes.remove_prefix(length);
  }
  return true;
}

std::string HexByte(char byte) {
  return {kDigits[Byte(byte) / 16], kDigits[Byte(byte) % 16]};
}

}  // namespace fairlead::tool
