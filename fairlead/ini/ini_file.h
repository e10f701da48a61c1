// INI files as lists of records, and the operations on them.

#ifndef FAIRLEAD_INI_INI_FILE_H_
#define FAIRLEAD_INI_INI_FILE_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "fairlead/export.h"

namespace fairlead {

/// An INI file as an ordered list of records: one for each section header and
/// each `key=value` line, with the comment lines above it. docs/ini-format.md
/// describes the format, what a save normalises, and what damage turns into.
///
/// The static functions take the name of a file. Each reads the whole file, and
/// an edit also rewrites it. An object keeps one loaded list for repeated
/// lookups and never writes it. The key precedes the section, except in
/// GetValueDef() and profile.h.
/// @code
/// fairlead::CIniFile::SetValue("port", "7000", "server", "lab.ini");
/// fairlead::CIniFile lab;
/// lab.Load("lab.ini");
/// std::string port = lab.GetValueDef("server", "port", "80");
/// // port == "7000"
/// @endcode
/// @par Rules for every function that takes a file
/// - A missing or unreadable file counts as empty. Queries create no file; an
///   edit creates it when it saves. An edit of a file that can be written but
///   not read therefore replaces all its contents.
/// - A header without `]` anywhere in the file makes every function except
///   Save() and Create() throw what Load() throws, with nothing written. A
///   failed allocation throws std::bad_alloc, and leaves the file unchanged.
/// - Names match byte for byte. To find a record means to take the first one,
///   disabled or not, of that section and key; an empty key finds the header.
/// - The records of a section are all that have its name, headers included.
/// - An edit returns what Save() returns. CommentRecord(), UnCommentRecord(),
///   DeleteRecord() and the setters of comments return false and save nothing
///   if the record is not found; all others save even if nothing matches.
/// - Strings are written verbatim, and any byte is allowed. One that a line
///   cannot hold reads back as something else or makes the file unloadable.
/// - A file is never opened as descriptor 0, 1 or 2, even if these are closed.
/// - The cost is linear in the file, plus that of a Save() for an edit.
///
/// @par Threads and fork
/// One thread per object. Nothing is open or locked between calls: of two
/// writers, in one process or in two, the last one wins. All functions work in
/// constructors and destructors of static objects.
class FAIRLEAD_EXPORT CIniFile {
 public:
  /// A section header (`Key` is empty) or a key, with the comments above it.
  struct Record {
    std::string Comments;  ///< Comment lines with their `#` or `;`, LF each.
    char Commented = ' ';  ///< ' ' if active, else the disabling character.
    std::string Section;   ///< That of the last header; "" before any header.
    std::string Key;       ///< The key's name; empty for a section header.
    std::string Value;     ///< The value; for a header read from `=x`, x.
  };

  /// The two characters that begin a comment or disable a line.
  enum CommentChar : char { Hash = '#', Semicolon = ';' };

  /// Predicate: matches the records of a section, its headers included.
  struct RecordSectionIs {
    std::string section;

    bool operator()(const Record& record) const {
      return record.Section == section;
    }
  };

  /// Predicate: matches the records of a key, or the headers for an empty key.
  struct RecordSectionKeyIs {
    std::string section;
    std::string key;

    bool operator()(const Record& record) const {
      return record.Section == section && record.Key == key;
    }
  };

  /// Replaces `content` with the records of a file. Takes memory for the whole
  /// text as well. Returns true, always. If the file cannot be opened, keeps
  /// `content`. A read error ends the file at its last whole line.
  /// @throws std::out_of_range ("basic_string::erase") at a header without `]`,
  ///     disabled or not; `content` then holds the records before it
  static bool Load(const std::string& file_name, std::vector<Record>& content);

