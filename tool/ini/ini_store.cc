// Parses, edits and formats the text of an INI file.

#include "tool/ini/ini_store.h"

#include <algorithm>
#include <utility>

#include "tool/base/concat.h"
#include "tool/base/descriptor.h"
#include "tool/base/escapes.h"
#include "tool/base/failure.h"
#include "tool/ini/ini_lines.h"
#include "tool/io/memory_copy.h"

namespace fairlead::tool::ini {
namespace {

// The library does not report whether it could read a file, so a header is
// appended to the text. If it was loaded, so was every record before it. Its
// comments are those after the last record, which the store would drop.
std::string LastSection(const std::string& text) {
  return Concat("end of ", text.size(), " bytes");
}

bool IsLast(const Records& records, const std::string& section) {
  return !records.empty() && records.back().Section == section &&
         records.back().Key.empty();
}

auto FirstMatch(const Records& records, std::string_view section,
                std::string_view key) {
  return std::ranges::find_if(records, [&](const Record& record) {
    return record.Section == section && record.Key == key;
  });
}

Record NewRecord(std::string_view section, std::string_view key,
                 std::string_view value) {
  Record record;
  record.Section = section;
  record.Key = key;
  record.Value = value;
  return record;
}

}  // namespace

Content ContentOf(const std::string& text, const std::string& file) {
  Lines(text).CheckReadable(file);
  const std::string last = LastSection(text);
  const MemoryCopy copy(Concat(text, "\n[", last, "]\n"), file);
  Content content;
  CIniFile::Load(copy.path(), content.records);
  if (!IsLast(content.records, last))
    throw Failure(kCannotRead, Concat("cannot read a copy of ", Quoted(file),
                                      " in memory: try again"));
  content.comments_at_end = std::move(content.records.back().Comments);
  content.records.pop_back();
  return content;
}

std::string TextOf(const Records& records) {
  std::string text;
  for (const Record& record : records) {
    text += record.Comments;
    if (record.Commented != ' ') text += record.Commented;
    if (record.Key.empty())
      text.append("[").append(record.Section).append("]\n");
    else
      text.append(record.Key).append("=").append(record.Value).append("\n");
  }
  return text;
}

std::string Edited(const std::string& text, const std::string& file,
                   const Operation& operation) {
  Lines(text).CheckEditable(file);
  Content content = ContentOf(text, file);
  operation(content.records);
  return TextOf(content.records) + content.comments_at_end;
}

const Record* Find(const Records& records, std::string_view section,
                   std::string_view key) {
  const auto found = FirstMatch(records, section, key);
  return found == records.end() ? nullptr : &*found;
}

Record* Find(Records& records, std::string_view section, std::string_view key) {
  const auto found = FirstMatch(records, section, key);
  return found == records.end()
             ? nullptr
             : &records[static_cast<std::size_t>(found - records.begin())];
}

bool HasSection(const Records& records, std::string_view section) {
  return std::ranges::find(records, section, &Record::Section) != records.end();
}

void AddSection(Records& records, std::string_view section) {
  records.push_back(NewRecord(section, "", ""));
}

void SetValue(Records& records, std::string_view section, std::string_view key,
              std::string_view value) {
  if (Record* const found = Find(records, section, key)) {
    found->Value = value;
    return;
  }
  if (!HasSection(records, section)) AddSection(records, section);
  const auto first = std::ranges::find(records, section, &Record::Section);
  records.insert(first + 1, NewRecord(section, key, value));
}

}  // namespace fairlead::tool::ini
