// The command `code`: bits as short text that a user can type, and back.

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
#include "tool/command/command_table.h"
#include "tool/command/forms.h"
#include "tool/command/parameters.h"
#include "tool/io/output.h"

namespace fairlead::tool::code {
namespace {

constexpr int kMaxBits = 512;
constexpr int kMaxDecimalBits = 63;  // A 64th would be a sign.
constexpr int kNumberBits = 64;

constexpr Parameter kBits = {
    .name = "bits",
    .placeholder = "N",
    .kind = Kind::kNumber,
    .group = Group::kWhat,
    .help =
        "the number of bits: a multiple of the width, or up to 63 with -width "
        "0",
    .range = {.least = 1, .most = kMaxBits}};
constexpr Parameter kHex = {
    .name = "hex",
    .placeholder = "DIGITS",
    .kind = Kind::kNonEmptyText,
    .group = Group::kWhat,
    .help =
        "the bits as bytes, in pairs of hexadecimal digits: the first byte "
        "holds bits 0 to 7, lowest first; missing bytes are 0"};
constexpr Parameter kNumber = {.name = "number",
                               .placeholder = "N",
                               .kind = Kind::kNumber,
                               .group = Group::kWhat,
                               .help = "the bits as a number, lowest first",
                               .range = {.least = 0, .most = UINT64_MAX}};
constexpr Parameter kText = {
    .name = "text",
    .placeholder = "TEXT",
    .kind = Kind::kNonEmptyText,
    .group = Group::kWhat,
    .help = "the text to read; hyphens and spaces are ignored",
    .remedy = kLeadWithSpace};
constexpr Parameter kWidth = {
    .name = "width",
    .placeholder = "B",
    .kind = Kind::kNumber,
    .group = Group::kHow,
    .help =
        "the bits of each character; 0 for a decimal number; with 7 and 8 only "
        "the values 0 to 63 have a character",
    .range = {.least = 0, .most = 8},
    .fallback = "6"};
constexpr Parameter kGroup = {
    .name = "group",
    .placeholder = "G",
    .kind = Kind::kNumber,
    .group = Group::kHow,
    .help = "the characters between two hyphens; 0 for no hyphens",
    .range = {.least = 0, .most = kMaxBits},
    .fallback = "4"};

enum class CodeForm { kAsHex, kAsNumber };

constexpr auto kForms = std::to_array<Choice>(
    {{CodeForm::kAsHex, "hex"}, {CodeForm::kAsNumber, "number"}, kAllForms});

constexpr Parameter kForm = {
    .name = "form",
    .kind = Kind::kChoice,
    .group = Group::kOutput,
    .help = "output format; 'number' is available if the value fits in 64 bits",
    .choices = kForms,
    .fallback = kAllForms.name};

constexpr auto kLayoutUses = Uses(kBits, Optional(kWidth));
constexpr auto kMakeUses =
    Uses(kLayoutUses, Optional(kGroup), OneOf(kHex, kNumber));
constexpr auto kReadUses = Uses(kText, kLayoutUses, Optional(kForm));

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

// Returns the number of bits up to the highest one set.
std::size_t BitsNeeded(std::string_view bytes) {
  const std::size_t last = bytes.find_last_not_of('\0');
  if (last == std::string_view::npos) return 0;
  return last * 8 + std::bit_width(static_cast<unsigned char>(bytes[last]));
}

// The number of bits and the width, which must go together.
struct Layout {
  explicit Layout(const Arguments<kLayoutUses>& arguments)
      : bits(arguments.Number(kBits)), width(arguments.Number(kWidth)) {
    if (width == 0 && bits > kMaxDecimalBits)
      throw Failure(
          kWrongUsage,
          Concat("-bits ", bits, " is more than the ", kMaxDecimalBits,
                 " of a decimal number; write -width 1 to 8"));
    if (width != 0 && bits % width != 0) FailForPart();
  }

  // Returns the largest number of bits that the width divides.
  int Most() const {
    return width == 0 ? kMaxDecimalBits : kMaxBits / width * width;
  }

  // Returns the count, rounded up to a multiple of the width.
  std::size_t RoundedUp(std::size_t count) const {
    const auto step = static_cast<std::size_t>(std::max(width, 1));
    return (count + step - 1) / step * step;
  }

  const int bits;
  const int width;