  /// Replaces the contents of a file with records. For each one, writes its
  /// comments, its disabling character, if any, `key=value` or `[section]`, and
  /// an LF; if disabled, prints "<#> " (that character) to standard output.
  /// Makes one `write` per record, in place: readers see whole records, and a
  /// killed process leaves a part of the file. At RLIMIT_FSIZE, the file ends
  /// as on a full disk, and SIGXFSZ by default ends the program.
  /// @return whether the file could be opened and emptied; if not, it is
  ///     unchanged and nothing is printed. True on a full disk: the file ends
  ///     where the write failed.
  static bool Save(const std::string& file_name,
                   const std::vector<Record>& content);

  /// Creates or truncates the file; returns whether that succeeded.
  static bool Create(const std::string& file_name);

  /// Returns what Save() would write for the records of a file; "" if none.
  static std::string Content(const std::string& file_name);

  /// Adds a header at the end of the file, even if the section exists: call
  /// SectionExists() first. SetValue() puts keys under the first header.
  static bool AddSection(std::string_view section_name,
                         const std::string& file_name);

  /// Renames a section. If the new name exists, the two become one section.
  /// Renaming "" renames `[]`; keys before any header stay in section "".
  static bool RenameSection(std::string_view old_section_name,
                            std::string_view new_section_name,
                            const std::string& file_name);

  /// Disables all records of a section; those already disabled get this
  /// character instead. One that is not a CommentChar is written, too, but
  /// does not disable: mostly it reads back as part of the name.
  static bool CommentSection(char cc, std::string_view section_name,
                             const std::string& file_name);

  /// Enables all records of a section.
  static bool UnCommentSection(std::string_view section_name,
                               const std::string& file_name);

  /// Removes all records of a section, with their comments.
  static bool DeleteSection(std::string_view section_name,
                            const std::string& file_name);

  /// Replaces the comments above the first header of a section.
  /// @param comments lines that each begin with `#` or `;`, or "" for none. A
  ///     text of two or more characters gets an LF appended, even if it ends in
  ///     one (the next load drops the empty line). A single character gets no
  ///     LF and joins the line below: `#` disables an active header and
  ///     corrupts a disabled one. Other lines read back as what they spell.
  static bool SetSectionComments(std::string_view comments,
                                 std::string_view section_name,
                                 const std::string& file_name);

  /// Returns all headers in file order, disabled ones and duplicates included.
  static std::vector<Record> GetSections(const std::string& file_name);

  /// Returns a section's keys, in file order, disabled or not.
  static std::vector<Record> GetSection(std::string_view section_name,
                                        const std::string& file_name);

  /// Returns the names of all headers, as GetSections() returns them.
  static std::vector<std::string> GetSectionNames(const std::string& file_name);

  /// Returns whether the section has a record, active or disabled. Section ""
  /// exists if a key precedes the first header.
  static bool SectionExists(std::string_view section_name,
                            const std::string& file_name);

  /// Returns the record found, or an empty list.
  static std::vector<Record> GetRecord(std::string_view key_name,
                                       std::string_view section_name,
                                       const std::string& file_name);

  /// Returns the value of the record found, "" if none. Makes no list.
  static std::string GetValue(std::string_view key_name,
                              std::string_view section_name,
                              const std::string& file_name);

  /// Sets the value of a key; creates file, section and key as needed.
  /// A section without records is added at the end of the file, and the key is
  /// written untrimmed. Otherwise the key is trimmed: the record found gets the
  /// value, and stays disabled if it was; a new key is inserted below the
  /// section's first record (normally its header), above the other keys.
  /// An empty key means the header, which has no value: a section without a
  /// header gets one (two if it has no record); no other line changes.
  static bool SetValue(std::string_view key_name, std::string_view value,
                       std::string_view section_name,
                       const std::string& file_name);

  /// Disables the record found, or changes the character that disables it.
  static bool CommentRecord(CommentChar cc, std::string_view key_name,
                            std::string_view section_name,
                            const std::string& file_name);

  /// Enables the record found; saves even if it is active.
  static bool UnCommentRecord(std::string_view key_name,
                              std::string_view section_name,
                              const std::string& file_name);

