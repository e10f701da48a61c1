// Records from a reader, and as lines.

#include "fairlead/ini/record_text.h"

#include <algorithm>
#include <cstddef>
#include <string_view>

namespace fairlead::internal {
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

}  // namespace fairlead::internal
