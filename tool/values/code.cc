// The command `code`: bits as short text that a person can type, and back.

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "fairlead/bits/converter.h"
#include "tool/base/concat.h"
#include "tool/base/escapes.h"
#include "tool/base/failure.h"
#include "tool/command/command_list.h"
#include "tool/command/forms.h"
#include "tool/command/parameters.h"
#include "tool/command/usage.h"
#include "tool/command/whole_number.h"
#include "tool/io/output.h"

namespace fairlead::tool {
namespace {

constexpr int kMostBits = 512;
constexpr int kMostDecimalBits = 63;  // A 64th would be a sign.
constexpr int kNumberBits = 64;

constexpr Parameter kBits = {
    .name = "bits",
    .word = "N",
    .kind = Kind::kNumber,
    .group = "What",
    .help =
        "the bits that the text stands for: a multiple "
        "of the width, or up to 63 with -width 0",
    .least = 1,
    .most = kMostBits};
constexpr Parameter kCodedHex = {
    .name = "hex",
    .word = "DIGITS",
    .kind = Kind::kWord,
    .group = "What",
    .help =
        "the bits as bytes in pairs of hexadecimal digits: the first byte "
        "holds bits 0 to 7, its lowest bit first; missing ones are 0"};
constexpr Parameter kNumber = {
    .name = "number",
    .word = "N",
    .kind = Kind::kWord,
    .group = "What",
    .help =
        "the bits as a number, its lowest bit first, 0 to "
        "18446744073709551615"};
constexpr Parameter kCodeText = {
    .name = "text",
    .word = "TEXT",
    .kind = Kind::kWord,
    .group = "What",
    .help =
        "the text to read; hyphens and blanks do not count, and a blank lets "
        "it begin with a hyphen"};
constexpr Parameter kWidth = {
    .name = "width",
    .word = "B",
    .kind = Kind::kNumber,
    .group = "How",
    .help =
        "the bits of each character (0 for a decimal number; with 7 and 8 "
        "there are characters for 0 to 63 only)",
    .least = 0,
    .most = 8,
    .fallback = "6"};
constexpr Parameter kGroup = {
    .name = "group",
    .word = "G",
    .kind = Kind::kNumber,
    .group = "How",
    .help = "the characters between two hyphens (0 for no hyphens)",
    .least = 0,
    .most = kMostBits,
    .fallback = "4"};
constexpr Parameter kCodeForm = {
    .name = "form",
    .word = "hex|number|all",
    .kind = Kind::kChoice,
    .group = "Output",
    .help =
        "how to print the bits that were read; number is there where they are "
        "one below 18446744073709551616",
    .fallback = "all"};

std::size_t ByteCount(int bits) {
  return (static_cast<unsigned>(bits) + 7) / 8;
}

CBitstr BitsOf(std::string_view bytes) {
  CBitstr bits;
  std::memcpy(bits.data, bytes.data(),
              std::min(bytes.size(), sizeof(bits.data)));
  return bits;
}

std::string BytesOf(const CBitstr& bits, int count) {
  std::string bytes(ByteCount(count), '\0');
  std::memcpy(bytes.data(), bits.data, bytes.size());
  return bytes;
}

std::uint64_t NumberOf(const CBitstr& bits) {
  std::uint64_t number = 0;
  std::memcpy(&number, bits.data, sizeof(number));
  return number;
}

// The bits up to the highest that is set.
std::size_t BitsNeeded(std::string_view bytes) {
  const std::size_t last = bytes.find_last_not_of('\0');
  if (last == std::string_view::npos) return 0;
  return last * 8 + std::bit_width(static_cast<unsigned char>(bytes[last]));
}

// What the two parameters together allow.
struct Layout {
  explicit Layout(const Arguments& arguments)
      : bits(arguments.Number(kBits)), width(arguments.Number(kWidth)) {
    if (width == 0 && bits > kMostDecimalBits)
      throw Failure(kWrongUsage,
                    Concat("-bits ", bits, " is above the ", kMostDecimalBits,
                           " of a decimal number: give -width 1 to 8"));
    if (width != 0 && bits % width != 0) FailForPart();
  }

  // The most bits at which the width fits.
  int Most() const {
    return width == 0 ? kMostDecimalBits : kMostBits / width * width;
  }

