// The command `sum`: the check value of words, bytes or files.

#include <unistd.h>

#include <array>
#include <charconv>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "fairlead/bits/crc.h"
#include "tool/base/concat.h"
#include "tool/base/escapes.h"
#include "tool/base/failure.h"
#include "tool/command/command_list.h"
#include "tool/command/forms.h"
#include "tool/command/parameters.h"
#include "tool/command/usage.h"
#include "tool/exchange/body.h"
#include "tool/io/output.h"
#include "tool/io/read_file.h"

namespace fairlead::tool {
namespace {

constexpr int kMostTurned = 32;

constexpr Parameter kSummedWords = {
    .name = "text",
    .word = "WORDS",
    .kind = Kind::kText,
    .group = "What",
    .help =
        "these words, with \\r \\n \\t \\\\ \\xHH in them, each byte "
        "sign-extended: one above 7f enters otherwise than by the doors below"};
constexpr Parameter kRotation = {.name = "rotation",
                                 .word = "N",
                                 .kind = Kind::kNumber,
                                 .group = "How",
                                 .help =
                                     "turn N bits towards the high end before "
                                     "each byte (-back for the low end)",
                                 .least = 0,
                                 .most = kMostTurned,
                                 .fallback = "5"};
constexpr Parameter kTurnedBack = {
    .name = "back",
    .word = "N",
    .kind = Kind::kNumber,
    .group = "How",
    .help = "turn N bits towards the low end, a rotation of -N",
    .least = 0,
    .most = kMostTurned};
constexpr Parameter kSumForm = {.name = "form",
                                .word = "64|24|16|8|all",
                                .kind = Kind::kChoice,
                                .group = "Output",
                                .help = "how many bits of the value to print",
                                .fallback = "all"};

std::int32_t RotationIn(const Arguments& arguments) {
  if (arguments.Has(kRotation) && arguments.Has(kTurnedBack))
    throw Failure(kWrongUsage, "-rotation and -back exclude each other");
  return arguments.Has(kTurnedBack) ? -arguments.Number(kTurnedBack)
                                    : arguments.Number(kRotation);
}

// One piece is never longer than an `int` can tell.
void AddBytes(CCRC& crc, std::string_view bytes) {
  crc.AddArr(reinterpret_cast<const unsigned char*>(bytes.data()),
             static_cast<int>(bytes.size()));
}

void AddGiven(CCRC& crc, const Arguments& arguments) {
  const auto add = [&crc](std::string_view piece) { AddBytes(crc, piece); };
  if (arguments.Has(kSummedWords))
    return crc.AddVal(
        Unescaped(arguments.Text(kSummedWords), kSummedWords.name));
  if (arguments.Has(kHex)) return add(FromHex(arguments.Text(kHex), kHex.name));
  if (arguments.Has(kFile)) return ReadFilePieces(arguments.Text(kFile), add);
  ReadPieces(STDIN_FILENO, "standard input", add);
}

// So many hexadecimal digits, from the lowest.
std::string HexDigits(std::uint64_t value, std::size_t count) {
  std::array<char, 16> digits{};
  char* const end = std::to_chars(digits.begin(), digits.end(), value, 16).ptr;
  const std::string text =
      std::string(digits.size(), '0').append(digits.begin(), end);
  return text.substr(text.size() - count);
}

std::vector<Form> FormsOf(const CCRC& crc) {
  return {{"64", HexDigits(crc.ReadCRC(), 16)},
          {"24", HexDigits(crc.ReadCRC24(), 6)},
          {"16", HexDigits(crc.ReadCRC16(), 4)},
          {"8", HexDigits(crc.ReadCRC8(), 2)}};
}

constexpr std::string_view kUsage =
    "(-text WORDS | -hex DIGITS | -file PATH | -stdin) [-rotation N | -back N] "
    "[-form FORM]";

ExitStatus Sum(const Arguments& arguments, const Output& output) {
  CheckUsage(arguments, "sum", kUsage);
  CCRC crc{.rotation = RotationIn(arguments)};
  AddGiven(crc, arguments);
  output.Write(FormLines(FormsOf(crc), arguments, kSumForm, kSumForm.fallback));
  return kDone;
}

constexpr std::array kParameters = {
    kSummedWords, kHex, kFile, kStdin, kRotation, kTurnedBack, kSumForm, kHelp,
};

constexpr auto kExamples = std::to_array<Example>({
    {"fairlead sum -text hello",
     "Prints the value in 64, 24, 16 and 8 bits, a line each."},
    {"fairlead sum -hex 11223344 -rotation 8 -form 24", "Prints 333344."},
    {"fairlead sum -file box.ini -back 3 -form 16",
     "Prints four digits for a file, with a rotation of -3."},
});

constexpr std::array kStatuses = {
    kDone,
    kWrongUsage,
    kCannotWrite,
    kCannotRead,
};

}  // namespace

constinit const Command kSumCommand = {
    .name = "sum",
    .usage = "-text WORDS|-hex DIGITS|-file PATH|-stdin [-name value]...",
    .summary = "print the check value of words, bytes or a file",
    .story =
        "The value is a turning exclusive-or sum, for formats that ask for it. "
        "It is no protection of long data: with a rotation of 1 to 31 the last "
        "few bytes alone may decide it. Without -form, a line for each "
        "read-out: its bits, a blank, its hexadecimal digits. That of 16 bits "
        "is the low half of what the library returns.",
    .operand = nullptr,
    .parameters = kParameters,
    .examples = kExamples,
    .statuses = kStatuses,
    .run = Sum,
};

}  // namespace fairlead::tool
