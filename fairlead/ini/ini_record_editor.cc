// The edits of an INI document in the records reading.

#include <string>

#include "fairlead/ini/ini_editors.h"
#include "fairlead/ini/ini_line.h"
#include "fairlead/ini/line_edit.h"

namespace fairlead::internal {
namespace {

bool IsHeader(const LineTable& lines, std::size_t line) {
  return lines.KindOf(line) == LineKind::kHeader;
}

// Disables a line with this character; returns whether that changes it.
bool MarkWith(LineTable& lines, std::size_t line, char mark) {
  const char old = lines.Read(line).mark;
  if (old == mark) return false;
  lines.ChangeMarks(line, old == ' ' ? 0 : 1, {&mark, 1});
  return true;
}

LineSet KeysOf(const LineTable& lines, const IniName& name) {
  return KeyLines(lines, name.section, *name.key, Which::kAny);
}

}  // namespace

// Finds the records that an edit is about: one key, or all of a section.
IniResult RecordEditor::Chosen(const IniName& name, LineSet& records) const {
  records = RecordLines(lines_, name.section);
  if (records.empty()) return {.code = Code::kNoSection};
  if (!name.key) return {};
  const auto keys = KeysOf(lines_, name);
  const std::size_t place = PlaceOf(name.index, keys.size(), 0);
  if (place == kNoLine) return {.code = Code::kNoKey};
  records = {};
  records.Add(keys.At(place));
  return {};
}

// Without the comments above it, a line that is neither comment, header nor key
// would be a record.
IniResult RecordEditor::CheckComments(std::size_t record) const {
  const auto comments = RecordComments(lines_, record);
  if (comments.empty()) return {};
  for (std::size_t line = comments.front(); line < record; ++line)
    if (lines_.KindOf(line) == LineKind::kOther)
      return Malformed(line,
                       "it would become a record without the comment above");
  return {};
}

// Returns the line behind the last record: comments at the end stay there.
std::size_t RecordEditor::EndOfRecords() const {
  std::size_t end = 0;
  for (LineWalk walk(lines_); walk.Next();)
    if (walk.IsEntry()) end = walk.line + 1;
  return end;
}

IniResult RecordEditor::Set(const IniName& name, std::string_view value) {
  const auto keys = KeysOf(lines_, name);
  const std::size_t place = PlaceOf(name.index, keys.size(), 0);
  if (place != kNoLine) return SetValueAt(lines_, keys.At(place), value);
  if (name.index != 0) return {.code = Code::kNoKey};
  const auto records = RecordLines(lines_, name.section);
  const std::size_t header =
      records.empty() ? InsertHeader(lines_, EndOfRecords(), name.section)
                      : records.front();
  if (!Wanted(name.section).IsSection(lines_, HeaderOf(lines_, header + 1)))
    return Malformed(header, "a key below it would be in another section");
  InsertKey(lines_, header + 1, kNoLine, *name.key, value);
  return {};
}

IniResult RecordEditor::Add(const IniName& name, std::string_view value,
                            const IniPlace& place) {
  using Where = IniPlace::Where;
  const auto same =
      name.key ? KeysOf(lines_, name) : RecordLines(lines_, name.section);
  if (!same.empty()) return Exists(same.front());
  if (place.where == Where::kBefore || place.where == Where::kAfter)
    return AddBeside(name, value, place);
  if (name.key) return Set(name, value);
  InsertHeader(lines_,
               place.where == Where::kFirst ? FirstHeader() : EndOfRecords(),
               name.section);
  return {};
}

// Adds a key beside a key of its section, or a section beside a section.
IniResult RecordEditor::AddBeside(const IniName& name, std::string_view value,
                                  const IniPlace& place) {
  const auto there =
      name.key ? KeysOf(lines_, {.section = name.section, .key = place.name})
               : RecordLines(lines_, place.name);
  if (there.empty())
    return {.code = name.key ? Code::kNoKey : Code::kNoSection};
  const std::size_t line = place.where == IniPlace::Where::kAfter
                               ? there.back() + 1
                               : BeginOf(there.front());
  if (name.key) {
    InsertKey(lines_, line, kNoLine, *name.key, value);
    return {};
  }
  const std::size_t next = NextRecord(line);
  if (next < lines_.size() && !IsHeader(lines_, next))
    return Malformed(next, "this key would be in the new section");
  InsertHeader(lines_, line, name.section);
  return {};
}

// Returns the next line from `line` on that is a header or a key, or the size.
std::size_t RecordEditor::NextRecord(std::size_t line) const {
  while (line < lines_.size() && lines_.KindOf(line) != LineKind::kHeader &&
         lines_.KindOf(line) != LineKind::kKey &&
         lines_.KindOf(line) != LineKind::kKeyless)
    ++line;
  return line;
}

// Returns the first line of a record: that of its comments, if it has any.
std::size_t RecordEditor::BeginOf(std::size_t record) const {
  const auto comments = RecordComments(lines_, record);
  return comments.empty() ? record : comments.front();
}

std::size_t RecordEditor::FirstHeader() const {
  for (std::size_t line = 0; line < lines_.size(); ++line)
    if (IsHeader(lines_, line)) return BeginOf(line);
  return EndOfRecords();
}

IniResult RecordEditor::Delete(const IniName& name) {
  LineSet records;
  if (const IniResult result = Chosen(name, records); !result.IsOk())
    return result;
  LineSet gone;
  for (const std::size_t record : records) {
    if (const IniResult result = CheckComments(record); !result.IsOk())
      return result;
    for (const std::size_t comment : RecordComments(lines_, record))
      gone.Add(comment);
    gone.Add(record);
  }
  lines_.Erase(gone);
  return {};
}

IniResult RecordEditor::Enable(const IniName& name) {
  LineSet records;
  if (const IniResult result = Chosen(name, records); !result.IsOk())
    return result;
  bool changed = false;
  for (const std::size_t record : records) {
    if (!lines_.IsDisabled(record)) continue;
    changed = true;
    const LineKind kind = lines_.KindOf(record);
    UnmarkAt(lines_, record, 1);
    if (lines_.KindOf(record) != kind || lines_.IsDisabled(record))
      return Malformed(record, "enabled, this line would be a disabled one");
  }
  return {.code = changed ? Code::kDone : Code::kUnchanged};
}

IniResult RecordEditor::Disable(const IniName& name, char mark) {
  LineSet records;
  if (const IniResult result = Chosen(name, records); !result.IsOk())
    return result;
  bool changed = false;
  for (const std::size_t record : records) {
    changed |= MarkWith(lines_, record, mark);
    if (lines_.KindOf(record) == LineKind::kComment)
      return Malformed(record, "disabled, this line would be a comment");
  }
  return {.code = changed ? Code::kDone : Code::kUnchanged};
}

IniResult RecordEditor::Rename(const IniName& name, std::string_view new_name) {
  LineSet records;
  if (const IniResult result = Chosen(name, records); !result.IsOk())
    return result;
  if (new_name == name.key.value_or(name.section))
    return {.code = Code::kUnchanged};
  const auto same =
      name.key ? KeysOf(lines_, {.section = name.section, .key = new_name})
               : RecordLines(lines_, new_name);
  if (!same.empty()) return Exists(same.front());
  if (!name.key && !IsHeader(lines_, records.front()))
    return {.code = Code::kNoHeader};
  for (const std::size_t record : records) {
    if (lines_.KindOf(record) == LineKind::kOther)
      return Malformed(record, "this line is in the section without a name");
    if (name.key || IsHeader(lines_, record))
      RenameAt(lines_, record, new_name);
  }
  return {};
}

IniResult RecordEditor::Comment(const IniName& name, std::string_view text) {
  LineSet records;
  if (const IniResult result = Chosen(name, records); !result.IsOk())
    return result;
  if (!name.key && !IsHeader(lines_, records.front()))
    return {.code = Code::kNoHeader};
  const std::size_t record = records.front();
  if (const IniResult result = CheckComments(record); !result.IsOk())
    return result;
  return ReplaceComments(lines_, RecordComments(lines_, record), record, text);
}

}  // namespace fairlead::internal
