// A second implementation of the operations on INI files, for tests: a list of
// lines of text. It shares no code with the store. Not installed.

#ifndef FAIRLEAD_INI_INI_EDIT_MODEL_H_
#define FAIRLEAD_INI_INI_EDIT_MODEL_H_

#include <array>
#include <cstddef>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "fairlead/ini/ini_file.h"

namespace fairlead::internal {

// The contents of a file and what saving it has printed. The operations are
// those of CIniFile without the file name.
class FileModel {
 public:
  using Records = std::vector<CIniFile::Record>;

  std::string text;
  std::string printed;

  bool AddSection(const std::string& section) {
    Lines lines = Parse();
    lines.push_back(HeaderLine(section));
    return Write(lines);
  }

  bool RenameSection(const std::string& from, const std::string& to) {
    Lines lines = Parse();
    for (Line& line : lines)
      if (line.section == from && line.key.empty()) line.body = "[" + to + "]";
    return Write(lines);
  }

  bool CommentSection(char cc, const std::string& section) {
    Lines lines = Parse();
    for (Line& line : lines)
      if (line.section == section) line.mark = cc == ' ' ? "" : std::string{cc};
    return Write(lines);
  }

  bool UnCommentSection(const std::string& section) {
    return CommentSection(' ', section);
  }

  bool DeleteSection(const std::string& section) {
    Lines kept;
    for (const Line& line : Parse())
      if (line.section != section) kept.push_back(line);
    return Write(kept);
  }

  bool SetSectionComments(const std::string& comments,
                          const std::string& section) {
    return SetRecordComments(comments, "", section);
  }

  Records GetSections() const {
    Records found;
    for (const Line& line : Parse())
      if (line.key.empty()) found.push_back(AsRecord(line));
    return found;
  }

  Records GetSection(const std::string& section) const {
    Records found;
    for (const Line& line : Parse())
      if (line.section == section && !line.key.empty())
        found.push_back(AsRecord(line));
    return found;
  }

  std::vector<std::string> GetSectionNames() const {
    std::vector<std::string> names;
    for (const auto& header : GetSections()) names.push_back(header.Section);
    return names;
  }

  bool SectionExists(const std::string& section) const {
    for (const Line& line : Parse())
      if (line.section == section) return true;
    return false;
  }

  Records GetRecord(const std::string& key, const std::string& section) const {
    const Lines lines = Parse();
    const int at = Where(lines, key, section);
    if (at < 0) return {};
    return {AsRecord(lines[static_cast<std::size_t>(at)])};
  }

  std::string GetValue(const std::string& key,
                       const std::string& section) const {
    const Records found = GetRecord(key, section);
    return found.empty() ? "" : found[0].Value;
  }

  bool RecordExists(const std::string& key, const std::string& section) const {
    return !GetRecord(Stripped(key), section).empty();
  }

  bool SetValue(const std::string& key, const std::string& value,
                const std::string& section) {
    if (!SectionExists(section)) {
      Lines lines = Parse();
      lines.push_back(HeaderLine(section));
      lines.push_back(KeyLine(key, value, section));
      return Write(lines);
    }
    const std::string name = Stripped(key);
    Lines lines = Parse();
    const int at = Where(lines, name, section);
    if (at >= 0) {
      Line& line = lines[static_cast<std::size_t>(at)];
      if (!name.empty()) line.body = name + "=" + value;
      return Write(lines);
    }
    Lines longer;
    bool placed = false;
    for (const Line& line : lines) {
      longer.push_back(line);
      if (placed || line.section != section) continue;
      longer.push_back(KeyLine(name, value, section));
      placed = true;
    }
    return Write(longer);
  }

  bool CommentRecord(char cc, const std::string& key,
                     const std::string& section) {
    return Change(key, section, [&](Line& line) { line.mark = cc; });
  }

  bool UnCommentRecord(const std::string& key, const std::string& section) {
    return Change(key, section, [](Line& line) { line.mark = ""; });
  }

