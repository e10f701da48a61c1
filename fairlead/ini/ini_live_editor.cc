// The edits of an INI document in the live reading.

#include <array>
#include <string>

#include "fairlead/ini/ini_editors.h"
#include "fairlead/ini/ini_line.h"
#include "fairlead/ini/line_edit.h"
#include "fairlead/ini/live_checks.h"

namespace fairlead::internal {
namespace {

std::string MarksOf(char mark, std::size_t count) {
  const std::array marks = {mark, mark == '#' ? ';' : '#'};
  return {marks.data(), count};
}

// Removes the comment characters of one Disable() from a line, if it has any.
bool EnableLine(LineTable& lines, std::size_t line) {
  if (!CanEnable(lines.TextOf(line))) return false;
  const bool one_level = lines.IsDisabled(line);
  UnmarkAt(lines, line, one_level ? MarksFor(lines.Read(line)) : 1);
  return true;
}

// Disables a line; one that EnableLine() would change gets another character,
// so that EnableLine() restores it.
bool DisableLine(LineTable& lines, std::size_t line, char mark) {
  const LineKind kind = lines.KindOf(line);
  const bool active = (kind == LineKind::kHeader || kind == LineKind::kKey) &&
                      !lines.IsDisabled(line);
  if (!active && !CanEnable(lines.TextOf(line))) return false;
  const std::size_t count = active ? MarksFor(lines.Read(line)) : 1;
  lines.ChangeMarks(line, 0, MarksOf(mark, count));
  return true;
}

// Returns the end of the lines before the first section and its comments.
std::size_t EndOfTop(const LineTable& lines) {
  const std::size_t end = TopBlock(lines).end;
  return end < lines.size() ? CommentsBegin(lines, end) : end;
}

bool IsBlankOrEdge(const LineTable& lines, std::size_t line) {
  return line >= lines.size() || lines.KindOf(line) == LineKind::kBlank;
}

}  // namespace

// Returns the lines of the active keys that an edit is about.
LineSet LiveEditor::Chosen(const IniName& name) const {
  LineSet keys = KeyLines(lines_, name.section, *name.key, Which::kActive);
  if (name.index == 0) return keys;
  LineSet chosen;
  if (name.index <= keys.size()) chosen.Add(keys.At(name.index - 1));
  return chosen;
}

IniResult LiveEditor::CheckValueEnds(const LineSet& keys) const {
  for (const std::size_t key : keys)
    if (const IniResult result = CheckValueEnd(lines_, key); !result.IsOk())
      return result;
  return {};
}

IniResult LiveEditor::Set(const IniName& name, std::string_view value) {
  const auto keys = KeyLines(lines_, name.section, *name.key, Which::kActive);
  const std::size_t place = PlaceOf(name.index, keys.size(), keys.size() - 1);
  if (place != kNoLine) return SetValueAt(lines_, keys.At(place), value);
  if (name.index != 0) return {.code = WhyMissing(lines_, name)};
  return AddKey(name, value, {});
}

IniResult LiveEditor::Add(const IniName& name, std::string_view value,
                          const IniPlace& place) {
  if (!name.key) return AddSection(name.section, place);
  const auto keys = KeyLines(lines_, name.section, *name.key, Which::kActive);
  if (!keys.empty()) return Exists(keys.back());
  return AddKey(name, value, place);
}

// Returns where a new key goes: the line before which it is inserted, and one
// in whose style it is written.
LiveEditor::Spot LiveEditor::SpotFor(const IniName& name,
                                     const IniPlace& place) const {
  using Where = IniPlace::Where;
  if (place.where == Where::kBefore || place.where == Where::kAfter) {
    const auto keys =
        KeyLines(lines_, name.section, place.name, Which::kActive);
    if (keys.empty()) return {};
    const std::size_t key = keys.back();
    return {
        place.where == Where::kBefore ? CommentsBegin(lines_, key) : key + 1,
        key};
  }
  const auto disabled =
      KeyLines(lines_, name.section, *name.key, Which::kDisabled);
  if (place.where == Where::kDefault && !disabled.empty())
    return {disabled.back() + 1, disabled.back()};
  const auto blocks = ActiveBlocks(lines_, name.section);
  if (blocks.empty()) return {EndOfTop(lines_)};
  if (place.where == Where::kFirst) return {blocks.front()};
  const Block block = BlockAt(lines_, blocks.back());
  return {block.last + 1,
          lines_.KindOf(block.last) == LineKind::kKey ? block.last : kNoLine};
}

IniResult LiveEditor::AddKey(const IniName& name, std::string_view value,
                             const IniPlace& place) {
  const bool has_section =
      name.section.empty() || !ActiveBlocks(lines_, name.section).empty();
  const bool is_relative = place.where == IniPlace::Where::kBefore ||
                           place.where == IniPlace::Where::kAfter;
  if (!has_section && is_relative) return {.code = Code::kNoSection};
  if (!has_section) {
    const std::size_t header =
        InsertHeader(lines_, lines_.size(), name.section);
    InsertKey(lines_, header + 1, kNoLine, *name.key, value);
    return {};
  }
  const Spot spot = SpotFor(name, place);
  if (spot.line == kNoLine) return {.code = Code::kNoKey};
  // An indented line that is no INI must not become a part of the new value.
  const std::size_t line = EndOfValue(lines_, spot.line);
  const std::size_t loser = FindLoser(lines_, line);
  if (loser != kNoLine)
    return Malformed(loser, "the new key would end this disabled section");
  InsertKey(lines_, line, spot.model, *name.key, value);
  return {};
}

// Returns the line before which a new section goes: kNoLine if there is no such
// place, kTop if it would take the keys before the first header.
std::size_t LiveEditor::LineFor(const IniPlace& place) const {
  using Where = IniPlace::Where;
  if (place.where == Where::kDefault) return lines_.size();
  if (place.where == Where::kFirst) return EndOfTop(lines_);
  const auto blocks = ActiveBlocks(lines_, place.name);
  if (blocks.empty()) return kNoLine;
  if (place.where == Where::kAfter)
    return EndOfBlock(lines_, BlockAt(lines_, blocks.back()));
  const std::size_t header = HeaderOfBlock(blocks.front());
  return header == kTop ? kTop : CommentsBegin(lines_, header);
}

IniResult LiveEditor::AddSection(std::string_view section,
                                 const IniPlace& place) {
  const auto blocks = ActiveBlocks(lines_, section);
  if (!blocks.empty()) return Exists(BlockAt(lines_, blocks.front()).begin);
  const std::size_t line = LineFor(place);
  if (line == kTop) return {.code = Code::kNoHeader};
  if (line == kNoLine) return {.code = Code::kNoSection};
  const std::size_t other = FindOther(lines_, line, NextActive(lines_, line));
  if (other != kNoLine)
    return Malformed(other, "this line would be in the new section");
  const std::size_t header = InsertHeader(lines_, line, section);
  const std::size_t below = header + 1;
  if (header > 0 && IsBlankOrEdge(lines_, header - 1) &&
      !IsBlankOrEdge(lines_, below))
    lines_.Insert(below, lines_.NewlineOf(header));
  return {};
}

IniResult LiveEditor::Delete(const IniName& name) {
  if (!name.key) return DeleteSection(name.section);
  const auto keys = Chosen(name);
  if (keys.empty()) return {.code = WhyMissing(lines_, name)};
  if (const IniResult result = CheckValueEnds(keys); !result.IsOk())
    return result;
  if (const std::size_t taker = FindTaker(lines_, keys); taker != kNoLine)
    return Malformed(taker,
                     "a disabled key below would be in this disabled section");
  LineSet gone;
  for (const std::size_t key : keys)
    for (std::size_t line = CommentsBegin(lines_, key); line <= key; ++line)
      gone.Add(line);
  lines_.Erase(gone);
  return {};
}

IniResult LiveEditor::DeleteSection(std::string_view section) {
  const Blocks blocks = ActiveBlocks(lines_, section);
  if (blocks.empty()) return {.code = WhyMissing(lines_, {section})};
  for (const std::size_t number : blocks) {
    const Block block = BlockAt(lines_, number);
    if (const std::size_t line =
            FindOther(lines_, block.end, EndOfEffect(lines_, block));
        line != kNoLine)
      return Malformed(line, "this line would be in another section");
    if (const IniResult result = CheckTopEnd(lines_, block); !result.IsOk())
      return result;
  }
  DeleteBlocks(blocks);
  return {};
}

// Of the blank lines above and below a part of the section, one side stays.
void LiveEditor::DeleteBlocks(Blocks blocks) {
  LineSet gone;
  std::size_t below = lines_.size();  // What is gone below, up to `kept`.
  std::size_t kept = lines_.size();
  while (!blocks.empty()) {
    const Block block = BlockAt(lines_, blocks.Pop());
    const std::size_t begin = BeginOfBlock(lines_, block);
    std::size_t end = EndOfBlock(lines_, block);
    const bool takes_blanks = begin == 0 || IsBlankOrEdge(lines_, begin - 1);
    while (takes_blanks && end < below && IsBlankOrEdge(lines_, end)) ++end;
    for (std::size_t line = begin; line < end; ++line) gone.Add(line);
    if (end == below) {
      end = kept;
      while (takes_blanks && end < lines_.size() && IsBlankOrEdge(lines_, end))
        gone.Add(end++);
    }
    below = begin;
    kept = end;
  }
  lines_.Erase(gone);
}

IniResult LiveEditor::Enable(const IniName& name) {
  if (!name.key) return EnableSection(name.section);
  const auto keys = KeyLines(lines_, name.section, *name.key, Which::kDisabled);
  const bool is_active =
      !KeyLines(lines_, name.section, *name.key, Which::kActive).empty();
  if (name.index == 0 && is_active) return {.code = Code::kUnchanged};
  const std::size_t place = PlaceOf(name.index, keys.size(), keys.size() - 1);
  if (place == kNoLine)
    return {.code = keys.empty() ? WhyMissing(lines_, name) : Code::kNoKey};
  EnableLine(lines_, keys.At(place));
  return CheckEnabled(lines_, keys.At(place));
}

IniResult LiveEditor::EnableSection(std::string_view section) {
  const auto blocks = DisabledBlocks(lines_, section);
  if (!ActiveBlocks(lines_, section).empty()) return {.code = Code::kUnchanged};
  if (blocks.empty()) return {.code = Code::kNoSection};
  if (const IniResult result = CheckEnabledBlocks(lines_, blocks);
      !result.IsOk())
    return result;
  for (const std::size_t number : blocks) {
    const Block block = BlockAt(lines_, number);
    for (std::size_t line = block.begin; line < block.end; ++line)
      EnableLine(lines_, line);
  }
  return HeaderOfBlock(blocks.front()) == kTop ? CheckEnabledTop(lines_)
                                               : IniResult();
}

IniResult LiveEditor::Disable(const IniName& name, char mark) {
  if (!name.key) return DisableSection(name.section, mark);
  const auto keys = Chosen(name);
  if (keys.empty()) {
    const Code missing = WhyMissing(lines_, name);
    return {.code = missing == Code::kDisabled ? Code::kUnchanged : missing};
  }
  if (const IniResult result = CheckValueEnds(keys); !result.IsOk())
    return result;
  for (const std::size_t key : keys) DisableLine(lines_, key, mark);
  const std::size_t header = FindDisabledHeader(lines_, keys);
  if (header != kNoLine)
    return Malformed(header, "the key would be in this disabled section");
  return {};
}

IniResult LiveEditor::DisableSection(std::string_view section, char mark) {
  const auto blocks = ActiveBlocks(lines_, section);
  const auto disabled = DisabledBlocks(lines_, section);
  if (blocks.empty())
    return {.code = disabled.empty() ? Code::kNoSection : Code::kUnchanged};
  // Enabling would turn that one on, too.
  if (!disabled.empty()) return Exists(BlockAt(lines_, disabled.front()).begin);
  for (const std::size_t number : blocks) {
    const Block block = BlockAt(lines_, number);
    if (const std::size_t line =
            FindOther(lines_, block.begin, EndOfEffect(lines_, block));
        line != kNoLine)
      return Malformed(line,
                       "a line that is neither comment, header nor "
                       "key=value cannot be disabled");
    if (const IniResult result = CheckTopEnd(lines_, block); !result.IsOk())
      return result;
  }
  for (const std::size_t number : blocks) {
    const Block block = BlockAt(lines_, number);
    for (std::size_t line = block.begin; line < block.end; ++line)
      DisableLine(lines_, line, mark);
  }
  return {};
}

IniResult LiveEditor::Rename(const IniName& name, std::string_view new_name) {
  if (!name.key) return RenameSection(name.section, new_name);
  const auto keys = Chosen(name);
  if (keys.empty()) return {.code = WhyMissing(lines_, name)};
  if (new_name == *name.key) return {.code = Code::kUnchanged};
  const auto others = KeyLines(lines_, name.section, new_name, Which::kActive);
  if (!others.empty()) return Exists(others.front());
  for (const std::size_t key : keys) RenameAt(lines_, key, new_name);
  return {};
}

IniResult LiveEditor::RenameSection(std::string_view section,
                                    std::string_view new_name) {
  const auto blocks = ActiveBlocks(lines_, section);
  if (blocks.empty()) return {.code = WhyMissing(lines_, {section})};
  if (HeaderOfBlock(blocks.front()) == kTop) return {.code = Code::kNoHeader};
  if (new_name == section) return {.code = Code::kUnchanged};
  const auto others = ActiveBlocks(lines_, new_name);
  if (!others.empty()) return Exists(BlockAt(lines_, others.front()).begin);
  for (const std::size_t number : blocks)
    RenameAt(lines_, HeaderOfBlock(number), new_name);
  return {};
}

IniResult LiveEditor::Comment(const IniName& name, std::string_view text) {
  std::size_t line = kNoLine;
  if (name.key) {
    const auto keys = Chosen(name);
    if (!keys.empty()) line = keys.back();
  } else {
    const auto blocks = ActiveBlocks(lines_, name.section);
    if (!blocks.empty()) line = HeaderOfBlock(blocks.front());
  }
  if (line == kNoLine) return {.code = WhyMissing(lines_, name)};
  if (line == kTop) return {.code = Code::kNoHeader};
  return ReplaceComments(lines_, CommentsOf(lines_, line), line, text);
}

}  // namespace fairlead::internal
