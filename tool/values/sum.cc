// The command `sum`: the checksum of a text, bytes or a file.

#include <unistd.h>

#include <array>
#include <charconv>
#include <cstdint>
#include <string>
#include <string_view>

#include "fairlead/bits/crc.h"
#include "tool/base/concat.h"
#include "tool/base/escapes.h"
#include "tool/base/failure.h"
#include "tool/command/command_table.h"
#include "tool/command/forms.h"
#include "tool/command/parameters.h"
#include "tool/io/output.h"
#include "tool/io/read_file.h"

namespace fairlead::tool::sum {
namespace {

constexpr Range kRotations = {.least = 0, .most = 32};

constexpr Parameter kText = {
    .name = "text",
    .placeholder = "TEXT",
    .kind = Kind::kText,
    .group = Group::kWhat,
    .help =
        "the bytes of TEXT, with the escapes \\r \\n \\t \\\\ \\xHH; bytes are "
        "sign-extended, so values above 0x7f give a different sum than with "
        "-hex, -file or -stdin",
    .remedy = kEscapeDash};
constexpr Parameter kRotation = {
    .name = "rotation",
    .placeholder = "N",
    .kind = Kind::kNumber,
    .group = Group::kHow,
    .help = "rotate N bits towards the high end before each byte",
    .range = kRotations,
    .fallback = "5",
    .remedy = "write -back and the number without '-'"};
constexpr Parameter kBack = {
    .name = "back",
    .placeholder = "N",
    .kind = Kind::kNumber,
    .group = Group::kHow,
    .help = "rotate N bits towards the low end, a rotation of -N",
    .range = kRotations};

enum class SumForm { k64Bits, k24Bits, k16Bits, k8Bits };

constexpr auto kForms = std::to_array<Choice>({
    {SumForm::k64Bits, "64"},
    {SumForm::k24Bits, "24"},
    {SumForm::k16Bits, "16"},
    {SumForm::k8Bits, "8"},
    kAllForms,
});

constexpr Parameter kForm = {.name = "form",
                             .kind = Kind::kChoice,
                             .group = Group::kOutput,
                             .help = "how many bits of the sum to print",
                             .choices = kForms,
                             .fallback = kAllForms.name};

constexpr auto kUses = Uses(OneOf(kText, kHex, kFile, kStdin),
                            AtMostOne(kRotation, kBack), Optional(kForm));

using Arguments = tool::Arguments<kUses>;

std::int32_t RotationIn(const Arguments& arguments) {
  return arguments.Has(kBack) ? -arguments.Number(kBack)
                              : arguments.Number(kRotation);
}

// A piece is never longer than INT_MAX.
void AddBytes(CCRC& crc, std::string_view bytes) {
  crc.AddArr(reinterpret_cast<const unsigned char*>(bytes.data()),
             static_cast<int>(bytes.size()));
}

void AddGiven(CCRC& crc, const Arguments& arguments) {
  const auto add = [&crc](std::string_view piece) { AddBytes(crc, piece); };
  if (arguments.Has(kText))
    return crc.AddVal(Unescaped(arguments.Text(kText), kText.name));
  if (arguments.Has(kHex)) return add(FromHex(arguments.Text(kHex), kHex.name));
  if (arguments.Has(kFile)) return ReadFilePieces(arguments.Text(kFile), add);
  ReadPieces(STDIN_FILENO, "standard input", add);
}

// Returns the lowest `count` hexadecimal digits.
std::string HexDigits(std::uint64_t value, std::size_t count) {
  std::array<char, 16> digits{};
  char* const end = std::to_chars(digits.begin(), digits.end(), value, 16).ptr;
  const std::string text =
      std::string(digits.size(), '0').append(digits.begin(), end);
  return text.substr(text.size() - count);
}

std::string TextOf(SumForm form, const CCRC& crc) {
  switch (form) {
    case SumForm::k64Bits:
      return HexDigits(crc.ReadCRC(), 16);
    case SumForm::k24Bits:
      return HexDigits(crc.ReadCRC24(), 6);
    case SumForm::k16Bits:
      return HexDigits(crc.ReadCRC16(), 4);
    case SumForm::k8Bits:
      return HexDigits(crc.ReadCRC8(), 2);
  }
  return {};
}

ExitStatus Sum(const Arguments& arguments, const Output& output) {
  CCRC crc{.rotation = RotationIn(arguments)};
  AddGiven(crc, arguments);
  output.Write(
      FormLines<SumForm>(kForm, arguments.Text(kForm),
                         [&crc](SumForm form) { return TextOf(form, crc); }));
  return kDone;
}

constexpr auto kExamples = std::to_array<Example>({
    {"fairlead sum -text hello",
     "Prints the checksum in 64, 24, 16 and 8 bits, one per line."},
    {"fairlead sum -hex 11223344 -rotation 8 -form 24", "Prints 333344."},
    {"fairlead sum -file box.ini -back 3 -form 16",
     "Prints four digits for a file, with a rotation of -3."},
});

constexpr auto kStatuses = std::to_array<Status>({
    {kDone, "success"},
    {kWrongUsage, "wrong usage"},
    {kCannotWrite, "standard output cannot be written"},
    {kCannotRead, "the file or standard input cannot be read"},
    {kInterrupted, "interrupted by Ctrl-C (SIGINT)"},
});

}  // namespace
}  // namespace fairlead::tool::sum

namespace fairlead::tool {

constinit const Command kSumCommand = {
    .name = "sum",
    .summary = "print the checksum of a text, bytes or a file",
    .description =
        "The checksum is a rotating exclusive-or, for formats that require it. "
        "It does not protect long data: with a rotation of 1 to 31 only the "
        "last few bytes may affect it. Without -form, prints one line per "
        "width: the bits, a space, and the hexadecimal digits. The form of 16 "
        "bits is the low half of what the library returns.",
    .action = ActionOf<sum::kUses, sum::Sum>(),
    .examples = sum::kExamples,
    .statuses = sum::kStatuses,
};

}  // namespace fairlead::tool
