// The records of an INI file as text, without a file.

#include "fairlead/ini/ini_text.h"

#include <algorithm>

#include "fairlead/ini/ini_line.h"
#include "fairlead/ini/record_reader.h"
#include "fairlead/ini/record_text.h"

namespace fairlead {
namespace internal {

namespace {

struct RecordView {
  std::string_view comments;
  char commented;
  std::string_view section;
  std::string_view key;
  std::string_view value;
};

// A list makes its new record out of it in place: a conversion is not moved.
struct CurrentRecord {
  const RecordReader& reader;

  operator CIniFile::Record() const {  // NOLINT(google-explicit-constructor)
    return {.Comments = std::string(reader.Comments()),
            .Commented = reader.Commented(),
            .Section = std::string(reader.Section()),
            .Key = std::string(reader.Key()),
            .Value = std::string(reader.Value())};
  }
};

// Appends in one step, as a file is saved record by record.
void AppendLines(const RecordView& record, std::string& text) {
  const bool disabled = record.commented != ' ';
  const bool header = record.key.empty();
  const std::size_t names =
      header ? record.section.size() : record.key.size() + record.value.size();
  const std::size_t before = text.size();
  text.resize(before + record.comments.size() + (disabled ? 1 : 0) + names +
              (header ? sizeof("[]\n") : sizeof("=\n")) - 1);
  char* at = text.data() + before;
  const auto append = [&at](std::string_view part) {
    at = std::copy(part.begin(), part.end(), at);
  };
  append(record.comments);
  if (disabled) *at++ = record.commented;
  if (header) *at++ = '[';
  append(header ? record.section : record.key);
  *at++ = header ? ']' : '=';
  if (!header) append(record.value);
  *at = '\n';
}

}  // namespace

void AppendLines(const CIniFile::Record& record, std::string& text) {
  AppendLines(RecordView{record.Comments, record.Commented, record.Section,
                         record.Key, record.Value},
              text);
}

void AppendLines(const RecordReader& reader, std::string& text) {
  AppendLines(RecordView{reader.Comments(), reader.Commented(),
                         reader.Section(), reader.Key(), reader.Value()},
              text);
}

void Append(const RecordReader& reader,
            std::vector<CIniFile::Record>& content) {
  content.emplace_back(CurrentRecord{reader});
}

}  // namespace internal

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
