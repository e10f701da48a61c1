// The records of an INI file as text, without a file.

#include "fairlead/ini/ini_text.h"

#include <algorithm>

#include "fairlead/ini/ini_line.h"
#include "fairlead/ini/record_reader.h"
#include "fairlead/ini/record_text.h"

namespace fairlead {
namespace {

using internal::IniLine;
using internal::LineKind;

// Returns what a save would lose of the line, or "".
std::string_view LossOf(std::string_view line, const IniLine& read) {
  switch (read.kind) {
    case LineKind::kOther:
      return "neither comment, header nor key=value";
    case LineKind::kKeyless:
      return "a '=' without a key before it";
    case LineKind::kHeader: {
      const char* const end = read.name.data() + read.name.size() + 1;
      const std::string_view trimmed = internal::TrimmedLine(line);
      return end == trimmed.data() + trimmed.size()
                 ? ""
                 : "text after the ']' of a header";
    }
    default:
      return "";
  }
}

// Checks the lines; returns the part of the text before a header without `]`.
std::string_view CheckLines(std::string_view text, IniDamage& result) {
  std::size_t number = 0;
  for (std::size_t at = 0; at < text.size();) {
    ++number;
    const std::size_t end = std::min(text.find('\n', at), text.size() - 1) + 1;
    const std::string_view line = text.substr(at, end - at);
    const IniLine read = internal::ReadRecordLine(line);
    if (read.kind == LineKind::kUnclosedHeader) {
      result.unclosed_header = number;
      return text.substr(0, at);
    }
    const std::string_view loss = LossOf(line, read);
    if (!loss.empty() && result.lossy_line == 0) {
      result.lossy_line = number;
      result.loss = loss;
    }
    at = end;
  }
  return text;
}

}  // namespace

IniRecords RecordsFromText(std::string_view text) {
  IniRecords result;
  internal::RecordReader reader(CheckLines(text, result));
  while (reader.Next()) internal::Append(reader, result.records);
  result.comments_at_end = reader.Comments();
  return result;
}

std::string TextFromRecords(const std::vector<CIniFile::Record>& records) {
  std::string text;
  for (const CIniFile::Record& record : records)
    internal::AppendLines(record, text);
  return text;
}

IniDamage DamageOf(std::string_view text) {
  IniDamage damage;
  CheckLines(text, damage);
  return damage;
}

void NormalizeText(std::string_view text,
                   const std::function<void(std::string_view)>& take) {
  IniDamage damage;
  internal::RecordReader reader(CheckLines(text, damage));
  std::string lines;
  for (std::string_view rest = reader.Rest(); reader.Next();
       rest = reader.Rest()) {
    lines.clear();
    internal::AppendLines(reader, lines);
    const auto source = rest.substr(0, rest.size() - reader.Rest().size());
    take(lines == source ? source : lines);
  }
  take(reader.Comments());
}

}  // namespace fairlead
