// Operations on single records of an INI file.

#include <fcntl.h>

#include <algorithm>
#include <optional>
#include <utility>

#include "fairlead/file/open_file.h"
#include "fairlead/ini/ini_edit.h"
#include "fairlead/ini/ini_file.h"
#include "fairlead/ini/record_reader.h"
#include "fairlead/text/trimmed.h"

namespace fairlead {
namespace {

using internal::EditFirst;
using internal::IsBlank;
using internal::MakeRecord;
using internal::OpenFile;
using internal::RecordReader;
using internal::Records;
using internal::Trimmed;

CIniFile::RecordSectionKeyIs Names(std::string_view section,
                                   std::string_view key) {
  return {std::string(section), std::string(key)};
}

// Returns the value of the first record with these names, without a list of
// records. Reads on to the end, since any header without `]` must throw.
std::optional<std::string> ValueIn(const std::string& file_name,
                                   std::string_view section,
                                   std::string_view key) {
  const OpenFile file(file_name, O_RDONLY);
  if (!file.IsOpen()) return {};
  const std::string text = file.ReadAll();
  std::optional<std::string> value;
  for (RecordReader reader(text); reader.Next();) {
    if (!value && reader.Key() == key && reader.Section() == section)
      value = reader.Value();
  }
  return value;
}

// Sets the value of a key in the list; adds section and key as needed.
void PutValue(std::string_view key, std::string_view value,
              std::string_view section, Records& records) {
  const auto of_section =
      std::find_if(records.begin(), records.end(),
                   CIniFile::RecordSectionIs{std::string(section)});
  if (of_section == records.end()) {
    // Kept for compatibility: only in a new section the key is not trimmed.
    records.push_back(MakeRecord(section));
    records.push_back(MakeRecord(section, key, value));
    return;
  }
  key = Trimmed(key, IsBlank);
  const auto found =
      std::find_if(of_section, records.end(), Names(section, key));
  if (found != records.end())
    found->Value = value;
  else
    records.insert(of_section + 1, MakeRecord(section, key, value));
}

}  // namespace

std::vector<CIniFile::Record> CIniFile::GetRecord(
    std::string_view key_name, std::string_view section_name,
    const std::string& file_name) {
  Records records;
  Load(file_name, records);
  const auto found = std::find_if(records.begin(), records.end(),
                                  Names(section_name, key_name));
  if (found == records.end()) return {};
  return {std::move(*found)};
}

std::string CIniFile::GetValue(std::string_view key_name,
                               std::string_view section_name,
                               const std::string& file_name) {
  return ValueIn(file_name, section_name, key_name).value_or(std::string());
}

bool CIniFile::SetValue(std::string_view key_name, std::string_view value,
                        std::string_view section_name,
                        const std::string& file_name) {
  return internal::Edit(file_name, [&](Records& records) {
    PutValue(key_name, value, section_name, records);
    return true;
  });
}

bool CIniFile::CommentRecord(CommentChar cc, std::string_view key_name,
                             std::string_view section_name,
                             const std::string& file_name) {
  return EditFirst(file_name, Names(section_name, key_name),
                   [cc](Record& record) { record.Commented = cc; });
}

bool CIniFile::UnCommentRecord(std::string_view key_name,
                               std::string_view section_name,
                               const std::string& file_name) {
  return EditFirst(file_name, Names(section_name, key_name),
                   [](Record& record) { record.Commented = ' '; });
}

bool CIniFile::DeleteRecord(std::string_view key_name,
                            std::string_view section_name,
                            const std::string& file_name) {
  return internal::Edit(file_name, [&](Records& records) {
    const auto found = std::find_if(records.begin(), records.end(),
                                    Names(section_name, key_name));
    if (found == records.end()) return false;
    records.erase(found);
    return true;
  });
}

bool CIniFile::RecordExists(std::string_view key_name,
                            std::string_view section_name,
                            const std::string& file_name) {
  return ValueIn(file_name, section_name, Trimmed(key_name, IsBlank))
      .has_value();
}

bool CIniFile::SetRecordComments(std::string_view comments,
                                 std::string_view key_name,
                                 std::string_view section_name,
                                 const std::string& file_name) {
  return EditFirst(
      file_name, Names(section_name, key_name),
      [&](Record& record) { internal::SetComments(record, comments); });
}

}  // namespace fairlead
