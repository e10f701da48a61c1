// The operations on whole sections of an INI file.

#include <algorithm>
#include <functional>
#include <utility>

#include "fairlead/ini/ini_edit.h"
#include "fairlead/ini/ini_file.h"

namespace fairlead {
namespace {

using internal::Edit;
using internal::EditFirst;
using internal::MakeRecord;
using internal::Records;

// Changes every record of a section, its headers included. Saves even if there
// is none.
template <typename Change>
bool EditSection(std::string_view section_name, const std::string& file_name,
                 Change change) {
  return Edit(file_name, [&](Records& records) {
    for (CIniFile::Record& record : records)
      if (record.Section == section_name) change(record);
    return true;
  });
}

// Returns the records of a file that match the predicate.
template <typename Predicate>
Records Select(const std::string& file_name, Predicate matches) {
  Records records;
  CIniFile::Load(file_name, records);
  std::erase_if(records, std::not_fn(matches));
  return records;
}

bool IsHeader(const CIniFile::Record& record) { return record.Key.empty(); }

}  // namespace

bool CIniFile::AddSection(std::string_view section_name,
                          const std::string& file_name) {
  return Edit(file_name, [&](Records& records) {
    records.push_back(MakeRecord(section_name));
    return true;
  });
}

bool CIniFile::RenameSection(std::string_view old_section_name,
                             std::string_view new_section_name,
                             const std::string& file_name) {
  return EditSection(old_section_name, file_name, [&](Record& record) {
    record.Section = new_section_name;
  });
}

bool CIniFile::CommentSection(char cc, std::string_view section_name,
                              const std::string& file_name) {
  return EditSection(section_name, file_name,
                     [cc](Record& record) { record.Commented = cc; });
}

bool CIniFile::UnCommentSection(std::string_view section_name,
                                const std::string& file_name) {
  return CommentSection(' ', section_name, file_name);
}

bool CIniFile::DeleteSection(std::string_view section_name,
                             const std::string& file_name) {
  return Edit(file_name, [&](Records& records) {
    std::erase_if(records, RecordSectionIs{std::string(section_name)});
    return true;
  });
}

bool CIniFile::SetSectionComments(std::string_view comments,
                                  std::string_view section_name,
                                  const std::string& file_name) {
  return EditFirst(
      file_name, RecordSectionKeyIs{std::string(section_name), {}},
      [&](Record& header) { internal::SetComments(header, comments); });
}

std::vector<CIniFile::Record> CIniFile::GetSections(
    const std::string& file_name) {
  return Select(file_name, IsHeader);
}

std::vector<CIniFile::Record> CIniFile::GetSection(
    std::string_view section_name, const std::string& file_name) {
  return Select(file_name, [&](const Record& record) {
    return record.Section == section_name && !IsHeader(record);
  });
}

std::vector<std::string> CIniFile::GetSectionNames(
    const std::string& file_name) {
  Records headers = GetSections(file_name);
  std::vector<std::string> names;
  names.reserve(headers.size());
  for (Record& header : headers) names.push_back(std::move(header.Section));
  return names;
}

bool CIniFile::SectionExists(std::string_view section_name,
                             const std::string& file_name) {
  Records records;
  Load(file_name, records);
  return std::any_of(records.begin(), records.end(),
                     RecordSectionIs{std::string(section_name)});
}

}  // namespace fairlead
