// A text as a table of its lines. Not installed.

#ifndef FAIRLEAD_INI_LINE_TABLE_H_
#define FAIRLEAD_INI_LINE_TABLE_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "fairlead/ini/ini_document.h"
#include "fairlead/ini/ini_line.h"

namespace fairlead::internal {

inline constexpr std::size_t kNoLine = SIZE_MAX;

// The byte order mark that may begin a text.
inline constexpr std::string_view kUtf8Mark = "\xef\xbb\xbf";

// Returns a number that equal names share and most others do not.
std::uint16_t HashOf(std::string_view name);

// The lines of a text, each with what it means. Eight bytes for a line: a large
// file must not take several times its size, also when every line of it is
// disabled or enabled. So the end of a line is searched for, not stored.
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
  std::size_t size() const { return lines_.size(); }

  LineKind KindOf(std::size_t line) const { return lines_[line].kind; }
  bool IsDisabled(std::size_t line) const { return lines_[line].disabled; }
  // Of the name of a key or header, which must be closed.
  std::uint16_t HashAt(std::size_t line) const { return lines_[line].hash; }

  // Returns a number that no other line has. Replace() changes it.
  std::uint32_t IdOf(std::size_t line) const { return lines_[line].begin; }

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
    for (std::size_t line = 0; line < lines_.size();) {
      if (!lines_[line].HasNewMarks()) {
        take(PieceAt(line));
        continue;
      }
      buffer.clear();
      while (line < lines_.size() && lines_[line].HasNewMarks() &&
             buffer.size() < kBufferSize)
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
  void Erase(std::size_t begin, std::size_t end);
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
  struct Line {
    explicit Line(std::size_t at) : begin(static_cast<std::uint32_t>(at)) {}

    bool HasNewMarks() const { return removed != 0 || marks != 0; }

    std::uint32_t begin;  // In text_, or in added_ behind it.
    std::uint16_t hash = 0;
    LineKind kind : 3 = LineKind::kBlank;
    bool disabled : 1 = false;
    bool is_open : 1 = false;  // Without the newline that follows in added_.
    // From the first byte on that is not blank:
    std::uint8_t marks : 3 = 0;  // the line has these of kMarks
    std::uint8_t removed = 0;    // for this many bytes.
  };
  static_assert(sizeof(Line) == 8);

  // Lines that are inserted in place of others, the last ones in erased_; or
  // lines among which those with new marks have got them.
  struct Change {
    std::size_t line;
    std::size_t inserted;
    std::size_t erased;
    std::size_t marked = 0;
  };

  // About as much as is written at once.
  static constexpr std::size_t kBufferSize = std::size_t{1} << 16;

  auto At(std::size_t line) {
    return lines_.begin() + static_cast<std::ptrdiff_t>(line);
  }
  // Returns whether the line is below a value that ends with a backslash, and
  // indented: an active key or header there is a part of the value.
  bool IsSwallowed(std::size_t line) const;
  // Returns whether the line is no INI and continues a value right above it
  // that ends with a backslash.
  bool IsJoined(std::size_t line) const;
  // Returns the bytes of a line without its new marks.
  std::string_view SourceOf(std::size_t line) const;
  // Returns the longest piece that begins with a line. `line` becomes the next.
  std::string_view PieceAt(std::size_t& line) const;
  void AppendMarked(std::size_t line, std::string& text) const;
  bool CanTake(std::size_t line, std::size_t removed,
               std::string_view marks) const;
  Line Added(std::string_view text);
  void Note(std::size_t begin, std::size_t end, std::size_t inserted);
  void NoteMarks(std::size_t line);
  void RestoreMarks(std::size_t begin, std::size_t end) noexcept;
  IniLine ReadAlone(std::string_view text) const;
  static void SetMeaning(Line& line, const IniLine& read);
  void Classify(std::size_t line);
  void CheckChanged(std::size_t line, const Line& old, bool was_joined);
  void CheckBelow(std::size_t line, bool was_joined);
  bool HasNewByteOrderMark() const;
  // Returns the first line if none begins there: then it was replaced.
  std::size_t LineBeginningAt(std::uint32_t begin) const;

  IniReading reading_;
  bool edited_ = false;
  bool has_unclosed_ = false;
  std::string text_;
  std::string added_;     // The lines that edits have made,
  std::size_t kept_ = 0;  // and the size of those that were kept.
  std::vector<Line> lines_;

  // Of an edit that is not kept yet.
  std::vector<Change> changes_;
  std::vector<Line> erased_;
  std::optional<std::uint32_t> conflict_;  // Where the line begins.
};

}  // namespace fairlead::internal

#endif  // FAIRLEAD_INI_LINE_TABLE_H_
