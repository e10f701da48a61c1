// The text of an INI file, edited without changing any other byte.

#ifndef FAIRLEAD_INI_INI_DOCUMENT_H_
#define FAIRLEAD_INI_INI_DOCUMENT_H_

#include <cstddef>
#include <functional>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "fairlead/export.h"

namespace fairlead {

class IniKeys;

namespace internal {
class LineTable;
}

/// What the lines of a text mean. docs/ini-format.md describes both readings.
enum class IniReading {
  /// As most programs read the file. Comments are comments: they have no effect
  /// on other lines. Of duplicates, the last one counts.
  kLive,
  /// As CIniFile reads it: a line disabled by a comment character is found,
  /// opens a section and counts like any other. Of duplicates, the first one
  /// counts.
  kRecords,
};

/// Names a section, or a key in it. Names are case-sensitive. Section "" holds
/// the keys before the first header.
struct IniName {
  std::string_view section;
  std::optional<std::string_view> key = {};  ///< Trimmed when it is used.
  /// Which of several keys of this name: 1 for the first. 0 for the one that
  /// counts; IniDocument::Delete(), Disable() and Rename() then edit them all
  /// in the live reading. Enable() counts the disabled keys there, all other
  /// functions the active ones.
  std::size_t index = 0;
};

/// Where IniDocument::Add() puts a new line.
struct IniPlace {
  enum class Where {
    /// A section goes to the end of the file. A key goes to the end of its
    /// section, or below a disabled key of its name; in the records reading,
    /// below the header of its section.
    kDefault,
    kFirst,   ///< Below the header; a section before all others.
    kBefore,  ///< Above `name` and the comments above that.
    kAfter,   ///< Below `name`; a section below the lines of `name`.
  };
  Where where = Where::kDefault;
  /// A key of the same section, trimmed when it is used, or a section.
  std::string_view name = {};
};

/// A header or a key, as IniDocument::begin() and Find() return it. The views
/// are valid until the document is destroyed or an edit is tried; an edit takes
/// them as arguments.
struct IniEntry {
  std::string_view section = {};
  std::string_view key = {};    ///< Empty for a header.
  std::string_view value = {};  ///< Trimmed.
  char mark = ' ';       ///< The character that disables it; ' ' if active.
  std::size_t line = 0;  ///< From 1; 0 for a section without a header.

  bool IsHeader() const noexcept { return key.empty(); }
  bool IsDisabled() const noexcept { return mark != ' '; }
};

/// What an edit or a search of an IniDocument came to.
struct IniResult {
  enum class Code {
    kDone,       ///< Found; or the edit was made.
    kUnchanged,  ///< The text was so already.
    kNoSection,  ///< The section does not exist.
    kNoKey,      ///< The section exists, but not the key, or not at this index.
    kDisabled,   ///< Only disabled ones exist. (Live reading.)
    kExists,     ///< There is one of the new name already, in `line`.
    kNoHeader,   ///< The keys before the first header have none to edit.
    kInvalid,    ///< A name or text does not fit into a line: see `reason`.
    kMalformed,  ///< `line` does not allow the edit: see `reason`.
  };
  Code code = Code::kDone;
  std::size_t line = 0;  ///< For kExists and kMalformed, from 1; else 0.
  /// For kInvalid and kMalformed, a static clause such as "a key cannot contain
  /// '='"; else empty.
  std::string_view reason = {};

  /// Returns whether the document is now as asked.
  bool IsOk() const noexcept {
    return code == Code::kDone || code == Code::kUnchanged;
  }
};

/// The result of IniDocument::Find().
struct IniFound {
  IniResult::Code code = IniResult::Code::kDone;
  IniEntry entry = {};  ///< If `code` is kDone, or kDisabled.

  explicit operator bool() const noexcept {
    return code == IniResult::Code::kDone;
  }
};

/// The text of an INI file. Edits keep every byte that they are not about:
/// comments, blank lines, order, indentation, spaces around `=`, line ends, a
/// byte order mark, and lines that are neither comment, header nor key.
///
/// Text() of an unedited document is the input, for any bytes. An edited line
/// keeps its own indentation, spaces and line end; a new line takes those of
/// its neighbours. A document reads and writes no file (EditFile() does),
/// prints nothing and has no global state.
/// @code
/// fairlead::IniDocument document("[server]\n  port = 80  \n#tls=on\n");
/// document.Set({"server", "port"}, "7000");
/// document.Enable({"server", "tls"});
/// std::string text = document.Text();
/// // text == "[server]\n  port = 7000  \ntls=on\n"
/// @endcode
/// @par Edits
/// Each returns what it did, and changes nothing unless that is kDone. Keys and
/// values are trimmed. In the live reading, an indented line that is neither
/// comment, header nor key continues the value above it, also below blank lines
/// and comments: such a value is read only up to there, and to set, delete or
/// disable its key is kMalformed. So is an edit that would change what another
/// line means: that would make a line continue a value, move keys, disabled
/// ones too, or lines that are no INI into another section, or make what a line
/// begins with the byte order mark of the text.
/// @par Errors
/// Throws std::bad_alloc, and std::length_error when a text and all its edits
/// reach 4 GiB; the document is then unchanged. Nothing else.
/// @par Thread safety
/// A plain value: one thread per object, or any number of readers. One that was
/// moved from can only be assigned to and destroyed.
/// @par Cost
/// The constructor reads the text once and takes a byte per line and some tenth
/// of the text besides, or less. A search or an edit visits each line once or
/// twice, in some three nanoseconds.
///
/// Memory: about twice the text. Exceptions: an edit of many lines among lines
/// of one or two bytes; renaming many keys or enabling what an edit has
/// disabled (plus up to three times the new lines); and 4 bytes per indented
/// header without `]`.
class FAIRLEAD_EXPORT IniDocument {
 public:
  class Iterator;