  bool DeleteRecord(const std::string& key, const std::string& section) {
    Lines lines = Parse();
    const int at = Where(lines, key, section);
    if (at < 0) return false;
    lines.erase(lines.begin() + at);
    return Write(lines);
  }

  bool SetRecordComments(const std::string& comments, const std::string& key,
                         const std::string& section) {
    const std::string above = comments.size() > 1 ? comments + "\n" : comments;
    return Change(key, section, [&](Line& line) { line.above = above; });
  }

 private:
  // A line as written and as read.
  struct Line {
    std::string above;  // The comment lines above it.
    std::string mark;   // The character that disables it, if any.
    std::string body;   // "[section]" or "key=value".
    std::string section;
    std::string key;
    std::string value;
  };
  using Lines = std::vector<Line>;

  static std::string Stripped(std::string name) {
    const std::string blanks = " \t\n\r";
    name.erase(0, name.find_first_not_of(blanks));
    name.erase(name.find_last_not_of(blanks) + 1);
    return name;
  }

  static Line HeaderLine(const std::string& section) {
    return {"", "", "[" + section + "]", section, "", ""};
  }

  static Line KeyLine(const std::string& key, const std::string& value,
                      const std::string& section) {
    if (key.empty()) return HeaderLine(section);
    return {"", "", key + "=" + value, section, key, value};
  }

  static CIniFile::Record AsRecord(const Line& line) {
    return {line.above, line.mark.empty() ? ' ' : line.mark[0], line.section,
            line.key, line.value};
  }

  static int Where(const Lines& lines, const std::string& key,
                   const std::string& section) {
    for (std::size_t i = 0; i < lines.size(); ++i)
      if (lines[i].section == section && lines[i].key == key)
        return static_cast<int>(i);
    return -1;
  }

  template <typename Edit>
  bool Change(const std::string& key, const std::string& section, Edit edit) {
    Lines lines = Parse();
    const int at = Where(lines, key, section);
    if (at < 0) return false;
    edit(lines[static_cast<std::size_t>(at)]);
    return Write(lines);
  }

  bool Write(const Lines& lines) {
    text.clear();
    for (const Line& line : lines) {
      text += line.above + line.mark + line.body + "\n";
      if (!line.mark.empty()) printed += "<" + line.mark + "> ";
    }
    return true;
  }

  Lines Parse() const {
    Lines lines;
    std::string above;
    std::string section;
    std::istringstream in(text);
    for (std::string raw; std::getline(in, raw);) {
      const std::string stripped = Stripped(raw);
      if (stripped.empty()) continue;
      const bool marked = stripped[0] == '#' || stripped[0] == ';';
      const bool holds = stripped.find_first_of("[=") != std::string::npos;
      if (marked && !holds) {
        above += stripped + "\n";
        continue;
      }
      const std::string body = marked ? Stripped(stripped.substr(1)) : stripped;
      Line line = ParseBody(body, section);
      line.mark = marked ? stripped.substr(0, 1) : "";
      const bool junk = body[0] != '[' && body.find('=') == std::string::npos;
      if (junk && !above.empty()) continue;
      line.above = std::exchange(above, "");
      lines.push_back(line);
    }
    return lines;
  }

  // Updates the section if the line is a header.
  static Line ParseBody(const std::string& body, std::string& section) {
    if (body[0] == '[') {
      const std::size_t end = body.find(']');
      if (end == std::string::npos)
        throw std::out_of_range("basic_string::erase");
      section = body.substr(1, end - 1);
      return HeaderLine(section);
    }
    const std::size_t equals = body.find('=');
    if (equals == std::string::npos) return HeaderLine("");
    Line line = KeyLine(Stripped(body.substr(0, equals)),
                        Stripped(body.substr(equals + 1)), section);
    line.value = Stripped(body.substr(equals + 1));  // Even without a key.
    return line;
  }
};

// The operations of CIniFile on one file, with the interface of FileModel.
struct FileStore {
  std::string path;

