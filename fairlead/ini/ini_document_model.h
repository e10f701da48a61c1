// An edit of an INI document as data, and what it does to a list of records.
// Shares no code with the document. Not installed.

#ifndef FAIRLEAD_INI_INI_DOCUMENT_MODEL_H_
#define FAIRLEAD_INI_INI_DOCUMENT_MODEL_H_

#include <algorithm>
#include <cstddef>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

#include "fairlead/ini/ini_document.h"
#include "fairlead/ini/ini_file.h"

namespace fairlead::internal {

inline bool SameRecord(const CIniFile::Record& a, const CIniFile::Record& b) {
  return std::tie(a.Comments, a.Commented, a.Section, a.Key, a.Value) ==
         std::tie(b.Comments, b.Commented, b.Section, b.Key, b.Value);
}

enum class DocumentOperation {
  kSet,
  kAdd,
  kDelete,
  kEnable,
  kDisable,
  kRename,
  kComment,
};

struct DocumentStep {
  DocumentOperation operation = DocumentOperation::kSet;
  std::string section;
  std::optional<std::string> key;
  std::string text;  // The value, the new name or the comments.
  std::size_t index = 0;
  char mark = '#';
  IniPlace::Where where = IniPlace::Where::kDefault;
  std::string place;
};

inline std::string Stripped(std::string_view text) {
  std::string name(text);
  const std::string blanks = " \t\n\r";
  name.erase(0, name.find_first_not_of(blanks));
  name.erase(name.find_last_not_of(blanks) + 1);
  return name;
}

inline IniName NameOf(const DocumentStep& step) {
  return {.section = step.section, .key = step.key, .index = step.index};
}

inline IniResult Perform(const DocumentStep& step, IniDocument& document) {
  const IniName name = NameOf(step);
  switch (step.operation) {
    case DocumentOperation::kSet:
      return document.Set(name, step.text);
    case DocumentOperation::kAdd:
      return document.Add(name, step.text,
                          {.where = step.where, .name = step.place});
    case DocumentOperation::kDelete:
      return document.Delete(name);
    case DocumentOperation::kEnable:
      return document.Enable(name);
    case DocumentOperation::kDisable:
      return document.Disable(name, step.mark);
    case DocumentOperation::kRename:
      return document.Rename(name, step.text);
    case DocumentOperation::kComment:
      return document.Comment(name, step.text);
  }
  return {};
}

// A list of records, edited by the rules of CIniFile.
struct RecordModel {
  std::vector<CIniFile::Record> records;

  // Makes an edit that the document has made. Returns false for one that
  // CIniFile does not have.
  bool Perform(const DocumentStep& step) {
    const std::string key = Stripped(step.key.value_or(""));
    switch (step.operation) {
      case DocumentOperation::kSet:
        return Set(step.section, key, Stripped(step.text), step.index);
      case DocumentOperation::kAdd:
        return Add(step, key);
      case DocumentOperation::kDelete:
        return ForEach(step, [](auto& record) { record.Commented = kGone; }) &&
               std::erase_if(records, [](const auto& record) {
                 return record.Commented == kGone;
               }) > 0;
      case DocumentOperation::kEnable:
        return ForEach(step, [](auto& record) { record.Commented = ' '; });
      case DocumentOperation::kDisable:
        return ForEach(step,
                       [&](auto& record) { record.Commented = step.mark; });
      case DocumentOperation::kRename:
        return ForEach(step, [&](auto& record) {
          (step.key ? record.Key : record.Section) =
              step.key ? Stripped(step.text) : step.text;
        });
      case DocumentOperation::kComment: {
        bool first = true;
        return ForEach(step, [&](auto& record) {
          if (std::exchange(first, false))
            record.Comments = AsComments(step.text);
        });
      }
    }
    return false;
  }

  // Returns the comment lines that a text becomes.
  static std::string AsComments(const std::string& text) {
    std::string comments;
    std::istringstream in(Stripped(text));
    for (std::string line; std::getline(in, line);) {
      line = Stripped(line);
      if (line.empty()) line = "#";
      const bool is_comment = line[0] == '#' || line[0] == ';';
      comments += (is_comment ? "" : "# ") + line + '\n';
    }
    return comments;
  }

 private:
  static constexpr char kGone = '\0';

  // Changes the key, or all records of the section.
  template <typename Change>
  bool ForEach(const DocumentStep& step, Change change) {
    const std::string key = Stripped(step.key.value_or(""));
    std::size_t left = std::max<std::size_t>(step.index, 1);
    for (CIniFile::Record& record : records) {
      if (record.Section != step.section) continue;
      if (!step.key || (record.Key == key && --left == 0)) change(record);
    }
    return true;
  }

  bool Set(const std::string& section, const std::string& key,
           const std::string& value, std::size_t index) {
    std::size_t left = std::max<std::size_t>(index, 1);
    for (CIniFile::Record& record : records)
      if (record.Section == section && record.Key == key && --left == 0)
        return record.Value = value, true;
    const auto first = First(section);
    if (first == records.end()) records.push_back(MakeHeader(section));
    records.insert(First(section) + 1, {"", ' ', section, key, value});
    return true;
  }

  bool Add(const DocumentStep& step, const std::string& key) {
    if (step.where != IniPlace::Where::kDefault) return false;
    if (step.key) return Set(step.section, key, Stripped(step.text), 0);
    records.push_back(MakeHeader(step.section));
    return true;
  }

  std::vector<CIniFile::Record>::iterator First(const std::string& section) {
    return std::ranges::find_if(records, [&](const CIniFile::Record& record) {
      return record.Section == section;
    });
  }

  static CIniFile::Record MakeHeader(const std::string& section) {
    return {"", ' ', section, "", ""};
  }
};

}  // namespace fairlead::internal

#endif  // FAIRLEAD_INI_INI_DOCUMENT_MODEL_H_
