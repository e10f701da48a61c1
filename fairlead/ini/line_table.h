// A text as a table of its lines. Not installed.

#ifndef FAIRLEAD_INI_LINE_TABLE_H_
#define FAIRLEAD_INI_LINE_TABLE_H_

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "fairlead/ini/ini_document.h"
#include "fairlead/ini/ini_line.h"
#include "fairlead/ini/line_code.h"
#include "fairlead/ini/line_places.h"
#include "fairlead/ini/line_set.h"

namespace fairlead::internal {

inline constexpr std::size_t kNoLine = SIZE_MAX;

// The byte order mark that may begin a text.
inline constexpr std::string_view kUtf8Mark = "\xef\xbb\xbf";

// The lines of a text, each with what it means. A byte for a line, and one more
// once an edit disables or enables lines: a large file must not take several
// times its size, however short its lines are and how many change. So where a
// line begins is searched for, not stored.
//
// A line is numbered from 0 and includes its newline.
class LineTable {
 public:
  // Throws std::length_error for a text of 4 GiB or more.
  LineTable(std::string text, IniReading reading);

  IniReading reading() const { return reading_; }
  bool edited() const { return edited_; }
  // Returns the text that the constructor got.
  std::string_view original() const { return text_; }
  // Returns whether there can be a header without `]`.
  bool has_unclosed() const { return has_unclosed_; }
  std::size_t size() const { return codes_.size(); }

  LineKind KindOf(std::size_t line) const { return MeaningOf(line).kind; }
  bool IsDisabled(std::size_t line) const { return MeaningOf(line).disabled; }
  // Of the name of a key or header, which must be closed.
  std::uint8_t HashAt(std::size_t line) const { return MeaningOf(line).hash; }

  // Returns a number that no other line has. Replace() changes it.
  std::uint32_t IdOf(std::size_t line) const {
    return static_cast<std::uint32_t>(BeginOf(line));
  }

  // Returns a copy of a line.
  std::string TextOf(std::size_t line) const;
  // Returns a line without a copy if it is in one piece, or else in the buffer.
  // The view is valid until the next edit.
  std::string_view ViewOf(std::size_t line, std::string& buffer) const;
  bool IsIndented(std::size_t line) const;
  // Reads a line again: the table keeps only its kind. The views are valid
  // until the next edit, or as long as `text`, which is that of the line.
  IniLine Read(std::size_t line) const;
  IniLine Read(std::size_t line, std::string_view text) const;
  // Returns the line that continues the value of a key above `line`, which is
  // there or below blank lines and comments; kNoLine if the value is all in the
  // key's line.
  std::size_t ContinuationAt(std::size_t line) const;
  // Returns whether an indented line inserted here could continue the value
  // above it, which ends with a backslash.
  bool CouldContinue(std::size_t line) const;

  // Returns the byte order mark at the beginning of the text, or "".
  std::string_view ByteOrderMark() const;
  // Returns "\n" or "\r\n": that of the line, or if it has none, of the first.
  std::string_view NewlineOf(std::size_t line) const;

  std::size_t TextSize() const;

  // Passes the text on in pieces that are as long as possible, or for lines
  // with changed marks, as a buffer.
  template <typename Take>
  void ForEachPiece(Take take) const {
    if (!ByteOrderMark().empty()) take(ByteOrderMark());
    std::string buffer;
    for (std::size_t line = 0; line < size();) {
      if (!HasNewMarks(line)) {
        take(PieceAt(line));
        continue;
      }
      buffer.clear();
      while (line < size() && HasNewMarks(line) && buffer.size() < kBufferSize)
        AppendMarked(line++, buffer);
      take(std::string_view(buffer));
    }
  }

  // An edit is a sequence of these, then Keep() or Undo(). Each throws
  // std::length_error if the texts of all edits together reach 4 GiB.

  // Inserts a line, with its newline, before `line`, or at the end. There, if
  // the text does not end in a newline, it still does not.
  void Insert(std::size_t line, std::string_view text);
  void Replace(std::size_t line, std::string_view text);
  void Erase(const LineSet& gone);
  // Replaces `removed` bytes, from the first one on that is not blank, by
  // comment characters. Copies the line only if its marks were changed before.
  void ChangeMarks(std::size_t line, std::size_t removed,
                   std::string_view marks);