  bool AddSection(const std::string& s) const {
    return CIniFile::AddSection(s, path);
  }
  bool RenameSection(const std::string& s, const std::string& t) const {
    return CIniFile::RenameSection(s, t, path);
  }
  bool CommentSection(char cc, const std::string& s) const {
    return CIniFile::CommentSection(cc, s, path);
  }
  bool UnCommentSection(const std::string& s) const {
    return CIniFile::UnCommentSection(s, path);
  }
  bool DeleteSection(const std::string& s) const {
    return CIniFile::DeleteSection(s, path);
  }
  bool SetSectionComments(const std::string& c, const std::string& s) const {
    return CIniFile::SetSectionComments(c, s, path);
  }
  auto GetSections() const { return CIniFile::GetSections(path); }
  auto GetSection(const std::string& s) const {
    return CIniFile::GetSection(s, path);
  }
  auto GetSectionNames() const { return CIniFile::GetSectionNames(path); }
  bool SectionExists(const std::string& s) const {
    return CIniFile::SectionExists(s, path);
  }
  auto GetRecord(const std::string& k, const std::string& s) const {
    return CIniFile::GetRecord(k, s, path);
  }
  auto GetValue(const std::string& k, const std::string& s) const {
    return CIniFile::GetValue(k, s, path);
  }
  bool RecordExists(const std::string& k, const std::string& s) const {
    return CIniFile::RecordExists(k, s, path);
  }
  bool SetValue(const std::string& k, const std::string& v,
                const std::string& s) const {
    return CIniFile::SetValue(k, v, s, path);
  }
  bool CommentRecord(CIniFile::CommentChar cc, const std::string& k,
                     const std::string& s) const {
    return CIniFile::CommentRecord(cc, k, s, path);
  }
  bool UnCommentRecord(const std::string& k, const std::string& s) const {
    return CIniFile::UnCommentRecord(k, s, path);
  }
  bool DeleteRecord(const std::string& k, const std::string& s) const {
    return CIniFile::DeleteRecord(k, s, path);
  }
  bool SetRecordComments(const std::string& c, const std::string& k,
                         const std::string& s) const {
    return CIniFile::SetRecordComments(c, k, s, path);
  }
};

// A new operation also goes into kEditOperations, ResultOf(), both models,
// RandomStep() of ini_edit_model_test, AlwaysSaves() of ini_edit_faults_test,
// kWriters of ini_allocation_test, the tables of ini_records_test or
// ini_sections_test, and the scripts of ini_edit_fuzz_corpus/.
enum class EditOperation {
  kAddSection,
  kRenameSection,
  kCommentSection,
  kUnCommentSection,
  kDeleteSection,
  kSetSectionComments,
  kSetValue,
  kCommentRecord,
  kUnCommentRecord,
  kDeleteRecord,
  kSetRecordComments,
  kGetSections,
  kGetSection,
  kGetSectionNames,
  kSectionExists,
  kGetRecord,
  kGetValue,
  kRecordExists,
};

struct NamedOperation {
  EditOperation operation;
  std::string_view name;
};

inline constexpr NamedOperation kEditOperations[] = {
    {EditOperation::kAddSection, "AddSection"},
    {EditOperation::kRenameSection, "RenameSection"},
    {EditOperation::kCommentSection, "CommentSection"},
    {EditOperation::kUnCommentSection, "UnCommentSection"},
    {EditOperation::kDeleteSection, "DeleteSection"},
    {EditOperation::kSetSectionComments, "SetSectionComments"},
    {EditOperation::kSetValue, "SetValue"},
    {EditOperation::kCommentRecord, "CommentRecord"},
    {EditOperation::kUnCommentRecord, "UnCommentRecord"},
    {EditOperation::kDeleteRecord, "DeleteRecord"},
    {EditOperation::kSetRecordComments, "SetRecordComments"},
    {EditOperation::kGetSections, "GetSections"},
    {EditOperation::kGetSection, "GetSection"},
    {EditOperation::kGetSectionNames, "GetSectionNames"},
    {EditOperation::kSectionExists, "SectionExists"},
    {EditOperation::kGetRecord, "GetRecord"},
    {EditOperation::kGetValue, "GetValue"},
    {EditOperation::kRecordExists, "RecordExists"},
};

static_assert(std::size(kEditOperations) ==
              static_cast<std::size_t>(EditOperation::kRecordExists) + 1);

inline std::string_view NameOf(EditOperation operation) {
  for (const NamedOperation& named : kEditOperations)
    if (named.operation == operation) return named.name;
  return "unknown";
}

// An operation and its arguments: a section, a key, and one more. The name of a
// renamed section and the character for CommentSection() are in place of a key.
struct EditStep {
  EditOperation operation;
  std::array<std::string, 3> arguments;
};

inline std::string AsText(bool result) { return result ? "true" : "false"; }
inline std::string AsText(const std::string& result) { return "=" + result; }
inline std::string AsText(const std::vector<std::string>& names) {
  std::string text;
  for (const std::string& name : names) text += "{" + name + "}";
  return text;
}
inline std::string AsText(const FileModel::Records& records) {
  std::string text;
  for (const CIniFile::Record& record : records)
    text += "{" + record.Comments + "|" + record.Commented + "|" +
            record.Section + "|" + record.Key + "|" + record.Value + "}";
  return text;
}

// Performs an operation on a FileStore or FileModel; returns its result as
// text.
template <typename Store>
std::string ResultOf(const EditStep& step, Store& store) {
  const auto& [section, key, rest] = step.arguments;
  const auto cc = rest == ";" ? CIniFile::Semicolon : CIniFile::Hash;
  switch (step.operation) {
    case EditOperation::kAddSection:
      return AsText(store.AddSection(section));
    case EditOperation::kRenameSection:
      return AsText(store.RenameSection(section, key));
    case EditOperation::kCommentSection:
      return AsText(store.CommentSection(key.empty() ? '#' : key[0], section));
    case EditOperation::kUnCommentSection:
      return AsText(store.UnCommentSection(section));
    case EditOperation::kDeleteSection:
      return AsText(store.DeleteSection(section));
    case EditOperation::kSetSectionComments:
      return AsText(store.SetSectionComments(rest, section));
    case EditOperation::kSetValue:
      return AsText(store.SetValue(key, rest, section));
    case EditOperation::kCommentRecord:
      return AsText(store.CommentRecord(cc, key, section));
    case EditOperation::kUnCommentRecord:
      return AsText(store.UnCommentRecord(key, section));
    case EditOperation::kDeleteRecord:
      return AsText(store.DeleteRecord(key, section));
    case EditOperation::kSetRecordComments:
      return AsText(store.SetRecordComments(rest, key, section));
    case EditOperation::kGetSections:
      return AsText(store.GetSections());
    case EditOperation::kGetSection:
      return AsText(store.GetSection(section));
    case EditOperation::kGetSectionNames:
      return AsText(store.GetSectionNames());
    case EditOperation::kSectionExists:
      return AsText(store.SectionExists(section));
    case EditOperation::kGetRecord:
      return AsText(store.GetRecord(key, section));
    case EditOperation::kGetValue:
      return AsText(store.GetValue(key, section));
    case EditOperation::kRecordExists:
      return AsText(store.RecordExists(key, section));
  }
  return {};
}

// Returns the result of an operation, or the text of its exception.
template <typename Store>
std::string Outcome(const EditStep& step, Store& store) {
  try {
    return ResultOf(step, store);
  } catch (const std::out_of_range& error) {
    return error.what();
  }
}

}  // namespace fairlead::internal

#endif  // FAIRLEAD_INI_INI_EDIT_MODEL_H_
