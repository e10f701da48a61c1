// Reads INI files.

#include "tool/ini/ini_source.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <utility>

#include "tool/base/concat.h"
#include "tool/base/escapes.h"
#include "tool/base/failure.h"
#include "tool/ini/listing.h"
#include "tool/io/output.h"
#include "tool/io/read_file.h"

namespace fairlead::tool::ini {
namespace {

using namespace std::string_view_literals;

// How a wide encoding spells characters.
struct WideForm {
  std::string_view name;  // As iconv knows it.
  std::size_t width;      // The bytes of a unit,
  bool low_first;         // and whether the lowest is the first one.
};

constexpr std::array<WideForm, 4> kWideForms = {{{"UTF-16LE", 2, true},
                                                 {"UTF-16BE", 2, false},
                                                 {"UTF-32LE", 4, true},
                                                 {"UTF-32BE", 4, false}}};

std::uint32_t UnitAt(std::string_view bytes, std::size_t at,
                     const WideForm& form) {
  std::uint32_t unit = 0;
  for (std::size_t i = 0; i < form.width; ++i) {
    const std::size_t place = form.low_first ? form.width - 1 - i : i;
    unit = unit << 8 | static_cast<unsigned char>(bytes[at + place]);
  }
  return unit;
}

// What tells a text in a wide encoding from other bytes.
struct UnitCounts {
  std::size_t newlines = 0;
  std::size_t like_newlines = 0;  // Others whose lowest byte is a newline.
  std::size_t printable = 0;      // Those of ASCII, such as '=' and '['.
  bool all_ascii = true;
  bool all_valid = true;
};

bool IsSurrogate(std::uint32_t unit, std::uint32_t first) {
  constexpr std::uint32_t kSurrogates = 0x400;
  return unit >= first && unit < first + kSurrogates;
}

UnitCounts CountUnits(std::string_view bytes, const WideForm& form) {
  constexpr std::uint32_t kMaxCharacter = 0x10'FFFF;
  UnitCounts counts;
  bool is_pair = false;  // With the unit above.
  for (std::size_t at = 0; at < bytes.size() && counts.all_valid;
       at += form.width) {
    const std::uint32_t unit = UnitAt(bytes, at, form);
    if (unit == '\n')
      ++counts.newlines;
    else if ((unit & 0xFF) == '\n')
      ++counts.like_newlines;
    if (unit >= ' ' && unit < 0x7F) ++counts.printable;
    counts.all_ascii &= unit < 0x80;
    counts.all_valid = unit != 0 && unit <= kMaxCharacter &&
                       IsSurrogate(unit, 0xDC00) == is_pair;
    is_pair = IsSurrogate(unit, 0xD800);
  }
  counts.all_valid &= !is_pair;
  return counts;
}

// Returns whether the bytes are a text in the encoding: in that of 16 bits,
// where nearly all bytes could be one, its newlines and other characters of
// ASCII show it: in other texts, zero bytes are beside them only by chance.
bool IsIn(std::string_view bytes, const WideForm& form) {
  if (bytes.size() % form.width != 0) return false;
  const UnitCounts counts = CountUnits(bytes, form);
  if (!counts.all_valid) return false;
  return counts.all_ascii ||
         (counts.printable > 0 && counts.newlines > 0 &&
          counts.newlines + counts.printable >= counts.like_newlines);
}

// Recognizes the encoding of a text without a byte order mark, of which all
// newlines have zero bytes.
std::string_view WideEncodingWithoutMark(std::string_view bytes) {
  constexpr std::size_t kLeast = 4;
  if (bytes.size() < kLeast || bytes.find('\0') == std::string_view::npos)
    return "";
  const auto* const form = std::ranges::find_if(
      kWideForms, [bytes](const WideForm& wide) { return IsIn(bytes, wide); });
  return form == kWideForms.end() ? "" : form->name;
}

// Returns the name of a wide encoding, as iconv knows it; "" for any other.
std::string_view WideEncoding(std::string_view text) {
  if (text.starts_with("\xff\xfe\0\0"sv)) return "UTF-32";
  if (text.starts_with("\0\0\xfe\xff"sv)) return "UTF-32";
  if (text.starts_with("\xff\xfe")) return "UTF-16";
  if (text.starts_with("\xfe\xff")) return "UTF-16";
  return WideEncodingWithoutMark(text);
}

// Returns whether the lines end as they once did on other systems: then the
// text would be one line.
bool HasOnlyCarriageReturns(std::string_view text) {
  return text.substr(0, text.size() - std::min<std::size_t>(text.size(), 1))
                 .find('\r') != std::string_view::npos &&
         text.find('\n') == std::string_view::npos;
}

}  // namespace

void CheckEncoding(std::string_view text, std::string_view file) {
  const std::string_view encoding = WideEncoding(text);
  if (!encoding.empty())
    throw Failure(
        kMalformedInput,
        Concat(Quoted(file), " is ", encoding, "; convert it: iconv -f ",
               encoding, " -t UTF-8 ", ShellQuoted(file), " > NEW"));
  if (HasOnlyCarriageReturns(text))
    throw Failure(kMalformedInput,
                  Concat(Quoted(file),
                         R"( has CR line ends; convert it: tr '\r' '\n' < )",
                         ShellQuoted(file), " > NEW"));
}

IniReading ReadingOf(bool records) {
  return records ? IniReading::kRecords : IniReading::kLive;
}

void FailMalformed(std::string_view file, std::size_t line,
                   std::string_view what) {
  throw Failure(kMalformedInput, Concat(Visible(file), ":", line, ": ", what));
}

IniDocument Parsed(std::string text, std::string_view file,
                   IniReading reading) {
  CheckEncoding(text, file);
  IniDocument document(std::move(text), reading);
  if (const std::size_t line = document.UnclosedHeader())
    FailMalformed(file, line, "a header without ']'");
  return document;
}

IniDocument ParsedWithWarning(std::string text, std::string_view file,
                              IniReading reading) {
  if (reading == IniReading::kRecords)
    return Parsed(std::move(text), file, reading);
  CheckEncoding(text, file);
  IniDocument document(std::move(text));
  if (const std::size_t line = document.UnclosedHeader())
    PrintNote("ini", Concat("warning: ", Visible(file), ":", line,
                            ": a header without ']'; the keys below it belong "
                            "to no section"));
  return document;
}

std::string WithoutByteOrderMark(std::string text) {
  constexpr std::string_view kByteOrderMark = "\xef\xbb\xbf";
  if (text.starts_with(kByteOrderMark)) text.erase(0, kByteOrderMark.size());
  return text;
}

std::string StandardInput() {
  return WithoutByteOrderMark(ReadAll(STDIN_FILENO, "standard input"));
}

IniDocument ReadDocument(const Arguments<kSourceUses>& arguments) {
  const std::string file = arguments.Text(kFile);
  return ParsedWithWarning(ReadFile(file), file,
                           ReadingOf(arguments.Has(kRecords)));
}

}  // namespace fairlead::tool::ini
