// Walks over the lines of an INI text and knows the section of each.

#include "fairlead/ini/line_walk.h"

#include <algorithm>

namespace fairlead::internal {
namespace {

bool IsRecords(const LineTable& lines) {
  return lines.reading() == IniReading::kRecords;
}

bool Is(Which which, const LineWalk& walk) {
  switch (which) {
    case Which::kAny:
      return true;
    case Which::kActive:
      return !walk.IsDisabled();
    case Which::kDisabled:
      return walk.IsDisabled() && walk.disabled_header == kNoLine;
    case Which::kInDisabledSection:
      return walk.IsDisabled() && walk.disabled_header != kNoLine;
  }
  return false;
}

// Adds a line to the block that it belongs to.
void Extend(Block& block, const LineWalk& walk) {
  const LineKind kind = walk.Kind();
  const bool is_active_key = kind == LineKind::kKey && !walk.IsDisabled();
  // A disabled header with active keys below is only a comment.
  if (walk.disabled_header != kNoLine && !is_active_key) return;
  block.has_key |= kind == LineKind::kKey;
  block.has_active_key |= is_active_key;
  block.end = walk.line + 1;
  if (kind == LineKind::kKey || kind == LineKind::kOther)
    block.last = walk.line;
}

// Calls `use` with the line of each key with that name in the section, until it
// returns false.
template <typename Use>
void ForEachKeyLine(const LineTable& lines, std::string_view section,
                    std::string_view key, Which which, const Use& use) {
  const Wanted wanted_section(section);
  const Wanted wanted_key(key);
  for (LineWalk walk(lines); walk.Next();) {
    if (walk.Kind() != LineKind::kKey ||
        lines.HashAt(walk.line) != wanted_key.hash)
      continue;
    if (Is(which, walk) && wanted_key.IsAt(lines, walk.line) &&
        wanted_section.IsSection(lines, walk.Section()) && !use(walk.line))
      return;
  }
}

}  // namespace

IniEntry EntryAt(const LineTable& lines, std::size_t line, std::size_t header) {
  const IniLine read = lines.Read(line);
  IniEntry entry = {
      .section = header >= lines.size() ? "" : lines.Read(header).name,
      .mark = read.mark,
      .line = line + 1};
  if (read.kind == LineKind::kKey) entry.key = read.name;
  entry.value = read.value;
  return entry;
}

bool LineWalk::IsEntry() const {
  const LineKind kind = Kind();
  if (kind == LineKind::kHeader || kind == LineKind::kKey) return true;
  if (!IsRecords(*lines)) return false;
  return kind == LineKind::kKeyless ||
         (kind == LineKind::kOther && !has_comments);
}

std::size_t LineWalk::Section() const {
  if (Kind() == LineKind::kOther) return kNoLine;
  if (Kind() == LineKind::kHeader) return line;
  if (IsDisabled() && disabled_header != kNoLine) return disabled_header;
  return header;
}

bool Wanted::IsAt(const LineTable& lines, std::size_t line) const {
  return lines.HashAt(line) == hash && lines.Read(line).name == name;
}

bool Wanted::IsSection(const LineTable& lines, std::size_t header) const {
  if (header == kTop || header == kNoLine) return name.empty();
  return header != kNowhere && IsAt(lines, header);
}

std::vector<std::size_t> KeyLines(const LineTable& lines,
                                  std::string_view section,
                                  std::string_view key, Which which) {
  std::vector<std::size_t> found;
  ForEachKeyLine(lines, section, key, which, [&found](std::size_t line) {
    found.push_back(line);
    return true;
  });
  return found;
}

std::size_t KeyLine(const LineTable& lines, std::string_view section,
                    std::string_view key, Which which, std::size_t index) {
  std::size_t found = kNoLine;
  const bool is_last = index == 0 && !IsRecords(lines);
  std::size_t left = index == 0 ? 1 : index;
  ForEachKeyLine(lines, section, key, which, [&](std::size_t line) {
    if (!is_last && --left > 0) return true;
    found = line;
    return is_last;
  });
  return found;
}

std::vector<std::size_t> RecordLines(const LineTable& lines,
                                     std::string_view section) {
  std::vector<std::size_t> found;
  const Wanted wanted(section);
  for (LineWalk walk(lines); walk.Next();)
    if (walk.IsEntry() && wanted.IsSection(lines, walk.Section()))
      found.push_back(walk.line);
  return found;
}

Block TopBlock(const LineTable& lines) {
  Block top = {.header = kTop, .begin = 0, .last = kNoLine, .end = 0};
  for (LineWalk walk(lines); walk.Next() && walk.header == kTop;)
    Extend(top, walk);
  return top;
}

std::vector<Block> ActiveBlocks(const LineTable& lines,
                                std::string_view section) {
  std::vector<Block> blocks;
  const Wanted wanted(section);
  const Block top = TopBlock(lines);
  if (section.empty() && top.has_active_key) blocks.push_back(top);
  bool is_inside = false;
  for (LineWalk walk(lines); walk.Next();) {
    const bool opens = walk.header == walk.line;
    if (opens || walk.header == kNowhere)
      is_inside = opens && wanted.IsSection(lines, walk.header);
    if (opens && is_inside)
      blocks.push_back({walk.line, walk.line, walk.line, walk.line + 1});
    else if (is_inside)
      Extend(blocks.back(), walk);
  }
  return blocks;
}

std::vector<Block> DisabledBlocks(const LineTable& lines,
                                  std::string_view section) {
  std::vector<Block> blocks;
  const Wanted wanted(section);
  const Block top = TopBlock(lines);
  if (section.empty() && top.has_key && !top.has_active_key)
    blocks.push_back(top);
  bool is_inside = false;
  for (LineWalk walk(lines); walk.Next();) {
    if (walk.Kind() == LineKind::kHeader && walk.IsDisabled()) {
      is_inside = wanted.IsSection(lines, walk.line);
      if (is_inside)
        blocks.push_back({walk.line, walk.line, walk.line, walk.line});
    }
    if (walk.disabled_header == kNoLine) is_inside = false;
    if (is_inside) blocks.back().end = walk.line + 1;
  }
  return blocks;
}

std::size_t CommentsBegin(const LineTable& lines, std::size_t line) {
  while (line > 0 && lines.KindOf(line - 1) == LineKind::kComment) --line;
  return line;
}

std::vector<std::size_t> RecordComments(const LineTable& lines,
                                        std::size_t line) {
  std::vector<std::size_t> comments;
  while (line-- > 0) {
    const LineKind kind = lines.KindOf(line);
    if (kind == LineKind::kComment) comments.push_back(line);
    // Below comments, any other line is no record.
    if (kind != LineKind::kComment && kind != LineKind::kBlank &&
        kind != LineKind::kOther)
      break;
  }
  std::ranges::reverse(comments);
  return comments;
}

std::vector<std::size_t> CommentsOf(const LineTable& lines, std::size_t line) {
  if (IsRecords(lines)) return RecordComments(lines, line);
  std::vector<std::size_t> comments;
  for (std::size_t at = CommentsBegin(lines, line); at < line; ++at)
    comments.push_back(at);
  return comments;
}

std::size_t HeaderOf(const LineTable& lines, std::size_t key) {
  // A disabled header counts only if no active key is between.
  bool takes_disabled = IsRecords(lines) || lines.IsDisabled(key);
  for (std::size_t line = key; line > 0; --line) {
    const std::size_t at = line - 1;
    const LineKind kind = lines.KindOf(at);
    if (kind == LineKind::kUnclosedHeader) return kNowhere;
    if (kind == LineKind::kHeader && (takes_disabled || !lines.IsDisabled(at)))
      return at;
    if (kind == LineKind::kKey && !lines.IsDisabled(at) && !IsRecords(lines))
      takes_disabled = false;
  }
  return kTop;
}

IniResult::Code WhyMissing(const LineTable& lines, const IniName& name) {
  using enum IniResult::Code;
  if (IsRecords(lines))
    return RecordLines(lines, name.section).empty() ? kNoSection : kNoKey;
  if (name.key) {
    const auto exists = [&](Which which) {
      return KeyLine(lines, name.section, *name.key, which) != kNoLine;
    };
    if (exists(Which::kActive)) return kNoKey;
    if (exists(Which::kAny)) return kDisabled;
  }
  if (!ActiveBlocks(lines, name.section).empty()) return kNoKey;
  if (DisabledBlocks(lines, name.section).empty()) return kNoSection;
  return name.key ? kNoKey : kDisabled;
}

std::size_t BeginOfBlock(const LineTable& lines, const Block& block) {
  std::size_t begin = block.begin;
  // A disabled header above its last key is a part of it.
  if (block.header == kTop)
    while (lines.KindOf(begin) != LineKind::kKey &&
           lines.KindOf(begin) != LineKind::kHeader)
      ++begin;
  return CommentsBegin(lines, begin);
}

std::size_t EndOfBlock(const LineTable& lines, const Block& block) {
  std::size_t end = block.last == kNoLine ? block.begin : block.last + 1;
  std::size_t comments = end;
  while (comments < lines.size() &&
         lines.KindOf(comments) == LineKind::kComment)
    ++comments;
  if (comments == lines.size() || lines.KindOf(comments) == LineKind::kBlank)
    end = comments;
  return end;
}

std::size_t UnclosedHeader(const LineTable& lines) {
  if (!lines.has_unclosed()) return kNoLine;
  for (std::size_t line = 0; line < lines.size(); ++line)
    if (lines.KindOf(line) == LineKind::kUnclosedHeader) return line;
  return kNoLine;
}

std::size_t UnclosedHeader(const LineTable& lines, std::string_view section) {
  if (!lines.has_unclosed()) return kNoLine;
  const std::string_view name = TrimmedLine(section);
  for (std::size_t line = 0; line < lines.size(); ++line)
    if (lines.KindOf(line) == LineKind::kUnclosedHeader &&
        lines.HashAt(line) == HashOf(name) && lines.Read(line).name == name)
      return line;
  return kNoLine;
}

std::vector<Ambiguity> Ambiguities(const LineTable& lines) {
  std::vector<Ambiguity> found;
  if (!lines.has_unclosed()) return found;
  std::size_t key =
      kNoLine;  // The last line that an indented one can continue.
  for (std::size_t line = 0; line < lines.size(); ++line) {
    const LineKind kind = lines.KindOf(line);
    const bool is_unclosed = kind == LineKind::kUnclosedHeader;
    if (lines.IsDisabled(line)) continue;
    if (kind == LineKind::kKey) key = line;
    if (kind == LineKind::kHeader || (is_unclosed && !lines.IsIndented(line)))
      key = kNoLine;
    if (is_unclosed && key != kNoLine)
      found.push_back({.line = line, .key = lines.IdOf(key)});
  }
  return found;
}

}  // namespace fairlead::internal
