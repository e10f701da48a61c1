// The text of an INI file: searches, and the way to the edits.

#include "fairlead/ini/ini_document.h"

#include <utility>

#include "fairlead/ini/ini_editors.h"
#include "fairlead/ini/ini_line.h"
#include "fairlead/ini/line_edit.h"
#include "fairlead/ini/line_table.h"
#include "fairlead/ini/line_walk.h"
#include "fairlead/ini/live_checks.h"

namespace fairlead {
namespace {

using internal::Block;
using internal::Code;
using internal::EntryAt;
using internal::HeaderOfBlock;
using internal::kNoLine;
using internal::kNowhere;
using internal::kTop;
using internal::LineSet;
using internal::LineTable;
using internal::LineWalk;
using internal::Malformed;
using internal::TrimmedLine;
using internal::Which;

IniName Trimmed(const IniName& name) {
  IniName trimmed = name;
  if (name.key) trimmed.key = TrimmedLine(*name.key);
  return trimmed;
}

IniResult Invalid(std::string_view reason) {
  return {.code = Code::kInvalid, .reason = reason};
}

// Returns the code for a section of which `header` is the first line.
IniFound FoundAt(const LineTable& lines, std::size_t header, Code code) {
  if (header >= lines.size()) return {.code = code};
  return {.code = code, .entry = EntryAt(lines, header, header)};
}

IniFound FindSection(const LineTable& lines, std::string_view section) {
  if (lines.reading() == IniReading::kRecords) {
    const auto records = internal::RecordLines(lines, section);
    return records.empty() ? IniFound{.code = Code::kNoSection}
                           : FoundAt(lines, records.front(), Code::kDone);
  }
  const auto blocks = internal::ActiveBlocks(lines, section);
  if (!blocks.empty())
    return FoundAt(lines, HeaderOfBlock(blocks.front()), Code::kDone);
  const auto disabled = internal::DisabledBlocks(lines, section);
  if (disabled.empty()) return {.code = Code::kNoSection};
  return FoundAt(lines, HeaderOfBlock(disabled.front()), Code::kDisabled);
}

// Returns the header without `]` that has the name of the section, if there is
// no other one; or kNoLine.
std::size_t OnlyUnclosedHeader(const LineTable& lines,
                               std::string_view section) {
  if (section.empty()) return kNoLine;
  const std::size_t line = internal::UnclosedHeader(lines, section);
  const bool is_only =
      line != kNoLine && FindSection(lines, section).code == Code::kNoSection;
  return is_only ? line : kNoLine;
}

// Makes an edit in the live reading. What an indented header without `]` may be
// a part of must stay above it.
template <typename Edit>
IniResult EditLive(LineTable& lines, Edit edit) {
  const auto before = internal::ContinuedKeys(lines);
  const IniResult result = edit(internal::LiveEditor(lines));
  if (before.empty() || result.code != Code::kDone) return result;
  const std::size_t changed = internal::ChangedAmbiguity(lines, before);
  if (changed == kNoLine) return result;
  lines.Undo();
  return Malformed(internal::LineOfAmbiguity(lines, changed),
                   "a value above may continue on this header without ']'");
}

// Makes an edit of a section with the editor of the document's reading.
template <typename Edit>
IniResult EditLines(LineTable& lines, std::string_view section, Edit edit) {
  const bool live = lines.reading() == IniReading::kLive;
  const std::size_t line = live ? OnlyUnclosedHeader(lines, section)
                                : internal::UnclosedHeader(lines);
  if (line != kNoLine) return Malformed(line, "a header without ']'");
  return live ? EditLive(lines, edit) : edit(internal::RecordEditor(lines));
}

// Makes an edit as a whole, or undoes it, also if it throws.
template <typename Edit>
IniResult EditWith(LineTable& lines, const IniName& name, Edit edit) {
  struct Undoing {
    LineTable& lines;
    ~Undoing() { lines.Undo(); }
  } const undoing{lines};
  const IniResult result = EditLines(lines, name.section, edit);
  if (result.code != Code::kDone) return result;
  const IniResult kept = lines.Keep();
  return kept.IsOk() ? result : kept;
}

// The same for new lines. Their text is copied, since it may be a part of the
// document that the edit moves.
template <typename Edit>
IniResult EditNew(LineTable& lines, const IniName& name, std::string_view value,
                  Edit edit) {
  if (const auto fault = internal::NewKeyFault(Trimmed(name), value);
      !fault.empty())
    return Invalid(fault);
  const std::string section(name.section);
  const std::string key(TrimmedLine(name.key.value_or("")));
  const std::string text(TrimmedLine(value));
  IniName copy = {.section = section, .index = name.index};
  if (name.key) copy.key = key;
  return EditWith(lines, copy,
                  [&](auto editor) { return edit(editor, copy, text); });
}

IniFound FoundKey(const LineTable& lines, std::size_t key, Code code) {
  if (key == kNoLine) return {.code = Code::kNoKey};
  return {.code = code,
          .entry = EntryAt(lines, key, internal::HeaderOf(lines, key))};
}

IniFound FindKey(const LineTable& lines, const IniName& name) {
  const auto find = [&](Which which, std::size_t index) {
    return internal::KeyLine(lines, name.section, *name.key, which, index);
  };
  const bool live = lines.reading() == IniReading::kLive;
  const std::size_t key = find(live ? Which::kActive : Which::kAny, name.index);
  if (key != kNoLine) return FoundKey(lines, key, Code::kDone);
  const Code code = internal::WhyMissing(lines, name);
  if (code != Code::kDisabled) return {.code = code};
  const Which which = find(Which::kDisabled, 0) == kNoLine
                          ? Which::kInDisabledSection
                          : Which::kDisabled;
  return FoundKey(lines, find(which, name.index), Code::kDisabled);
}

// Appends a line with the comments above it, and what continues its value.
void AppendRecord(const LineTable& lines, std::size_t line, LineSet& all) {
  for (const std::size_t comment : internal::CommentsOf(lines, line))
    all.Add(comment);
  all.Add(line);
  std::size_t end = 0;
  while ((end = lines.ContinuationAt(line + 1)) != internal::kNoLine)
    while (line < end) all.Add(++line);
}

// Returns the lines that the name is about.
LineSet LinesOf(const LineTable& lines, const IniName& name) {
  LineSet all;
  if (name.key) {
    if (const IniFound found = FindKey(lines, name))
      AppendRecord(lines, found.entry.line - 1, all);
    return all;
  }
  if (lines.reading() == IniReading::kRecords) {
    for (const std::size_t line : internal::RecordLines(lines, name.section))
      AppendRecord(lines, line, all);
    return all;
  }
  for (const std::size_t number : internal::ActiveBlocks(lines, name.section)) {
    const Block block = internal::BlockAt(lines, number);
    const std::size_t end = internal::EndOfBlock(lines, block);
    for (std::size_t line = internal::BeginOfBlock(lines, block); line < end;
         ++line)
      all.Add(line);
  }
  return all;
}

}  // namespace

IniDocument::IniDocument(std::string text, IniReading reading)
    : lines_(std::make_unique<LineTable>(std::move(text), reading)) {}

IniDocument::IniDocument(const IniDocument& other)
    : lines_(std::make_unique<LineTable>(*other.lines_)) {}
IniDocument::IniDocument(IniDocument&& other) noexcept = default;
IniDocument& IniDocument::operator=(const IniDocument& other) {
  return *this = IniDocument(other);
}
IniDocument& IniDocument::operator=(IniDocument&& other) noexcept = default;
IniDocument::~IniDocument() = default;

std::string IniDocument::Text() const {
  std::string text;
  text.reserve(lines_->TextSize());
  lines_->ForEachPiece([&text](std::string_view piece) { text += piece; });
  return text;
}

void IniDocument::ForEachPiece(
    const std::function<void(std::string_view)>& take) const {
  lines_->ForEachPiece(take);
}

std::string_view IniDocument::OriginalText() const noexcept {
  return lines_->original();
}

bool IniDocument::IsEdited() const noexcept { return lines_->edited(); }

IniFound IniDocument::Find(const IniName& name) const {
  const IniName trimmed = Trimmed(name);
  return name.key ? FindKey(*lines_, trimmed)
                  : FindSection(*lines_, name.section);
}

std::optional<std::string_view> IniDocument::Value(std::string_view section,
                                                   std::string_view key) const {
  const IniFound found = Find({.section = section, .key = key});
  if (!found) return std::nullopt;
  return found.entry.value;
}

std::string IniDocument::Comments(const IniEntry& entry) const {
  if (entry.line == 0 || entry.line > lines_->size()) return {};
  std::string comments;
  for (const std::size_t line : internal::CommentsOf(*lines_, entry.line - 1))
    comments += lines_->TextOf(line);
  return comments;
}

std::string IniDocument::Continuation(const IniEntry& entry) const {
  std::string text;
  if (entry.line == 0 || entry.line > lines_->size()) return text;
  const std::size_t end = internal::EndOfValue(*lines_, entry.line);
  for (std::size_t line = entry.line; line < end; ++line)
    text += lines_->TextOf(line);
  return text;
}

std::string IniDocument::TextOf(const IniName& name) const {
  std::string text;
  ForEachLineOf(name, [&text](std::string_view line) { text += line; });
  return text;
}

void IniDocument::ForEachLineOf(
    const IniName& name,
    const std::function<void(std::string_view)>& take) const {
  std::string buffer;
  for (const std::size_t line : LinesOf(*lines_, Trimmed(name)))
    take(lines_->ViewOf(line, buffer));
}

std::size_t IniDocument::UnclosedHeader() const {
  const std::size_t line = internal::UnclosedHeader(*lines_);
  return line == kNoLine ? 0 : line + 1;
}

IniResult IniDocument::Set(const IniName& name, std::string_view value) {
  if (!name.key) return Invalid("only a key has a value");
  return EditNew(*lines_, name, value, [](auto editor, const auto&... line) {
    return editor.Set(line...);
  });
}

IniResult IniDocument::Add(const IniName& name, std::string_view value,
                           const IniPlace& place) {
  IniPlace there = place;
  if (name.key) there.name = TrimmedLine(place.name);
  return EditNew(*lines_, name, value,
                 [&there](auto editor, const auto&... line) {
                   return editor.Add(line..., there);
                 });
}

IniResult IniDocument::Delete(const IniName& name) {
  return EditWith(*lines_, name,
                  [&](auto editor) { return editor.Delete(Trimmed(name)); });
}

IniResult IniDocument::Enable(const IniName& name) {
  return EditWith(*lines_, name,
                  [&](auto editor) { return editor.Enable(Trimmed(name)); });
}

IniResult IniDocument::Disable(const IniName& name, char mark) {
  if (!internal::IsCommentCharacter(mark))
    return Invalid("a comment character is '#' or ';'");
  return EditWith(*lines_, name, [&](auto editor) {
    return editor.Disable(Trimmed(name), mark);
  });
}

IniResult IniDocument::Rename(const IniName& name, std::string_view new_name) {
  if (name.key) new_name = TrimmedLine(new_name);
  const std::string_view fault = name.key ? internal::KeyFault(new_name)
                                          : internal::SectionFault(new_name);
  if (!fault.empty()) return Invalid(fault);
  const std::string copy(new_name);  // It may be a part of the text.
  return EditWith(*lines_, name, [&](auto editor) {
    return editor.Rename(Trimmed(name), copy);
  });
}

IniResult IniDocument::Comment(const IniName& name, std::string_view comments) {
  return EditWith(*lines_, name, [&](auto editor) {
    return editor.Comment(Trimmed(name), comments);
  });
}

IniDocument::Iterator IniDocument::begin() const { return {*lines_, false}; }
IniDocument::Iterator IniDocument::end() const { return {*lines_, true}; }

IniDocument::Iterator::Iterator(const LineTable& lines, bool at_end)
    : lines_(&lines), line_(kNoLine), header_(kTop), disabled_header_(kNoLine) {
  if (!at_end) ++*this;
}

IniDocument::Iterator& IniDocument::Iterator::operator++() {
  LineWalk walk(*lines_);
  walk.line = line_;
  walk.header = header_;
  walk.disabled_header = disabled_header_;
  walk.has_comments = has_comments_;
  const std::size_t old_section = line_ == kNoLine ? kNoLine : walk.Section();
  bool found = false;
  while (!found && walk.Next())
    found = walk.IsEntry() && walk.Section() != kNowhere;
  line_ = found ? walk.line : kNoLine;
  header_ = walk.header;
  disabled_header_ = walk.disabled_header;
  has_comments_ = walk.has_comments;
  if (!found) return *this;
  const std::string_view name = entry_.section;
  const bool is_same = walk.Section() == old_section && old_section != kNoLine;
  entry_ = EntryAt(*lines_, line_, is_same ? kNoLine : walk.Section());
  if (is_same) entry_.section = name;
  return *this;
}

IniDocument::Iterator IniDocument::Iterator::operator++(int) {
  Iterator before = *this;
  ++*this;
  return before;
}

}  // namespace fairlead
