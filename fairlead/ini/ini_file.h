// INI files as flat lists of records: the records, and the file they stand in.

#ifndef FAIRLEAD_INI_INI_FILE_H_
#define FAIRLEAD_INI_INI_FILE_H_

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "fairlead/export.h"

namespace fairlead {

/// An INI file as an ordered list of records, one for each section header and
/// each `key=value` line, with the comment lines that stood above it.
///
/// The static functions work on a file by its name: each reads the whole file,
/// and each that changes something writes the whole file again. Nothing is kept
/// between two calls. An object keeps one loaded list for repeated lookups; it
/// never writes.
///
/// @par What a file may hold
/// Lines end in LF; blanks (space, TAB, CR) around a line, a key or a value do
/// not count, so CRLF files read the same. Nothing is quoted or escaped, and
/// any byte but LF may stand in a name or a value, zero included. Names are
/// compared byte by byte, upper and lower case apart.
/// @code{.ini}
/// # A comment: it belongs to the header or key that follows.
/// [server]
/// port = 7000
/// ;host = example.org    a disabled key: a comment character before a key
/// ;[backup]              a disabled header
/// @endcode
///
/// @par What loading and saving changes
/// A file that was loaded and saved is normalised. Blank lines go; so do blanks
/// around lines and around the first `=`, and CR at line ends. Text after the
/// `]` of a header goes. Comment lines move down to the next header or key, and
/// those after the last one are lost. Saving what was loaded from a saved file
/// writes the same bytes again: one pass changes all there is to change.
///
/// @par Damage to know about
/// Load() takes every line for something, and the next Save() makes it so:
/// - A line that is no comment, no header and holds no `=` becomes a record
///   with neither section nor key, written back as `[]`. Its text is lost, and
///   the keys that follow are in the section "" when the file is loaded again.
///   Where comments stand above such a line, it vanishes instead.
/// - A comment that holds `=` or `[` anywhere is taken for a disabled line:
///   `# see a=b` is the disabled key `see a`, and `# see [1]` is a disabled
///   line of the kind just described, written back as `#[]`.
/// - A line with nothing before its `=` has an empty key, which makes it a
///   header of its section: its value is lost, `[section]` is written.
/// - A header without `]` is refused: see Load().
///
/// Nothing is checked on the way out either. A list made by hand can hold what
/// a file cannot (an LF in a value, a key that begins with `#`); it is written
/// as it is, and reads back as those bytes read.
///
/// @par Thread safety
/// None: one thread per object, and the static functions do not lock the file.
/// Of two writers, in one process or two, the last wins.
class FAIRLEAD_EXPORT CIniFile {
 public:
  /// One line of the file, with the comments above it.
  ///
  /// A record with an empty `Key` is a section header.
  struct Record {
    /// The comment lines above the line, trimmed, with their leading `#` or
    /// `;`, an LF after each; empty where there are none.
    std::string Comments;
    /// ' ' for an active line; the comment character of a disabled one.
    char Commented = ' ';
    /// The section's name: of this header, or of the last header before this
    /// key; empty for a key before any header.
    std::string Section;
    std::string Key;    ///< The key's name; empty for a section header.
    std::string Value;  ///< The value; empty for a section header.
  };

  /// The two characters that begin a comment or disable a line.
  enum CommentChar : char { Hash = '#', Semicolon = ';' };

  /// Finds records of one section, its header included.
  ///
  /// @code
  /// std::vector<fairlead::CIniFile::Record> records;
  /// fairlead::CIniFile::Load("tool.ini", records);
  /// const auto found = std::find_if(
  ///     records.begin(), records.end(),
  ///     fairlead::CIniFile::RecordSectionIs{"net"});
  /// @endcode
  struct RecordSectionIs {
    std::string section;  ///< The name, compared exactly.

    /// Whether the record is of that section.
    bool operator()(const Record& record) const {
      return record.Section == section;
    }
  };

  /// Finds the records of one key in one section; with an empty key, the
  /// section's headers.
  struct RecordSectionKeyIs {
    std::string section;  ///< The section's name, compared exactly.
    std::string key;      ///< The key's name, compared exactly.

    /// Whether the record is of that section and key.
    bool operator()(const Record& record) const {
      return record.Section == section && record.Key == key;
    }
  };

  /// Replaces `content` by the records of a file.
  ///
  /// @return true, always. A file that cannot be opened leaves `content` as it
  ///     was, not emptied: whoever must tell a missing file from an empty one
  ///     has to ask the file system. What opens but cannot be read, such as a
  ///     directory, reads as far as its last whole line.
  /// @throws std::out_of_range ("basic_string::erase") at a header without `]`,
  ///     disabled or not: such a file is not repaired. `content` then holds the
  ///     records before that line.
  /// @par Cost
  /// Linear in the file, which is read at once; memory for it and its records.
  /// @par Example
  /// @code
  /// std::vector<fairlead::CIniFile::Record> records;
  /// fairlead::CIniFile::Load("tool.ini", records);
  /// for (const fairlead::CIniFile::Record& record : records)
  ///   std::printf("%s: %s\n", record.Key.c_str(), record.Value.c_str());
  /// @endcode
  static bool Load(const std::string& file_name, std::vector<Record>& content);

  /// Writes the records into a file, in place of what it held.
  ///
  /// For each record: its comments as they are, then, after the comment
  /// character of a disabled one, `key=value` or `[section]`, and an LF. For
  /// each disabled record "<#> " (with its comment character) goes to standard
  /// output.
  ///
  /// @return whether the file could be opened. When the disk fills up the
  ///     result is still true: the file ends where writing failed.
  /// @par Cost
  /// One write to the kernel per record, so that a reader sees whole records.
  /// The file is rewritten in place: a process killed meanwhile leaves half.
  static bool Save(const std::string& file_name,
                   const std::vector<Record>& content);

  /// Makes the file exist and be empty.
  ///
  /// @return whether the file could be opened
  static bool Create(const std::string& file_name);

  /// The text that Save() would write for the records of a file; "" where the
  /// file cannot be opened. Prints nothing.
  ///
  /// @throws std::out_of_range as Load() does
  static std::string Content(const std::string& file_name);

  /// An object with an empty list, nothing loaded.
  CIniFile();
  CIniFile(const CIniFile&) = delete;
  CIniFile& operator=(const CIniFile&) = delete;
  /// Deletes the list; an object may be deleted through a pointer to a base.
  virtual ~CIniFile();

  /// Replaces the object's list by the records of a file, or by nothing where
  /// the file cannot be opened, and starts the lookup statistics afresh.
  ///
  /// @return true, always, as the static Load() does
  /// @throws std::out_of_range as the static Load() does. The object is then
  ///     as a new one: the list is empty, `loaded` is false.
  bool Load(std::string file_name);

 private:
  std::unique_ptr<std::vector<Record>> records_;  // Never null.

 public:
  bool loaded = false;  ///< What the last member Load() returned.
  /// Where in the list the last successful lookup found its record; the end
  /// of the list where nothing was found since the last member Load().
  std::vector<Record>::iterator cursor;
  std::int32_t rediscovered = 0;  ///< Lookups that only a second pass answered.
  std::int32_t researches = 0;    ///< Second passes made.
  std::int32_t searches = 0;      ///< All lookups since the last member Load().
  std::string lastLookup;         ///< "section/key" of the previous lookup.
  bool trace = false;  ///< Whether lookups of values print a line each.
};

}  // namespace fairlead

#endif  // FAIRLEAD_INI_INI_FILE_H_
