// Reads INI files.

#include "tool/ini/ini_source.h"

#include <unistd.h>

#include <algorithm>
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

constexpr std::size_t kSample = 64;

// Counts the zero bytes at the places that are `first` modulo `width`.
std::size_t ZeroBytes(std::string_view bytes, std::size_t first,
                      std::size_t width) {
  std::size_t count = 0;
  for (std::size_t at = first; at < bytes.size(); at += width)
    if (bytes[at] == '\0') ++count;
  return count;
}

// Guesses the encoding of text without a byte order mark: most of it is ASCII,
// of which all bytes but one of each character are zero.
std::string_view WideEncodingOfAscii(std::string_view bytes) {
  const std::size_t half = (bytes.size() / 2 + 1) / 2;
  const std::size_t even = ZeroBytes(bytes, 0, 2);
  const std::size_t odd = ZeroBytes(bytes, 1, 2);
  if (bytes.size() < 4) return "";
  if (odd >= half && even == 0) return "UTF-16LE";
  if (even >= half && odd == 0) return "UTF-16BE";
  if (odd < half || even < half / 2) return "";
  if (ZeroBytes(bytes, 0, 4) == 0) return "UTF-32LE";
  return ZeroBytes(bytes, 3, 4) == 0 ? "UTF-32BE" : "";
}

// Returns the name of a wide encoding, as iconv knows it; "" for any other.
std::string_view WideEncoding(std::string_view text) {
  if (text.starts_with("\xff\xfe\0\0"sv)) return "UTF-32";
  if (text.starts_with("\0\0\xfe\xff"sv)) return "UTF-32";
  if (text.starts_with("\xff\xfe")) return "UTF-16";
  if (text.starts_with("\xfe\xff")) return "UTF-16";
  return WideEncodingOfAscii(text.substr(0, kSample));
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
  if (HasOnlyCarriageReturns(text))
    throw Failure(kMalformedInput,
                  Concat(Quoted(file),
                         R"( has CR line ends; convert it: tr '\r' '\n' < )",
                         ShellQuoted(file), " > NEW"));
  const std::string_view encoding = WideEncoding(text);
  if (encoding.empty()) return;
  throw Failure(
      kMalformedInput,
      Concat(Quoted(file), " is ", encoding, "; convert it: iconv -f ",
             encoding, " -t UTF-8 ", ShellQuoted(file), " > NEW"));
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

std::string StandardInput() {
  std::string text = ReadAll(STDIN_FILENO, "standard input");
  constexpr std::string_view kByteOrderMark = "\xef\xbb\xbf";
  if (text.starts_with(kByteOrderMark)) text.erase(0, kByteOrderMark.size());
  return text;
}

IniDocument ReadDocument(const Arguments<kSourceUses>& arguments) {
  const std::string file = arguments.Text(kFile);
  return ParsedWithWarning(ReadFile(file), file,
                           ReadingOf(arguments.Has(kRecords)));
}

}  // namespace fairlead::tool::ini
