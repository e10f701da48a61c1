// Walks over the lines of an INI text and knows the section of each. Not
// installed.

#ifndef FAIRLEAD_INI_LINE_WALK_H_
#define FAIRLEAD_INI_LINE_WALK_H_

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "fairlead/ini/line_set.h"
#include "fairlead/ini/line_table.h"

namespace fairlead::internal {

// In place of the header of a section that has none.
inline constexpr std::size_t kTop = SIZE_MAX - 1;      // Before any header.
inline constexpr std::size_t kNowhere = SIZE_MAX - 2;  // Below an unclosed one.

// A line, and what the lines above it say about it.
struct LineWalk {
  const LineTable* lines;
  std::size_t line = kNoLine;
  std::size_t header = kTop;              // The last one that opened a section.
  std::size_t disabled_header = kNoLine;  // Below it, in the live reading.
  bool has_comments = false;  // Above a line that is no record, in the other.

  explicit LineWalk(const LineTable& table) : lines(&table) {}

  // Moves to the next line; returns false at the end of what is read. Inline:
  // every search is a loop over it.
  bool Next() {
    return lines->reading() == IniReading::kLive ? NextLive() : NextRecords();
  }

  LineKind Kind() const { return lines->KindOf(line); }
  bool IsDisabled() const { return lines->IsDisabled(line); }
  // Returns whether the line is a header, a key or another record.
  bool IsEntry() const;
  // Returns the header of the section that the line belongs to, or kTop,
  // kNowhere; kNoLine for a record without a section.
  std::size_t Section() const;

 private:
  bool NextLive();
  bool NextRecords();
};

inline bool LineWalk::NextLive() {
  if (++line >= lines->size()) return false;
  const LineKind kind = Kind();
  if (kind == LineKind::kKey) {
    if (!IsDisabled()) disabled_header = kNoLine;
  } else if (kind == LineKind::kHeader && IsDisabled()) {
    disabled_header = line;
  } else if (kind == LineKind::kHeader || kind == LineKind::kUnclosedHeader) {
    header = kind == LineKind::kHeader ? line : kNowhere;
    disabled_header = kNoLine;
  }
  return true;
}

inline bool LineWalk::NextRecords() {
  if (line != kNoLine && IsEntry()) has_comments = false;
  if (++line >= lines->size()) return false;
  const LineKind kind = Kind();
  if (kind == LineKind::kHeader) header = line;
  if (kind == LineKind::kComment) has_comments = true;
  return kind != LineKind::kUnclosedHeader;
}

// Returns the entry in a line; `header` is that of its section.
IniEntry EntryAt(const LineTable& lines, std::size_t line, std::size_t header);

// A name to look for.
struct Wanted {
  std::string_view name;
  std::uint8_t hash;

  explicit Wanted(std::string_view text) : name(text), hash(HashOf(text)) {}

  // Returns whether the line, a closed header or a key, has the name.
  bool IsAt(const LineTable& lines, std::size_t line) const;
  // Returns false if the section that Section() returned has another name, but
  // not always: reads no text.
  bool MayBe(const LineTable& lines, std::size_t header) const;
  // Returns whether the section that Section() returned has the name.
  bool IsSection(const LineTable& lines, std::size_t header) const;
};

enum class Which {
  kAny,
  kActive,
  kDisabled,           // In an active section.
  kInDisabledSection,  // Disabled keys below a disabled header.
};

// Returns the lines of the keys with that name in a section.
LineSet KeyLines(const LineTable& lines, std::string_view section,
                 std::string_view key, Which which);

// Returns one of them: the Nth, or for 0 the one that counts, which is the last
// in the live reading and the first in the other. kNoLine if there is none.
std::size_t KeyLine(const LineTable& lines, std::string_view section,
                    std::string_view key, Which which, std::size_t index = 0);

// Returns the lines of the records of a section: its headers and keys, and all
// else that CIniFile counts to it. For the records reading.
LineSet RecordLines(const LineTable& lines, std::string_view section);

// The lines of a section from one header to the next, in the live reading.
struct Block {
  std::size_t header;  // kTop if it has none.
  std::size_t begin;   // The header; or line 0.
  std::size_t last;    // The last line of its keys, or `begin`, or kNoLine.
  std::size_t end;     // Behind the last line that belongs to it.
  bool has_key = false;
  bool has_active_key = false;
};

// Returns the part before the first header, without the disabled sections at
// its end.
Block TopBlock(const LineTable& lines);

// The parts of a section. A set has no place for a block, so a number stands
// for each: one more than the line of its header, or 0 if it has none.
using Blocks = LineSet;

// Returns the active parts of a section. The part before the first header
// counts if it has an active key.
Blocks ActiveBlocks(const LineTable& lines, std::string_view section);

// Returns the disabled parts of a section. For section "", also the part before
// the first header if it has only disabled keys.
Blocks DisabledBlocks(const LineTable& lines, std::string_view section);

// Returns the header of a block, or kTop.
inline std::size_t HeaderOfBlock(std::size_t number) {
  return number == 0 ? kTop : number - 1;
}

// Returns a block. The lines of a disabled section at the end of an active one
// are not its own.
Block BlockAt(const LineTable& lines, std::size_t number);

// Returns the first of the comment lines right above a line.
std::size_t CommentsBegin(const LineTable& lines, std::size_t line);

// Returns the comment lines above a record, back to the previous
// record; for the records reading.
LineSet RecordComments(const LineTable& lines, std::size_t line);

// Returns the comment lines that belong to an entry.
LineSet CommentsOf(const LineTable& lines, std::size_t line);

// Returns the header of the section of a key, as LineWalk::Section() does.
std::size_t HeaderOf(const LineTable& lines, std::size_t key);

// Returns the code for a name that no active line has, or no record.
IniResult::Code WhyMissing(const LineTable& lines, const IniName& name);

// Returns the first line of a block with the comments above it.
std::size_t BeginOfBlock(const LineTable& lines, const Block& block);

// Returns the end of the lines that belong to a block only: behind its last key
// and the comments there, unless these are those of the next header.
std::size_t EndOfBlock(const LineTable& lines, const Block& block);

// Returns the first header without `]`, or kNoLine.
std::size_t UnclosedHeader(const LineTable& lines);

// Returns the first header without `]` that has the name, or kNoLine.
std::size_t UnclosedHeader(const LineTable& lines, std::string_view section);

}  // namespace fairlead::internal

#endif  // FAIRLEAD_INI_LINE_WALK_H_
