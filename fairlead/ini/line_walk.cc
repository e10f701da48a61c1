// Walks over the lines of an INI text and knows the section of each.

#include "fairlead/ini/line_walk.h"

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
    if (Is(which, walk) && wanted_section.MayBe(lines, walk.Section()) &&
        wanted_key.IsAt(lines, walk.line) &&
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

bool Wanted::MayBe(const LineTable& lines, std::size_t header) const {
  return header >= lines.size() || lines.HashAt(header) == hash;
}

bool Wanted::IsSection(const LineTable& lines, std::size_t header) const {
  if (header == kTop || header == kNoLine) return name.empty();
  return header != kNowhere && IsAt(lines, header);
}

LineSet KeyLines(const LineTable& lines, std::string_view section,
                 std::string_view key, Which which) {
  LineSet found;
  ForEachKeyLine(lines, section, key, which, [&found](std::size_t line) {
    found.Add(line);
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

LineSet RecordLines(const LineTable& lines, std::string_view section) {
  LineSet found;
  const Wanted wanted(section);
  for (LineWalk walk(lines); walk.Next();)
    if (walk.IsEntry() && wanted.IsSection(lines, walk.Section()))
      found.Add(walk.line);
  return found;
}

Block TopBlock(const LineTable& lines) {
  Block top = {.header = kTop, .begin = 0, .last = kNoLine, .end = 0};
  for (LineWalk walk(lines); walk.Next() && walk.header == kTop;)
    Extend(top, walk);
  return top;
}

Blocks ActiveBlocks(const LineTable& lines, std::string_view section) {
  Blocks blocks;
  const Wanted wanted(section);
  if (section.empty() && TopBlock(lines).has_active_key) blocks.Add(0);
  for (std::size_t line = 0; line < lines.size(); ++line)
    if (lines.KindOf(line) == LineKind::kHeader && !lines.IsDisabled(line) &&
        wanted.IsAt(lines, line))
      blocks.Add(line + 1);
  return blocks;
}

Blocks DisabledBlocks(const LineTable& lines, std::string_view section) {
  Blocks blocks;
  const Wanted wanted(section);
  const Block top = TopBlock(lines);
  if (section.empty() && top.has_key && !top.has_active_key) blocks.Add(0);
  for (std::size_t line = 0; line < lines.size(); ++line)
    if (lines.KindOf(line) == LineKind::kHeader && lines.IsDisabled(line) &&
        wanted.IsAt(lines, line))
      blocks.Add(line + 1);
  return blocks;
}

Block BlockAt(const LineTable& lines, std::size_t number) {
  if (number == 0) return TopBlock(lines);
  const std::size_t header = number - 1;
  LineWalk walk(lines);
  walk.line = header - 1;
  walk.Next();
  Block block = {header, header, header, header + 1};
  const bool is_disabled = lines.IsDisabled(header);
  while (walk.Next() &&
         header == (is_disabled ? walk.disabled_header : walk.header)) {
    if (is_disabled)
      block.end = walk.line + 1;
    else
      Extend(block, walk);
  }
  return block;
}

std::size_t CommentsBegin(const LineTable& lines, std::size_t line) {
  while (line > 0 && lines.KindOf(line - 1) == LineKind::kComment) --line;
  return line;
}

LineSet RecordComments(const LineTable& lines, std::size_t line) {
  LineSet comments;
  while (line-- > 0) {
    const LineKind kind = lines.KindOf(line);
    if (kind == LineKind::kComment) comments.Add(line);
    // Below comments, any other line is no record.
    if (kind != LineKind::kComment && kind != LineKind::kBlank &&
        kind != LineKind::kOther)
      break;
  }
  return comments;
}

LineSet CommentsOf(const LineTable& lines, std::size_t line) {
  if (IsRecords(lines)) return RecordComments(lines, line);
  LineSet comments;
  for (std::size_t at = CommentsBegin(lines, line); at < line; ++at)
    comments.Add(at);
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
        lines.Read(line).name == name)
      return line;
  return kNoLine;
}

}  // namespace fairlead::internal