  // As many bits, or the next number of them at which the width fits.
  std::size_t RoundedUp(std::size_t count) const {
    const auto step = static_cast<std::size_t>(std::max(width, 1));
    return (count + step - 1) / step * step;
  }

  const int bits;
  const int width;

 private:
  // Part of a character would be lost on the way.
  [[noreturn]] void FailForPart() const {
    const int below = bits / width * width;
    const int above = below + width;
    std::string near;
    if (below == 0)
      near = Concat("the nearest is ", above);
    else if (above > kMostBits)
      near = Concat("the nearest is ", below);
    else
      near = Concat("the nearest are ", below, " and ", above);
    throw Failure(kWrongUsage, Concat("-bits ", bits, " is no multiple of ",
                                      "-width ", width, "; ", near));
  }
};

// The bytes given, and how an error calls them.
struct Given {
  std::string name;
  std::string bytes;
};

Given GivenBits(const Arguments& arguments) {
  if (arguments.Has(kCodedHex)) {
    const std::string digits = arguments.Text(kCodedHex);
    return {Concat("-hex ", Quoted(digits)), FromHex(digits, kCodedHex.name)};
  }
  const std::uint64_t number = WholeNumber(arguments, kNumber, UINT64_MAX);
  std::string bytes(sizeof(number), '\0');
  std::memcpy(bytes.data(), &number, sizeof(number));
  return {Concat("-number ", std::to_string(number)), bytes};
}

void CheckFit(const Given& given, const Layout& layout) {
  const std::size_t needed = BitsNeeded(given.bytes);
  if (needed <= static_cast<std::size_t>(layout.bits)) return;
  const std::string fault = Concat(given.name, " needs ", needed,
                                   " bits, more than -bits ", layout.bits);
  const std::size_t enough = layout.RoundedUp(needed);
  if (enough <= static_cast<std::size_t>(layout.Most()))
    throw Failure(kWrongUsage,
                  Concat(fault, ": give -bits ", enough, " or more"));
  throw Failure(kWrongUsage, Concat(fault, ", and -width ", layout.width,
                                    " takes ", layout.Most(), " at most"));
}

ExitStatus Make(const Arguments& arguments, const Output& output) {
  const Layout layout(arguments);
  const Given given = GivenBits(arguments);
  CheckFit(given, layout);

  CConverter converter(layout.bits, layout.width, arguments.Number(kGroup));
  converter.LoadData(BitsOf(given.bytes));
  if (converter.GetStr().find('-') != std::string::npos)
    throw Failure(kWrongUsage,
                  Concat(given.name, " has no text with -width ", layout.width,
                         ", for one of its characters would stand for 64 or "
                         "more: give -width 6 or less"));
  output.Write(Concat(converter.GetDividedStr(), "\n"));
  return kDone;
}

[[noreturn]] void FailForText(std::string_view text, std::string_view fault) {
  throw Failure(kMalformedInput, Concat("-text ", Quoted(text), " ", fault));
}

[[noreturn]] void FailForBits(std::string_view text, const Layout& layout) {
  FailForText(text, Concat("needs more than ", layout.bits, " bits"));
}

// The library would take some of these: letters behind a number, a sign, bytes
// above 0x7F.
void CheckCharacters(std::string_view text, const CConverter& converter) {
  const std::string_view digits(
      converter.alphabet, std::size_t{1} << std::min(converter.bitsPerChar, 6));
  const std::string_view allowed =
      converter.bitsPerChar == 0 ? "0123456789" : digits;
  for (const char& c : CConverter::ExtractMeat(text))
    if (allowed.find(c) == std::string_view::npos)
      FailForText(text, Concat("holds ", Quoted({&c, 1}), ", which is none of ",
                               allowed));
}

// What the converter's error means. That for a character with too large a value
// cannot come: the characters were looked at before.
[[noreturn]] void FailToRead(std::string_view text, const Layout& layout,
                             const CConverter& converter) {
  constexpr int kWrongLength = 1;
  constexpr int kTooManyDigits = 3;
  const std::string meat = CConverter::ExtractMeat(text);
  if (converter.error == kWrongLength)
    FailForText(text, Concat("has ", meat.size(), " characters, and ",
                             layout.bits, " bits of width ", layout.width,
                             " are ", layout.bits / layout.width));
  if (converter.error == kTooManyDigits)
    FailForText(text, Concat("has more than the ", converter.GetStr().size(),
                             " digits of ", layout.bits, " bits"));
  if (meat.empty()) FailForText(text, "holds no number");
  FailForBits(text, layout);
}

// The library keeps whole bytes alone. So that the bits after the last whole
// one are kept too, the text is read with as many characters for zero behind it
// as complete another byte.
CBitstr DigitsIn(const std::string& text, const Layout& layout) {
  const int zeros = (8 + layout.width - 1) / layout.width;
  CConverter converter(layout.bits + zeros * layout.width, layout.width, 0);
  CheckCharacters(text, converter);
  if (!converter.LoadData(text +
                          std::string(static_cast<std::size_t>(zeros), 'A')))
    FailToRead(text, layout, converter);
  return converter.GetBitstr();
}

// The library cuts a number that has few enough digits to the bytes it is to
// have. So it is read once more with room for every one.
CBitstr DecimalIn(const std::string& text, const Layout& layout) {
  CConverter converter(layout.bits, 0, 0);
  CheckCharacters(text, converter);
  if (!converter.LoadData(text)) FailToRead(text, layout, converter);

  CConverter wide(kMostDecimalBits, 0, 0);
  wide.LoadData(text);
  if (NumberOf(wide.bitstr) >> layout.bits != 0) FailForBits(text, layout);
  return wide.GetBitstr();
}

ExitStatus Read(const Arguments& arguments, const Output& output) {
  const Layout layout(arguments);
  const std::string text = arguments.Text(kCodeText);
  const CBitstr bits =
      layout.width == 0 ? DecimalIn(text, layout) : DigitsIn(text, layout);
  const std::string bytes = BytesOf(bits, layout.bits);
  std::string hex;
  for (const char byte : bytes) hex += HexByte(byte);

  std::vector<Form> forms = {{"hex", hex}};
  if (BitsNeeded(bytes) <= kNumberBits)
    forms.push_back({"number", std::to_string(NumberOf(bits))});
  output.Write(FormLines(forms, arguments, kCodeForm, kCodeForm.fallback));
  return kDone;
}

constexpr auto kVerbs = std::to_array<Verb>({
    {"make", "-bits N [-width B] [-group G] (-hex DIGITS | -number N)",
     "print the text of bits", Make},
    {"read", "-text TEXT -bits N [-width B] [-form FORM]",
     "print the bits of a text", Read},
});

constexpr Parameter kVerb = WordOf(kVerbs);

constexpr std::array kParameters = {
    kBits, kCodedHex, kNumber, kCodeText, kWidth, kGroup, kCodeForm, kHelp,
};

ExitStatus Code(const Arguments& arguments, const Output& output) {
  return RunVerb(arguments, output);
}

constexpr auto kExamples = std::to_array<Example>({
    {"fairlead code make -bits 30 -group 2 -number 83", "Prints TB-AA-A."},
    {"fairlead code read -bits 30 -text TB-AA-A",
     "Prints hex 53000000 and number 83, a line each."},
    {"fairlead code make -bits 56 -width 0 -number 12",
     "Prints 0000-0000-0000-0001-2."},
});

constexpr std::array kStatuses = {
    kDone,
    kWrongUsage,
    kMalformedInput,
    kCannotWrite,
};

}  // namespace

constinit const Command kCodeCommand = {
    .name = "code",
    .usage = "WORD [-name value]...",
    .summary = "turn bits into text that a person can type, and back",
    .story =
        "A character holds as many bits as the width says, the first one the "
        "lowest. The characters for 0 to 63 are A to Z, 1 to 9, a to z, 0, @ "
        "and #. Nothing is lost on the way: bits that do not fit are refused, "
        "and so is a text with a character too many or that does not belong. "
        "All bits of a text are read; a program that reads it with the library "
        "gets those of whole bytes, so choose a multiple of 8 for it.",
    .operand = &kVerb,
    .parameters = kParameters,
    .examples = kExamples,
    .statuses = kStatuses,
    .run = Code,
};

}  // namespace fairlead::tool