  // Ends an edit. One that changes what another line means is undone, and
  // kMalformed: a value above that line ends with a backslash, or the line
  // begins with a byte order mark and would be the first one.
  IniResult Keep();
  // Restores the lines since the last edit that was kept.
  void Undo() noexcept;

 private:
  // The new marks of a line: from the first byte on that is not blank, it has
  // these of kMarks for so many bytes.
  struct Marks {
    std::uint8_t marks;
    std::uint8_t removed;
  };

  // What an edit that is not kept yet has changed, as it was.
  struct Saved {
    Saved(LinePlaces old, std::optional<std::size_t> old_open, std::size_t line,
          std::size_t lines_below)
        : places(std::move(old)),
          open(old_open),
          begin(line),
          rest(lines_below) {}

    LinePlaces places;
    std::optional<std::size_t> open;
    std::size_t begin;                    // From here on,
    std::size_t rest;                     // but for so many lines at the end:
    std::deque<std::uint8_t> codes = {};  // needs no copy to grow.
  };

  // About as much as is written at once.
  static constexpr std::size_t kBufferSize = std::size_t{1} << 16;
  static constexpr std::uint8_t kIsNew = 128;  // Marks that are not kept yet.

  const LineMeaning& MeaningOf(std::size_t line) const {
    return kLineMeanings[codes_[line]];
  }
  auto At(std::size_t line) {
    return codes_.begin() + static_cast<std::ptrdiff_t>(line);
  }
  // The bytes from a place on: in text_, or in added_ behind it.
  std::string_view BytesAt(std::size_t begin) const;
  std::size_t BeginOf(std::size_t line) const;
  std::uint8_t MarksAt(std::size_t number) const {
    return number < marks_.size() ? marks_[number] : std::uint8_t{0};
  }
  bool HasNewMarks(std::size_t line) const {
    return !marks_.empty() && MarksAt(places_.At(line).number) != 0;
  }
  // Returns whether the line is without the newline that follows in added_.
  bool IsOpen(std::size_t line) const {
    return open_ && line + 1 == size() && BeginOf(line) == *open_;
  }
  // `above` is the line above it, or kNoLine, also if there are others between.
  bool IsJoined(std::size_t line, std::size_t above) const;
  std::uint8_t NewCodeOf(std::size_t line, std::size_t above);
  template <typename TextAbove>
  std::uint8_t NewCodeOf(std::string_view text, std::size_t above,
                         const TextAbove& text_above);
  bool Swallows(std::size_t line, std::string_view text) const;
  // Returns the bytes of a line without its new marks.
  std::string_view SourceOf(std::size_t line) const;
  // Each returns a piece that begins with a line, which becomes the next: one
  // of a few lines, and the longest.
  std::string_view RunAt(std::size_t& line) const;
  std::string_view PieceAt(std::size_t& line) const;
  void AppendMarked(std::size_t line, std::string& text) const;
  bool CanTake(std::size_t line, std::size_t removed,
               std::string_view marks) const;
  std::size_t Added(std::string_view text);
  void Save(std::size_t begin, std::size_t end);
  IniLine ReadAlone(std::string_view text) const;
  void CheckChanged(std::size_t line, LineKind old, std::size_t old_begin,
                    bool was_joined);
  void CheckBelow(std::size_t line, std::size_t above, bool was_joined);
  bool HasNewByteOrderMark() const;
  // Returns the first line if none begins there: then it was replaced.
  std::size_t LineBeginningAt(std::size_t begin) const;

  IniReading reading_;
  bool edited_ = false;
  bool has_unclosed_ = false;
  std::string text_;
  std::string added_;     // The lines that edits have made,
  std::size_t kept_ = 0;  // and the size of those that were kept.
  LinePlaces places_;
  std::vector<std::uint8_t> codes_;  // What CodeOf() the lines returned.
  std::vector<std::uint8_t> marks_;  // By number; none if no line has any.
  std::optional<std::size_t> open_;  // Where the last line begins, if open.

  // Of an edit that is not kept yet.
  std::optional<Saved> saved_;
  std::optional<std::size_t> conflict_;  // Where the line begins.
};

}  // namespace fairlead::internal

#endif  // FAIRLEAD_INI_LINE_TABLE_H_