 private:
  // A partial character would be lost.
  [[noreturn]] void FailForPart() const {
    const int below = bits / width * width;
    const int above = below + width;
    std::string near;
    if (below == 0)
      near = Concat("the nearest multiple is ", above);
    else if (above > kMaxBits)
      near = Concat("the nearest multiple is ", below);
    else
      near = Concat("the nearest multiples are ", below, " and ", above);
    throw Failure(kWrongUsage,
                  Concat("-bits ", bits, " is not a multiple of -width ", width,
                         "; ", near));
  }
};

// The bytes given, and their name for errors.
struct Given {
  std::string name;
  std::string bytes;
};

Given GivenBits(const Arguments<kMakeUses>& arguments) {
  if (arguments.Has(kHex)) {
    const std::string digits = arguments.Text(kHex);
    return {Concat("-hex ", Quoted(digits)), FromHex(digits, kHex.name)};
  }
  const std::uint64_t number = arguments.WideNumber(kNumber);
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
                  Concat(fault, "; write -bits ", enough, " or more"));
  throw Failure(kWrongUsage, Concat(fault, "; -width ", layout.width,
                                    " allows at most ", layout.Most()));
}

ExitStatus Make(const Arguments<kMakeUses>& arguments, const Output& output) {
  const Layout layout(arguments);
  const Given given = GivenBits(arguments);
  CheckFit(given, layout);

  CConverter converter(layout.bits, layout.width, arguments.Number(kGroup));
  converter.LoadData(BitsOf(given.bytes));
  if (converter.GetStr().find('-') != std::string::npos)
    throw Failure(kWrongUsage,
                  Concat(given.name, " has no text with -width ", layout.width,
                         ": a character would have a value of 64 or more; "
                         "write -width 6 or less"));
  output.Write(Concat(converter.GetDividedStr(), "\n"));
  return kDone;
}

[[noreturn]] void FailForText(std::string_view text, std::string_view fault) {
  throw Failure(kMalformedInput, Concat("-text ", Quoted(text), " ", fault));
}

[[noreturn]] void FailForBits(std::string_view text, const Layout& layout) {
  FailForText(text, Concat("needs more than ", layout.bits, " bits"));
}

// The library would accept some of these: letters after a number, a sign, bytes
// above 0x7F.
void CheckCharacters(std::string_view text, const CConverter& converter) {
  const std::string_view digits(
      converter.alphabet, std::size_t{1} << std::min(converter.bitsPerChar, 6));
  const std::string_view allowed =
      converter.bitsPerChar == 0 ? "0123456789" : digits;
  for (const char& c : CConverter::ExtractMeat(text))
    if (allowed.find(c) == std::string_view::npos)
      FailForText(text, Concat("contains ", Quoted({&c, 1}),
                               ", which is not one of ", allowed));
}

// Reports the converter's error. The one for a character with too large a value
// cannot occur: CheckCharacters() comes first.
[[noreturn]] void FailToRead(std::string_view text, const Layout& layout,
                             const CConverter& converter) {
  constexpr int kWrongLength = 1;
  constexpr int kTooManyDigits = 3;
  const std::string characters = CConverter::ExtractMeat(text);
  if (converter.error == kWrongLength)
    FailForText(text,
                Concat("has ", characters.size(), " characters; ", layout.bits,
                       " bits at ", layout.width, " bits per character need ",
                       layout.bits / layout.width));
  if (converter.error == kTooManyDigits)
    FailForText(text, Concat("has more than the ", converter.GetStr().size(),
                             " digits of ", layout.bits, " bits"));
  if (characters.empty()) FailForText(text, "contains no number");
  FailForBits(text, layout);
}

// The library keeps only whole bytes. To keep the bits after the last whole
// byte too, append as many characters of value zero as complete another byte.
CBitstr DigitsIn(const std::string& text, const Layout& layout) {
  const int zeros = (8 + layout.width - 1) / layout.width;
  CConverter converter(layout.bits + zeros * layout.width, layout.width, 0);
  CheckCharacters(text, converter);
  if (!converter.LoadData(text +
                          std::string(static_cast<std::size_t>(zeros), 'A')))
    FailToRead(text, layout, converter);
  return converter.GetBitstr();
}

// The library truncates a number to its bytes, so read it once more with all
// the bytes it can have.
CBitstr DecimalIn(const std::string& text, const Layout& layout) {
  CConverter converter(layout.bits, 0, 0);
  CheckCharacters(text, converter);
  if (!converter.LoadData(text)) FailToRead(text, layout, converter);

  CConverter wide(kMaxDecimalBits, 0, 0);
  wide.LoadData(text);
  if (NumberOf(wide.bitstr) >> layout.bits != 0) FailForBits(text, layout);
  return wide.GetBitstr();
}

std::string HexDigits(std::string_view bytes) {
  std::string hex;
  for (const char byte : bytes) hex += HexByte(byte);
  return hex;
}

FormText NumberText(const CBitstr& bits, std::size_t needed) {
  if (needed <= kNumberBits) return std::to_string(NumberOf(bits));
  return Unavailable{Concat(": the value needs ", needed,
                            " bits, more than the ", kNumberBits,
                            " of a number")};
}

FormText TextOf(CodeForm form, const CBitstr& bits, int count) {
  const std::string bytes = BytesOf(bits, count);
  switch (form) {
    case CodeForm::kAsHex:
      return HexDigits(bytes);
    case CodeForm::kAsNumber:
      return NumberText(bits, BitsNeeded(bytes));
  }
  return {};
}

ExitStatus Read(const Arguments<kReadUses>& arguments, const Output& output) {
  const Layout layout(arguments);
  const std::string text = arguments.Text(kText);
  const CBitstr bits =
      layout.width == 0 ? DecimalIn(text, layout) : DigitsIn(text, layout);
  output.Write(FormLines<CodeForm>(
      kForm, arguments.Text(kForm),
      [&](CodeForm form) { return TextOf(form, bits, layout.bits); }));
  return kDone;
}

constexpr auto kMakeExamples = std::to_array<Example>({
    {"fairlead code make -bits 30 -group 2 -number 83", "Prints TB-AA-A."},
    {"fairlead code make -bits 56 -width 0 -number 12",
     "Prints 0000-0000-0000-0001-2."},
});
constexpr auto kReadExamples = std::to_array<Example>({
    {"fairlead code read -bits 30 -text TB-AA-A",
     "Prints hex 53000000 and number 83, one per line."},
});
constexpr auto kExamples = std::to_array<Example>(
    {kMakeExamples[0], kReadExamples[0], kMakeExamples[1]});

constexpr auto kMakeStatuses = std::to_array<Status>({
    {kDone, "success"},
    {kWrongUsage, "wrong usage, or bits that do not fit"},
    {kCannotWrite, "standard output cannot be written"},
});
constexpr auto kReadStatuses = std::to_array<Status>({
    {kDone, "success"},
    {kWrongUsage, "wrong usage"},
    {kMalformedInput, "the text is malformed"},
    {kCannotWrite, "standard output cannot be written"},
});
constexpr auto kStatuses = std::to_array<Status>({
    {kDone, "success"},
    {kWrongUsage, "wrong usage, or bits that do not fit"},
    {kMalformedInput, "the text is malformed"},
    {kCannotWrite, "standard output cannot be written"},
});

constexpr Command kMake = {
    .name = "make",
    .parent = &kCodeCommand,
    .summary = "print the text of bits",
    .description = "Bits that do not fit into the text are an error.",
    .action = ActionOf<kMakeUses, Make>(),
    .examples = kMakeExamples,
    .statuses = kMakeStatuses,
};
constexpr Command kRead = {
    .name = "read",
    .parent = &kCodeCommand,
    .summary = "print the bits of a text",
    .description =
        "A text with too many characters or an invalid one is malformed. All "
        "bits of the text are read. A program that reads it with the library "
        "gets only whole bytes, so choose a multiple of 8 for it.",
    .action = ActionOf<kReadUses, Read>(),
    .examples = kReadExamples,
    .statuses = kReadStatuses,
};

constexpr std::array kSubcommands = {&kMake, &kRead};

}  // namespace
}  // namespace fairlead::tool::code

namespace fairlead::tool {

constinit const Command kCodeCommand = {
    .name = "code",
    .summary = "convert bits to text that a user can type, and back",
    .description =
        "Each character holds as many bits as the width says, lowest first. "
        "The characters for 0 to 63 are A to Z, 1 to 9, a to z, 0, @ and #. "
        "Nothing is lost: what does not fit is an error.",
    .examples = code::kExamples,
    .statuses = code::kStatuses,
    .subcommands = code::kSubcommands,
};

}  // namespace fairlead::tool