  /// Reads a text; any bytes will do.
  explicit IniDocument(std::string text = {},
                       IniReading reading = IniReading::kLive);
  IniDocument(const IniDocument& other);
  IniDocument(IniDocument&& other) noexcept;
  IniDocument& operator=(const IniDocument& other);
  IniDocument& operator=(IniDocument&& other) noexcept;
  ~IniDocument();

  /// Returns the text.
  std::string Text() const;

  /// Returns the text that the constructor got. The view is valid as long as
  /// the document.
  std::string_view OriginalText() const noexcept;

  /// Passes the text on in pieces, without a copy of the whole. Each is whole
  /// lines, or the byte order mark; lines that no edit has changed are passed
  /// as parts of OriginalText().
  void ForEachPiece(
      const std::function<void(std::string_view piece)>& take) const;

  /// Returns whether an edit was kDone. Edits that undo each other can have
  /// left the text as it was.
  bool IsEdited() const noexcept;

  /// The headers and keys in the order of the text, disabled ones included. In
  /// the live reading, keys below a disabled header that are disabled too are
  /// those of its section.
  Iterator begin() const;
  Iterator end() const;

  /// Finds a section (its first header) or a key.
  IniFound Find(const IniName& name) const;

  /// Returns the value of a key that is found, or nothing.
  std::optional<std::string_view> Value(std::string_view section,
                                        std::string_view key) const;

  /// Returns the comment lines above an entry, with their newlines: in the live
  /// reading up to a blank line, in the records reading up to the entry above.
  std::string Comments(const IniEntry& entry) const;

  /// Returns the lines on which the value of an entry continues, as they are in
  /// the text; "" if its own line holds it all, and in the records reading.
  std::string Continuation(const IniEntry& entry) const;

  /// Returns the lines of a section or key and the comments above, as they are
  /// in the text; "" if it is not found.
  std::string TextOf(const IniName& name) const;

  /// Passes the same text on line by line, without a copy of the whole.
  void ForEachLineOf(
      const IniName& name,
      const std::function<void(std::string_view line)>& take) const;

  /// Returns the number of the first header without `]`, or 0. In the live
  /// reading, the keys below it belong to no section. An edit is kMalformed if
  /// only such a header has the section's name, or if one is indented and may
  /// continue the key's value. In the records reading, what follows is not
  /// read, and every edit is kMalformed.
  std::size_t UnclosedHeader() const;

  /// Sets the value of a key. Creates the key and the section if there are
  /// none. In the live reading, a key that is only disabled stays so: an active
  /// line is added below it.
  IniResult Set(const IniName& name, std::string_view value);

  /// Adds a section, or a key to a section that is created if there is none.
  /// kExists if there is one of that name.
  IniResult Add(const IniName& name, std::string_view value = {},
                const IniPlace& place = {});

  /// Deletes a section or key and the comments above it.
  IniResult Delete(const IniName& name);

  /// Turns a disabled key or section on: in the live reading, its lines are
  /// then as they were before Disable(). Does nothing, kUnchanged, if there is
  /// an active one.
  IniResult Enable(const IniName& name);

  /// Puts a comment character before a key, or before the header and the keys
  /// of a section. In the live reading, a key of several words gets the other
  /// character too, since its line would be prose with one; what is disabled
  /// already gets one more, so that Enable() leaves it disabled; and a section
  /// is kExists if a disabled one has its name.
  /// @param mark `#` or `;`; else kInvalid
  IniResult Disable(const IniName& name, char mark = '#');

  /// Renames a key or section. kExists if there is one of the new name.
  IniResult Rename(const IniName& name, std::string_view new_name);

  /// Replaces the comment lines above a key or a header.
  /// @param comments lines; "# " is put before one that is not a comment. Empty
  ///     to delete them. kInvalid if one would be a disabled key or header.
  IniResult Comment(const IniName& name, std::string_view comments);

 private:
  friend class IniKeys;

  std::unique_ptr<internal::LineTable> lines_;  // Null only when moved from.
};

/// Iterates over the entries of a document, which must not be edited meanwhile.
class FAIRLEAD_EXPORT IniDocument::Iterator {
 public:
  using iterator_category = std::input_iterator_tag;
  using value_type = IniEntry;
  using difference_type = std::ptrdiff_t;
  using pointer = const IniEntry*;
  using reference = const IniEntry&;

  reference operator*() const { return entry_; }
  pointer operator->() const { return &entry_; }
  Iterator& operator++();
  Iterator operator++(int);
  friend bool operator==(const Iterator& a, const Iterator& b) {
    return a.line_ == b.line_;
  }

 private:
  friend class IniDocument;
  Iterator(const internal::LineTable& lines, bool at_end);

  const internal::LineTable* lines_;
  std::size_t line_;             // That of the entry, from 0.
  std::size_t header_;           // That its section begins with.
  std::size_t disabled_header_;  // If it is disabled too.
  bool has_comments_ = false;    // Since the last entry.
  IniEntry entry_;
};

}  // namespace fairlead

#endif  // FAIRLEAD_INI_INI_DOCUMENT_H_