  /// Removes the record found and its comments, not its duplicates.
  static bool DeleteRecord(std::string_view key_name,
                           std::string_view section_name,
                           const std::string& file_name);

  /// Returns whether there is such a record. Trims the key, as SetValue() does.
  static bool RecordExists(std::string_view key_name,
                           std::string_view section_name,
                           const std::string& file_name);

  /// Replaces the comments of the record found; see SetSectionComments().
  static bool SetRecordComments(std::string_view comments,
                                std::string_view key_name,
                                std::string_view section_name,
                                const std::string& file_name);

  CIniFile();  ///< Constructs an object with an empty list, nothing loaded.
  CIniFile(const CIniFile&) = delete;
  CIniFile& operator=(const CIniFile&) = delete;
  virtual ~CIniFile();

  /// Replaces the list with the records of a file, none if it cannot be opened,
  /// and resets the lookup statistics. Returns true. Throws as the static
  /// Load() does; the list is then empty and `loaded` is false.
  bool Load(std::string file_name);

  /// Returns a copy of a record of the loaded list, or an empty list. The
  /// search starts five records before the last one found, at that one if no
  /// more than five precede it, or at the beginning if none was found yet. If
  /// it fails, it runs once more from the beginning. Of several duplicates it
  /// may therefore find another than the first. While `loaded` is false, finds
  /// nothing and changes no statistic. If the second pass finds the record, and
  /// `searches` is not 1, prints
  ///
  ///     re-search: [s/k] after [s/j] discovered 1 from 1; total searches=2
  ///
  /// with section and key, the old `lastLookup`, and the new `rediscovered`,
  /// `researches` and `searches`, each to its first zero byte. To look up in
  /// random order without second passes, set `cursor` to the end of the list.
  /// Scans the list until as many records were visited as it holds, then builds
  /// a hash index of 24 to 40 bytes per record.
  std::vector<Record> GetRecord(std::string_view key_name,
                                std::string_view section_name);

  /// Returns the value of the record that GetRecord() would find, even if it is
  /// empty, or the default if there is none. If `trace` is set, every call
  /// prints "[net] port ==> 7000", with "-->" for a default.
  std::string GetValueDef(std::string_view section_name,
                          std::string_view key_name, std::string default_value);

 private:
  class Index;

  // Updates the statistics, except lastLookup: its new text is next_lookup_.
  FAIRLEAD_PRIVATE const Record* Find(std::string_view section,
                                      std::string_view key);
  FAIRLEAD_PRIVATE std::size_t FirstPlaceToLook() const;
  FAIRLEAD_PRIVATE void PrintReSearch(std::string_view section,
                                      std::string_view key);
  FAIRLEAD_PRIVATE void PrintTrace(std::string_view section,
                                   std::string_view key, bool found,
                                   std::string_view value);

  // The order of the fields is kept for compatibility.
  std::unique_ptr<std::vector<Record>> records_;  // Never null.

 public:
  bool loaded = false;  ///< What the last member Load() returned.
  /// The record found last, or the end of the list. May be set to any position.
  /// Only values may be changed through it: lookups rely on sections and keys.
  std::vector<Record>::iterator cursor;
  std::int32_t rediscovered = 0;  ///< Records found by a second pass.
  std::int32_t researches = 0;    ///< Second passes.
  std::int32_t searches = 0;      ///< Lookups since the last member Load().
  std::string lastLookup;         ///< "section/key" of the previous lookup.
  bool trace = false;             ///< Whether GetValueDef() prints each lookup.

 private:
  std::unique_ptr<Index> index_;  // Of *records_; never null.
  std::string next_lookup_;       // What lastLookup becomes, or was before.
  std::string line_;              // Buffer in which a printed line is built.
};

}  // namespace fairlead

#endif  // FAIRLEAD_INI_INI_FILE_H_
