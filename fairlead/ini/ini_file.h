// INI files as flat lists of records: the records, and the file they stand in.

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

/// An INI file as an ordered list of records, one for each section header and
/// each `key=value` line, with the comment lines that stood above it.
///
/// The static functions work on a file by its name: each reads the whole file,
/// and each that changes something writes the whole file again. Nothing is kept
/// between two calls. An object keeps one loaded list for repeated lookups; it
/// never writes.
///
/// @par The order of arguments
/// What changes comes first (but SetValue() takes the value behind its key) and
/// the file comes last. In between the static functions take the key before the
/// section, GetValueDef() and the functions of profile.h the section before the
/// key. A compiler cannot tell them apart.
///
/// @par What every function on a file shares
/// - A file that is missing or cannot be read counts as an empty one. Reading
///   creates nothing; an edit creates the file where it saves at all. So an
///   edit of a file that may be written but not read replaces all it held.
/// - Whatever loads the file, all but Save() and Create(), throws what Load()
///   throws at a header without `]` anywhere in it, and nothing is written.
/// - To find a record means to take the first in the file, disabled or not,
///   whose section and key are exactly those given. An empty key finds the
///   header of the section.
/// - The records of a section are all that bear its name, under whichever of
///   its headers they stand, those headers included.
/// - An edit returns what its Save() returned, which normalises the whole file
///   and prints "<#> " for each disabled record, or false where it says so,
///   having saved nothing.
/// - Texts are written as they are given, but for what is told of keys and
///   comments below. One that holds an LF, or a name that a line would not be
///   read back with (a key that begins with `#` or holds `=`), makes lines that
///   mean something else; a key that begins with `[` may make the file one that
///   nothing here loads any more.
/// - A failed allocation throws std::bad_alloc, and the file is as it was.
/// - A file never takes the place of a standard stream that the program has
///   closed.
/// - The cost is that of reading the file, and for edits of a Save().
///
/// @par What a file may hold
/// Lines end in LF; blanks (space, TAB, CR) around a line, a key or a value do
/// not count, so CRLF files read the same. Nothing is quoted or escaped: any
/// byte but LF may stand in a value, zero included; a section's name ends at
/// the first `]`, a key at the first `=`, and an active key begins with none of
/// `#`,
/// `;` and `[`. Names are compared byte by byte, upper and lower case apart.
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
/// - A comment that begins with a bracketed word, `# [note] ...`, is a disabled
///   header: the keys after it are in the section `note`, active ones too.
/// - A line with nothing before its `=` has an empty key, which makes it a
///   header of its section: its value is lost, `[section]` is written.
/// - A header without `]` is refused: see Load().
///
/// Nothing is checked on the way out either. A list made by hand can hold what
/// a file cannot (an LF in a value, an active key that begins with `#`); it is
/// written as it is, and reads back as those bytes read.
///
/// @par Thread safety
/// None: one thread per object, and the static functions do not lock the file.
/// Of two writers, in one process or two, the last wins.
/// @par Fork and static objects
/// Nothing is open or locked between two calls: a child of `fork` may use the
/// objects that it has copies of. All functions work in the constructors and
/// destructors of static objects.
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
    std::string Value;  ///< The value; of a header, what stood behind `=`.
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
  /// @return whether the file could be opened and emptied; where not, it is as
  ///     it was. When the disk fills up the result is still true: the file ends
  ///     where writing failed.
  /// @throws std::bad_alloc if there is no memory for the longest record; the
  ///     file is as it was
  /// @par Limits on the size of files
  /// A file that reaches one (`ulimit -f`, RLIMIT_FSIZE) ends there, as on a
  /// full disk. The system raises SIGXFSZ, which is left to the program: unless
  /// that ignores or handles it, it ends the program, with the file cut.
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

  /// Adds a header at the end of the file.
  ///
  /// A section of that name is not looked for: adding one that exists writes a
  /// second header, and SetValue() still puts its keys under the first. Ask
  /// SectionExists() before.
  ///
  /// @return whether the file could be opened for writing
  static bool AddSection(std::string_view section_name,
                         const std::string& file_name);

  /// Gives the records of a section another name.
  ///
  /// The new name is not looked for: on a name that exists the two sections
  /// become one that stands under two headers. Keys before the first header are
  /// the section "", and stay where no header can name them; what the file
  /// holds as `[]` does get the name.
  ///
  /// @return whether the file could be opened for writing; it is saved where no
  ///     record matched as well
  static bool RenameSection(std::string_view old_section_name,
                            std::string_view new_section_name,
                            const std::string& file_name);

  /// Disables the records of a section, its header included, by a character
  /// before each.
  ///
  /// Records that are disabled already get this character instead.
  ///
  /// @param cc `#` or `;`, or a CommentChar. Any other character is written
  ///     too, and no longer read back as one that disables: mostly as a part of
  ///     the name.
  /// @return whether the file could be opened for writing; it is saved where no
  ///     record matched as well
  static bool CommentSection(char cc, std::string_view section_name,
                             const std::string& file_name);

  /// Makes the records of a section active, its header included.
  ///
  /// @return whether the file could be opened for writing; it is saved where no
  ///     record matched as well
  static bool UnCommentSection(std::string_view section_name,
                               const std::string& file_name);

  /// Removes the records of a section, its header and all their comments
  /// included.
  ///
  /// @return whether the file could be opened for writing; it is saved where no
  ///     record matched as well
  static bool DeleteSection(std::string_view section_name,
                            const std::string& file_name);

  /// Replaces the comments above the first header of a section.
  ///
  /// @param comments lines that each begin with `#` or `;`, or "" for none. A
  ///     text of more than one character gets an LF at its end, also where it
  ///     ends in one (the empty line goes with the next loading); one character
  ///     alone gets none, and so the header joins its line: `#` disables an
  ///     active one, and makes of a disabled one a line that means nothing.
  ///     Lines without a comment character are read back as keys, headers or
  ///     damage.
  /// @return false where the section has no header, with nothing saved; else
  ///     whether the file could be opened for writing
  static bool SetSectionComments(std::string_view comments,
                                 std::string_view section_name,
                                 const std::string& file_name);

  /// Copies of all headers, in the order of the file, disabled ones and
  /// duplicates included.
  static std::vector<Record> GetSections(const std::string& file_name);

  /// Copies of the key records of a section, in the order of the file, disabled
  /// ones and duplicates included; its headers are not among them.
  static std::vector<Record> GetSection(std::string_view section_name,
                                        const std::string& file_name);

  /// The names of all headers, in the order of the file, disabled ones and
  /// duplicates included.
  static std::vector<std::string> GetSectionNames(const std::string& file_name);

  /// Whether the section has any record: a header or a key, active or disabled.
  /// The section "" exists where a key stands before the first header.
  static bool SectionExists(std::string_view section_name,
                            const std::string& file_name);

  /// A copy of the record found, alone, or nothing.
  ///
  /// The member of the same name has no file for an argument.
  static std::vector<Record> GetRecord(std::string_view key_name,
                                       std::string_view section_name,
                                       const std::string& file_name);

  /// The value of the record found; "" where there is none.
  ///
  /// A key without a value and a missing key are not told apart (RecordExists()
  /// does), nor is a disabled key from an active one (GetRecord() does).
  ///
  /// @par Cost
  /// The file is read at once and walked to its end; no record is made of it.
  static std::string GetValue(std::string_view key_name,
                              std::string_view section_name,
                              const std::string& file_name);

  /// Gives a key a value, and makes the file, the section and the key where
  /// they do not exist.
  ///
  /// - In a section without any record, a header and the key go to the end of
  ///   the file. The key is written exactly as it is given.
  /// - In a section with records, blanks around the key are cut. A key that is
  ///   found gets the value and stays as it is otherwise: disabled, if it was.
  ///   A new one goes right below the first record of the section (its header,
  ///   as a rule), above the keys that are there.
  ///
  /// An empty key stands for the header of a section, which shows no value:
  /// the lines stay as they are, or get one more header where there is none.
  ///
  /// @return whether the file could be opened for writing
  /// @par Example
  /// @code
  /// fairlead::CIniFile::SetValue("port", "7000", "server", "tool.ini");
  /// fairlead::CIniFile::SetRecordComments("# where it listens", "port",
  ///                                       "server", "tool.ini");
  /// // [server]
  /// // # where it listens
  /// // port=7000
  /// @endcode
  static bool SetValue(std::string_view key_name, std::string_view value,
                       std::string_view section_name,
                       const std::string& file_name);

  /// Disables the record found by a character before it; one that is disabled
  /// already gets this character instead.
  ///
  /// @return false where there is none, with nothing saved; else whether the
  ///     file could be opened for writing
  static bool CommentRecord(CommentChar cc, std::string_view key_name,
                            std::string_view section_name,
                            const std::string& file_name);

  /// Makes the record found active; one that is active already is saved again.
  ///
  /// @return false where there is none, with nothing saved; else whether the
  ///     file could be opened for writing
  static bool UnCommentRecord(std::string_view key_name,
                              std::string_view section_name,
                              const std::string& file_name);

  /// Removes the record found and the comments above it. Of several of the same
  /// names, the others stay.
  ///
  /// @return false where there is none, with nothing saved; else whether the
  ///     file could be opened for writing
  static bool DeleteRecord(std::string_view key_name,
                           std::string_view section_name,
                           const std::string& file_name);

  /// Whether the record can be found. Here alone among the functions that find,
  /// blanks around the key are cut first (SetValue() cuts them too, in a
  /// section that exists).
  ///
  /// @par Cost
  /// As GetValue().
  static bool RecordExists(std::string_view key_name,
                           std::string_view section_name,
                           const std::string& file_name);

  /// Replaces the comments above the record found.
  ///
  /// @param comments as for SetSectionComments()
  /// @return false where there is none, with nothing saved; else whether the
  ///     file could be opened for writing
  static bool SetRecordComments(std::string_view comments,
                                std::string_view key_name,
                                std::string_view section_name,
                                const std::string& file_name);

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
  /// @throws std::out_of_range as the static Load() does. The list is
  ///     then empty and `loaded` is false.
  bool Load(std::string file_name);

  /// A copy of a record of the object's list, alone, or nothing.
  ///
  /// The search begins near the record that was found last: five records before
  /// it, or at it where no more than five precede it. It goes on to the end of
  /// the list, and only then once more from its beginning. Of several records
  /// of the same names, the one found may therefore be another one than the
  /// first. Where nothing was found yet, the search begins at the beginning.
  ///
  /// While `loaded` is false nothing is found and nothing changes. Else
  /// `searches` and `lastLookup` tell of every call, `cursor` of one that found
  /// its record, `researches` of one that had to begin again, `rediscovered` of
  /// one that then found it. In that last case, unless it is the first search,
  /// a line goes to standard output:
  ///
  ///     re-search: [s/k] after [s/j] discovered 1 from 1; total searches=2
  ///
  /// with the section and the key, `lastLookup` as it was, `rediscovered`,
  /// `researches` and `searches`. A zero byte ends a text in a printed line.
  ///
  /// To look up at random without second passes and their lines, set `cursor`
  /// before each call to the end of the list, where Load() left it.
  ///
  /// @par Cost
  /// Not that of the search described. The first lookups walk the list; once
  /// they have seen as many records as it has, they make a table of its names
  /// (50 to 80 bytes a record), and a lookup takes the same time wherever its
  /// record stands; duplicates of its names before the cursor add theirs.
  std::vector<Record> GetRecord(std::string_view key_name,
                                std::string_view section_name);

  /// The value of a record of the object's list, or the default where there is
  /// none. The section comes first here.
  ///
  /// The record is looked up as GetRecord() does. A value that is empty is
  /// returned as it is. While `trace` is set, a line for each call goes to
  /// standard output, "==" in it for a value found and "--" for the default:
  ///
  ///     [net] port ==> 7000
  ///
  /// @par Cost
  /// As GetRecord(), with a copy of the value alone.
  /// @par Example
  /// @code
  /// fairlead::CIniFile settings;
  /// settings.Load("tool.ini");
  /// const std::string host = settings.GetValueDef("net", "host", "localhost");
  /// const std::string port = settings.GetValueDef("net", "port", "7000");
  /// @endcode
  std::string GetValueDef(std::string_view section_name,
                          std::string_view key_name, std::string default_value);

 private:
  class Index;

  // Searches for a record, all but lastLookup kept up to date.
  FAIRLEAD_PRIVATE const Record* Find(std::string_view section,
                                      std::string_view key);
  FAIRLEAD_PRIVATE std::size_t FirstPlaceToLook() const;
  FAIRLEAD_PRIVATE void PrintReSearch(std::string_view section,
                                      std::string_view key) const;
  FAIRLEAD_PRIVATE void Remember(std::string_view section,
                                 std::string_view key);

  std::unique_ptr<std::vector<Record>> records_;  // Never null.

 public:
  bool loaded = false;  ///< What the last member Load() returned.
  /// Where in the list the last successful lookup found its record; the end
  /// of the list where nothing was found since the last member Load(). It may
  /// be set to any place in the list, and values may be changed through it, but
  /// not sections and keys: lookups rely on these.
  std::vector<Record>::iterator cursor;
  std::int32_t rediscovered = 0;  ///< Lookups that only a second pass answered.
  std::int32_t researches = 0;    ///< Second passes made.
  std::int32_t searches = 0;      ///< All lookups since the last member Load().
  std::string lastLookup;         ///< "section/key" of the previous lookup.
  bool trace = false;  ///< Whether GetValueDef() prints a line each time.

 private:
  std::unique_ptr<Index> index_;  // Of *records_; never null.
  std::string next_lookup_;       // Room in which lastLookup is made.
};

}  // namespace fairlead

#endif  // FAIRLEAD_INI_INI_FILE_H_
