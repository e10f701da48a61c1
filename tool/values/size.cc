// The command `size`: sizes and file positions in all their text forms.

#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "fairlead/time/file_pos.h"
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

constexpr std::uint64_t kMost = std::numeric_limits<std::uint64_t>::max();
constexpr std::size_t kHexDigits = 16;

constexpr Parameter kByteCount = {
    .name = "bytes",
    .word = "N",
    .kind = Kind::kWord,
    .group = "What",
    .help = "so many bytes, 0 to 18446744073709551615"};
constexpr Parameter kHex = {
    .name = "hex",
    .word = "H",
    .kind = Kind::kWord,
    .group = "What",
    .help = "the same as 1 to 16 hexadecimal digits of either case"};
constexpr Parameter kSizedFile = {
    .name = "file",
    .word = "FILE",
    .kind = Kind::kFile,
    .group = "What",
    .help = "the size of a file, which may be unreadable"};
constexpr Parameter kStart = {
    .name = "from",
    .word = "N",
    .kind = Kind::kWord,
    .group = "What",
    .help = "print also how far it lies behind byte N"};
constexpr Parameter kSizeForm = {
    .name = "form",
    .word = "text|hex|bytes|distance|mb|all",
    .kind = Kind::kChoice,
    .group = "Output",
    .help =
        "the form to print; distance in bytes and mb are there with -from, the "
        "first where it is 0 to 4294967295",
    .fallback = "all"};

// The library takes and gives a whole position as hexadecimal text alone.
CFilePos PositionOf(std::uint64_t bytes) {
  std::array<char, kHexDigits> digits{};
  const char* const end =
      std::to_chars(digits.begin(), digits.end(), bytes, 16).ptr;
  CFilePos position;
  position.LoadFromString({digits.begin(), end});
  return position;
}

std::uint64_t BytesOf(const CFilePos& position) {
  const std::string digits = position.GetStr();
  std::uint64_t bytes = 0;
  std::from_chars(digits.data(), digits.data() + digits.size(), bytes, 16);
  return bytes;
}

CFilePos PositionIn(const std::string& digits) {
  CFilePos position;
  if (digits.size() > kHexDigits || !position.LoadFromString(digits))
    throw Failure(kWrongUsage, Concat("-hex ", Quoted(digits),
                                      " is not 1 to 16 hexadecimal digits"));
  return position;
}

std::uint64_t SizeOfFile(const std::string& path) {
  struct stat facts {};
  int error = stat(path.c_str(), &facts) == 0 ? 0 : errno;
  if (error == 0 && S_ISDIR(facts.st_mode)) error = EISDIR;
  if (error == 0 && S_ISREG(facts.st_mode))
    return static_cast<std::uint64_t>(facts.st_size);
  throw Failure(kCannotRead,
                Concat("cannot tell the size of ", Quoted(path), ": ",
                       error == 0 ? "Not a regular file" : ErrorText(error)));
}

CFilePos Given(const Arguments& arguments) {
  if (arguments.Has(kHex)) return PositionIn(arguments.Text(kHex));
  if (arguments.Has(kSizedFile))
    return PositionOf(SizeOfFile(arguments.Text(kSizedFile)));
  return PositionOf(WholeNumber(arguments, kByteCount, kMost));
}

// All the digits that tell the number from its neighbours, and no exponent.
std::string Decimal(double number) {
  std::array<char, 64> text{};
  char* const end =
      std::to_chars(text.begin(), text.end(), number, std::chars_format::fixed)
          .ptr;
  return {text.begin(), end};
}

void AddDistance(std::vector<Form>& forms, const CFilePos& position,
                 const CFilePos& start) {
  if (!start.GreaterThan(position) && BytesOf(position) - BytesOf(start) <=
                                          std::numeric_limits<uint32_t>::max())
    forms.push_back({"distance", std::to_string(position.Difference(start))});
  forms.push_back({"mb", Decimal(position.DifferenceInMb(start))});
}

constexpr std::string_view kUsage =
    "(-bytes N | -hex H | -file FILE) [-from N] [-form FORM]";

ExitStatus Size(const Arguments& arguments, const Output& output) {
  CheckUsage(arguments, "size", kUsage);
  const CFilePos position = Given(arguments);
  std::vector<Form> forms = {{"text", position.GetText()},
                             {"hex", position.GetStr()},
                             {"bytes", std::to_string(BytesOf(position))}};
  if (arguments.Has(kStart))
    AddDistance(forms, position,
                PositionOf(WholeNumber(arguments, kStart, kMost)));
  output.Write(FormLines(forms, arguments, kSizeForm, kSizeForm.fallback));
  return kDone;
}

constexpr std::array kParameters = {
    kByteCount, kHex, kSizedFile, kStart, kSizeForm, kHelp,
};

constexpr auto kExamples = std::to_array<Example>({
    {"fairlead size -bytes 1536",
     "Prints text 1.51 Kb, hex 0000000000000600 and bytes 1536, a line each."},
    {"fairlead size -hex 1f -form bytes", "Prints 31."},
    {"fairlead size -file box.ini -form text",
     "Prints the size of the file for a person."},
    {"fairlead size -bytes 3145728 -from 1048576 -form mb", "Prints 2."},
});

constexpr std::array kStatuses = {
    kDone,
    kWrongUsage,
    kCannotWrite,
    kCannotRead,
};

}  // namespace

constinit const Command kSizeCommand = {
    .name = "size",
    .usage = kUsage,
    .summary = "print sizes and file positions",
    .story =
        "The text for a person is in units of 1024, and rounded up by one step "
        "even where it fits, so that it never shows less than there is: 1.5 Kb "
        "are 1.51 Kb. Without -form, a line for each form: its name, a blank, "
        "and it.",
    .operand = nullptr,
    .parameters = kParameters,
    .examples = kExamples,
    .statuses = kStatuses,
    .run = Size,
};

}  // namespace fairlead::tool
