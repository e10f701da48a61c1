// What an edit in the live reading must not change.

#include "fairlead/ini/live_checks.h"

#include <algorithm>

#include "fairlead/ini/ini_line.h"
#include "fairlead/ini/line_edit.h"

namespace fairlead::internal {
namespace {

bool IsActiveKey(const LineTable& lines, std::size_t line) {
  return lines.KindOf(line) == LineKind::kKey && !lines.IsDisabled(line);
}

// Returns whether a line of this kind is blank, a comment or not INI.
bool NamesNothing(LineKind kind) {
  return kind == LineKind::kBlank || kind == LineKind::kComment ||
         kind == LineKind::kOther;
}

// Calls `use` for each indented header without `]`, with its line and that of
// the key whose value it may be a part of, or kNoLine.
template <typename Use>
void ForEachAmbiguity(const LineTable& lines, const Use& use) {
  if (!lines.has_unclosed()) return;
  std::size_t key = kNoLine;  // The last one that an indented line continues.
  for (std::size_t line = 0; line < lines.size(); ++line) {
    const LineKind kind = lines.KindOf(line);
    const bool is_unclosed = kind == LineKind::kUnclosedHeader;
    if (lines.IsDisabled(line)) continue;
    if (kind == LineKind::kKey) key = line;
    if (kind == LineKind::kHeader || (is_unclosed && !lines.IsIndented(line)))
      key = kNoLine;
    if (is_unclosed && lines.IsIndented(line)) use(line, key);
  }
}

std::uint32_t IdOrNone(const LineTable& lines, std::size_t key) {
  return key == kNoLine ? UINT32_MAX : lines.IdOf(key);
}

}  // namespace

std::size_t NextActive(const LineTable& lines, std::size_t line) {
  while (line < lines.size() &&
         (lines.IsDisabled(line) || NamesNothing(lines.KindOf(line))))
    ++line;
  return line;
}

std::size_t FindOther(const LineTable& lines, std::size_t begin,
                      std::size_t end) {
  for (std::size_t line = begin; line < end; ++line)
    if (lines.KindOf(line) == LineKind::kOther) return line;
  return kNoLine;
}

std::size_t EndOfEffect(const LineTable& lines, const Block& block) {
  return block.header == kTop ? block.end : NextActive(lines, block.end);
}

std::size_t FindTaker(const LineTable& lines, const LineSet& keys) {
  std::size_t taker = kNoLine;
  for (LineWalk walk(lines); walk.Next();) {
    if (keys.Contains(walk.line)) continue;
    const LineKind kind = walk.Kind();
    if (kind != LineKind::kKey || !walk.IsDisabled())
      taker = NamesNothing(kind) ? taker : walk.disabled_header;
    else if (walk.disabled_header == kNoLine && taker != kNoLine)
      return taker;
  }
  return kNoLine;
}

std::size_t FindLoser(const LineTable& lines, std::size_t line) {
  std::size_t below = line;
  while (below < lines.size() && NamesNothing(lines.KindOf(below))) ++below;
  if (below >= lines.size() || lines.KindOf(below) != LineKind::kKey ||
      !lines.IsDisabled(below))
    return kNoLine;
  const std::size_t header = HeaderOf(lines, below);
  return header < line && lines.IsDisabled(header) ? header : kNoLine;
}

IniResult CheckEnabled(const LineTable& lines, std::size_t key) {
  const std::size_t taken = lines.ContinuationAt(key + 1);
  if (taken == kNoLine || (taken == key + 1 && lines.CouldContinue(taken)))
    return {};
  return Malformed(taken, "the enabled value would continue on this line");
}

IniResult CheckEnabledTop(const LineTable& lines) {
  const std::size_t end = TopBlock(lines).end;
  for (std::size_t line = 0; line < end; ++line) {
    if (!IsActiveKey(lines, line)) continue;
    if (const IniResult result = CheckEnabled(lines, line); !result.IsOk())
      return result;
  }
  return {};
}

// Of many parts one below the other, each line is visited once.
IniResult CheckEnabledBlocks(const LineTable& lines, const Blocks& blocks) {
  std::size_t next = 0;     // The active line below a part, perhaps of several.
  std::size_t checked = 0;  // Up to here, there is no other line.
  for (const std::size_t number : blocks) {
    const Block block = BlockAt(lines, number);
    if (next < block.end) next = NextActive(lines, block.end);
    if (next < lines.size() && lines.KindOf(next) == LineKind::kKey)
      return Malformed(next, "this key would be in the enabled section");
    if (block.header == kTop) continue;
    const std::size_t other =
        FindOther(lines, std::max(block.begin, checked), next);
    if (other != kNoLine)
      return Malformed(other, "this line would be in the enabled section");
    checked = next;
  }
  return {};
}

std::size_t FindDisabledHeader(const LineTable& lines, const LineSet& keys) {
  for (LineWalk walk(lines); walk.Next();)
    if (keys.Contains(walk.line) && walk.disabled_header != kNoLine)
      return walk.disabled_header;
  return kNoLine;
}

IniResult CheckTopEnd(const LineTable& lines, const Block& block) {
  std::size_t below = block.header == kTop ? block.end : 0;
  while (below > 0 && !IsActiveKey(lines, below - 1)) --below;
  if (below == 0 || EndOfValue(lines, below) <= block.end) return {};
  return CheckValueEnd(lines, block.end - 1);
}

std::vector<std::uint32_t> ContinuedKeys(const LineTable& lines) {
  std::size_t count = 0;
  ForEachAmbiguity(lines, [&count](std::size_t, std::size_t) { ++count; });
  std::vector<std::uint32_t> keys;
  keys.reserve(count);
  ForEachAmbiguity(lines, [&](std::size_t, std::size_t key) {
    keys.push_back(IdOrNone(lines, key));
  });
  return keys;
}

std::size_t ChangedAmbiguity(const LineTable& lines,
                             const std::vector<std::uint32_t>& before) {
  std::size_t changed = kNoLine;
  std::size_t number = 0;
  ForEachAmbiguity(lines, [&](std::size_t, std::size_t key) {
    if (changed == kNoLine && before.at(number) != IdOrNone(lines, key))
      changed = number;
    ++number;
  });
  return changed;
}

std::size_t LineOfAmbiguity(const LineTable& lines, std::size_t number) {
  std::size_t found = kNoLine;
  ForEachAmbiguity(lines, [&](std::size_t line, std::size_t) {
    if (number-- == 0) found = line;
  });
  return found;
}

}  // namespace fairlead::internal
