// The command `size`: sizes and file positions in all their text forms.

#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <optional>
#include <string>

#include "fairlead/time/file_pos.h"
#include "tool/base/concat.h"
#include "tool/base/escapes.h"
#include "tool/base/failure.h"
#include "tool/command/command_table.h"
#include "tool/command/forms.h"
#include "tool/command/parameters.h"
#include "tool/io/output.h"

namespace fairlead::tool::size {
namespace {

constexpr std::size_t kHexDigits = 16;
constexpr Range kByteRange = {.least = 0, .most = UINT64_MAX};
constexpr Range kDistanceRange = {.least = 0, .most = UINT32_MAX};

constexpr Parameter kBytes = {.name = "bytes",
                              .placeholder = "N",
                              .kind = Kind::kNumber,
                              .group = Group::kWhat,
                              .help = "a size of N bytes",
                              .range = kByteRange};
constexpr Parameter kHex = {
    .name = "hex",
    .placeholder = "H",
    .kind = Kind::kNonEmptyText,
    .group = Group::kWhat,
    .help = "a size as 1 to 16 hexadecimal digits of either case"};
constexpr Parameter kFile = {
    .name = "file",
    .placeholder = "FILE",
    .kind = Kind::kFile,
    .group = Group::kWhat,
    .help = "the size of FILE, which need not be readable"};
constexpr Parameter kFrom = {.name = "from",
                             .placeholder = "N",
                             .kind = Kind::kNumber,
                             .group = Group::kWhat,
                             .help = "also print the distance from byte N",
                             .range = kByteRange};

enum class SizeForm { kAsText, kAsHex, kAsBytes, kAsDistance, kAsMb };

constexpr auto kForms = std::to_array<Choice>({
    {SizeForm::kAsText, "text"},
    {SizeForm::kAsHex, "hex"},
    {SizeForm::kAsBytes, "bytes"},
    {SizeForm::kAsDistance, "distance"},
    {SizeForm::kAsMb, "mb"},
    kAllForms,
});

constexpr Parameter kForm = {
    .name = "form",
    .kind = Kind::kChoice,
    .group = Group::kOutput,
    .help =
        "output format; 'distance' and 'mb' need -from; 'distance' must be "
        "between 0 and 4294967295",
    .choices = kForms,
    .fallback = kAllForms.name};

constexpr auto kUses =
    Uses(OneOf(kBytes, kHex, kFile), Optional(kFrom), Optional(kForm));

using Arguments = tool::Arguments<kUses>;

// The library sets and returns a whole position only as hexadecimal text.
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
  struct stat status {};
  int error = stat(path.c_str(), &status) == 0 ? 0 : errno;
  if (error == 0 && S_ISDIR(status.st_mode)) error = EISDIR;
  if (error == 0 && S_ISREG(status.st_mode))
    return static_cast<std::uint64_t>(status.st_size);
  throw Failure(kCannotRead,
                Concat("cannot find the size of ", Quoted(path), ": ",
                       error == 0 ? "Not a regular file" : ErrorText(error)));
}

CFilePos Given(const Arguments& arguments) {
  if (arguments.Has(kHex)) return PositionIn(arguments.Text(kHex));
  if (arguments.Has(kFile))
    return PositionOf(SizeOfFile(arguments.Text(kFile)));
  return PositionOf(arguments.WideNumber(kBytes));
}

// Returns the shortest digits that identify the number, without an exponent.
std::string Decimal(double number) {
  std::array<char, 64> text{};
  char* const end =
      std::to_chars(text.begin(), text.end(), number, std::chars_format::fixed)
          .ptr;
  return {text.begin(), end};
}

FormText DistanceText(const CFilePos& position, const CFilePos& start) {
  const bool before = start.GreaterThan(position);
  const std::uint64_t distance = before ? BytesOf(start) - BytesOf(position)
                                        : BytesOf(position) - BytesOf(start);
  if (!before && distance <= kDistanceRange.most)
    return std::to_string(position.Difference(start));
  return Unavailable{Concat(": ", before ? "-" : "", distance,
                            " is out of range (expected ", kDistanceRange.least,
                            " to ", kDistanceRange.most, ")")};
}

FormText TextOf(SizeForm form, const CFilePos& position,
                const std::optional<CFilePos>& start) {
  static const Unavailable kNeedsStart{Concat(" needs ", Spelling(kFrom))};
  switch (form) {
    case SizeForm::kAsText:
      return position.GetText();
    case SizeForm::kAsHex:
      return position.GetStr();
    case SizeForm::kAsBytes:
      return std::to_string(BytesOf(position));
    case SizeForm::kAsDistance:
      if (!start) return kNeedsStart;
      return DistanceText(position, *start);
    case SizeForm::kAsMb:
      if (!start) return kNeedsStart;
      return Decimal(position.DifferenceInMb(*start));
  }
  return {};
}

ExitStatus Size(const Arguments& arguments, const Output& output) {
  const CFilePos position = Given(arguments);
  std::optional<CFilePos> start;
  if (arguments.Has(kFrom)) start = PositionOf(arguments.WideNumber(kFrom));
  output.Write(FormLines<SizeForm>(
      kForm, arguments.Text(kForm),
      [&](SizeForm form) { return TextOf(form, position, start); }));
  return kDone;
}

constexpr auto kExamples = std::to_array<Example>({
    {"fairlead size -bytes 1536",
     "Prints text 1.51 Kb, hex 0000000000000600 and bytes 1536, one per line."},
    {"fairlead size -hex 1f -form bytes", "Prints 31."},
    {"fairlead size -file box.ini -form text",
     "Prints the size of the file in human-readable form."},
    {"fairlead size -bytes 3145728 -from 1048576 -form mb", "Prints 2."},
});

constexpr auto kStatuses = std::to_array<Status>({
    {kDone, "success"},
    {kWrongUsage, "wrong usage"},
    {kCannotWrite, "standard output cannot be written"},
    {kCannotRead, "the file does not exist, or has no size"},
});

}  // namespace
}  // namespace fairlead::tool::size

namespace fairlead::tool {

constinit const Command kSizeCommand = {
    .name = "size",
    .summary = "print sizes and file positions",
    .description =
        "The human-readable text is in units of 1024 and rounded up, always by "
        "at least one step even if the value is exact: 1.5 Kb prints as 1.51 "
        "Kb. Without -form, prints every form, one per line, as NAME VALUE.",
    .action = ActionOf<size::kUses, size::Size>(),
    .examples = size::kExamples,
    .statuses = size::kStatuses,
};

}  // namespace fairlead::tool
