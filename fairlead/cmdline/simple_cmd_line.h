// The command line of a program as named parameters.

#ifndef FAIRLEAD_CMDLINE_SIMPLE_CMD_LINE_H_
#define FAIRLEAD_CMDLINE_SIMPLE_CMD_LINE_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "fairlead/export.h"

namespace fairlead {

/// A command line, parsed into named parameters. A parameter is a '-' and a
/// name, with or without a value: `-port 8080 -v`. Names are stored in lower
/// case; lookups are not case-sensitive and leave out the '-'. `/name`, `--`,
/// `name=value`, `name:value` and quotes have no special meaning. The two
/// constructors split by different rules, on purpose:
///
/// | | argument vector | one string |
/// |---|---|---|
/// | a value | keeps its case | becomes lower case |
/// | a second word after a value | is appended to it | is a parameter |
/// | a word before any parameter | goes to the empty name | is a parameter |
/// | '-' within a word | belongs to the word | starts a parameter |
///
/// A value cannot begin with '-': "-n -5" is two parameters. No input is
/// malformed; only a failed allocation throws. Threads may share an object.
/// Construction is linear in the text and n log n in the parameters, and does
/// not allocate for 32 arguments of 600 bytes together. A lookup takes log n.
/// @code
/// const char* const words[] = {"tool", "-Host", "Example", "-port", "7000"};
/// const fairlead::CSimpleCmdLine args(5, words);  // or (argc, argv)
/// std::string host = args.GetStrParam("host");    // host == "Example"
/// int port = args.GetIntParam("PORT", 4000);      // port == 7000
/// @endcode
class FAIRLEAD_EXPORT CSimpleCmdLine {
 public:
  /// Parses copies of a process's arguments, without the first, the program's
  /// path. An argument that begins with '-' is a name, less that '-': "-Port"
  /// is "port", "--x" is "-x", "-" is the empty name. The next argument is its
  /// value. Others are appended to the last value, or to that of the empty name
  /// if there is no name yet, after a space. A name given again starts over.
  /// `-a X y z -b` is a = "X y z" and b = ""; `file -v 1` is v = "1" and the
  /// empty name = " file".
  CSimpleCmdLine(int argc, const char* const* argv);

  /// Parses a whole command line, with or without the program's path. Only
  /// spaces separate words. A '-' starts a name anywhere but in a name. The
  /// word after a name is its value, up to a '-'. Any other word is a parameter
  /// without a value, or dropped if a '-' ends it. A name given again starts
  /// over. `prog -a 1 extra` is prog = "", a = "1" and extra = "";
  /// `-d 2010-05` is d = "2010" and 05 = ""; `-a-b` is a-b = ""; `foo-bar` is
  /// bar = "".
  ///
  /// A '-' with no name is the empty name. It takes a value unless a bare word,
  /// neither name nor value, came after the last non-empty name: `- 5` sets the
  /// empty name to "5"; `prog - 5` sets it to "" and adds the parameter 5.
  explicit CSimpleCmdLine(std::string line);

  CSimpleCmdLine(const CSimpleCmdLine&) = delete;
  CSimpleCmdLine& operator=(const CSimpleCmdLine&) = delete;
  ~CSimpleCmdLine() = default;

  /// Returns what follows the last backslash, if any; '/' is not special.
  [[nodiscard]] static std::string GetExe(std::string_view path);

  /// Returns the text in lower case, as MakeLower() does.
  [[nodiscard]] static std::string ToLower(std::string_view text);

  /// Returns whether the parameter was given, with or without a value.
  [[nodiscard]] bool PresentParam(std::string_view name) const;

  /// Returns the same as PresentParam().
  [[nodiscard]] bool GetParam(std::string_view name) const;

  /// Returns the value, "" if there is none; "n//a" if the name was not given.
  [[nodiscard]] std::string GetStrParam(std::string_view name) const;

  /// Returns the value, "" if there is none; `fallback` if it was not given.
  [[nodiscard]] std::string GetStrParam(std::string_view name,
                                        std::string_view fallback) const;

  /// Returns the number that getval() reads from the value; else `fallback`.
  [[nodiscard]] int GetIntParam(std::string_view name, int fallback) const;

  /// Calls fairlead::getval<int>().
  static bool getval(std::string_view text, int& target);

  /// Calls fairlead::getval<int, int>().
  static void getval(std::string_view text, int& target, int fallback);

 private:
  struct Parameter {
    std::uint64_t tag;      // Of the name: equal names have equal tags.
    std::string_view name;  // In lower case, without its '-'.
    std::string_view value;
  };

  FAIRLEAD_PRIVATE void Reserve(std::size_t parameters, std::size_t bytes);
  FAIRLEAD_PRIVATE std::string_view Keep(std::string_view text);
  FAIRLEAD_PRIVATE std::string_view KeepLower(std::string_view text);
  FAIRLEAD_PRIVATE void Add(std::string_view name);
  FAIRLEAD_PRIVATE std::span<Parameter> Table() const;
  FAIRLEAD_PRIVATE void SortLongTable();
  FAIRLEAD_PRIVATE const Parameter* Find(std::string_view name) const;
  FAIRLEAD_PRIVATE const Parameter* FindLower(std::string_view name) const;
  FAIRLEAD_PRIVATE const Parameter* FindInLongTable(
      std::uint64_t tag, std::string_view name) const;

  const std::string line_;  // As passed; "" for an argument vector.
  // The table, in the order given, or by name if there are many; the last of a
  // name counts. Behind it, the bytes of all names and values.
  Parameter* table_ = nullptr;
  std::size_t size_ = 0;
  char* bytes_ = nullptr;              // The end of them.
  std::vector<std::byte> long_table_;  // Holds both if they are long.
  alignas(Parameter) std::array<std::byte, 2048> short_table_;  // Not cleared.
};

}  // namespace fairlead

#endif  // FAIRLEAD_CMDLINE_SIMPLE_CMD_LINE_H_
