// The command line of a program, taken apart into named parameters.

#ifndef FAIRLEAD_CMDLINE_SIMPLE_CMD_LINE_H_
#define FAIRLEAD_CMDLINE_SIMPLE_CMD_LINE_H_

#include <string>
#include <string_view>
#include <vector>

#include "fairlead/export.h"

namespace fairlead {

/// A command line as a table of named parameters, each with a text.
///
/// A parameter is a name with one '-' before it, followed or not by a value:
/// `-port 8080 -v`. Names are known in lower case and asked for without the
/// '-'; upper and lower case do not matter in a question. There is no '/', no
/// "--" of its own meaning, no joining by '=' or ':' and no quoting.
///
/// The two constructors split by different rules, on purpose:
///
/// | | argument vector | one text |
/// |---|---|---|
/// | a value | keeps its case | becomes lower case |
/// | a second word after a value | is appended to it | is a parameter |
/// | a word before any parameter | goes to the empty name | is a parameter |
/// | '-' within a word | belongs to the word | starts a parameter |
///
/// Neither form can give a value that begins with '-': "-n -5" is two
/// parameters, "n" and "5". Input is never malformed; it is split by the rules.
///
/// Not copied: a program has one command line, and passes it by reference.
///
/// @par Thread safety
/// Nothing changes after construction; any number of threads may ask.
/// @par Errors
/// An absent parameter gives false, "n//a" or the caller's default. Only a
/// failure to allocate throws.
/// @par Example
/// @code
/// // tool -Host Example -port 7000 -v
/// const fairlead::CSimpleCmdLine args(argc, argv);
/// const std::string host = args.GetStrParam("host");  // "Example"
/// const int port = args.GetIntParam("PORT", 4000);    // 7000
/// const bool verbose = args.PresentParam("v");        // true
/// @endcode
class FAIRLEAD_EXPORT CSimpleCmdLine {
 public:
  /// Takes apart the arguments of a process, of which the first is the path of
  /// the program and is left out.
  ///
  /// An argument that begins with '-' is a name, less that one byte: "-Port" is
  /// "port", "--x" is "-x", "-" is the empty name. The word after it is its
  /// value. Each further word is appended to that value with a space before it;
  /// words ahead of every name collect under the empty name in the same way,
  /// the first space included. A name given again starts afresh.
  ///
  /// So `-a X y z -b` is a = "X y z" and b = "", and `file -v 1` is v = "1" and
  /// the empty name = " file".
  ///
  /// @param argc the number of arguments; below 2, there are no parameters
  /// @param argv that many zero-terminated texts; they are copied
  /// @par Cost
  /// n log n in the arguments.
  CSimpleCmdLine(int argc, const char* const* argv);

  /// Takes apart a whole command line, with the path of the program or without.
  ///
  /// Words stand between spaces, any number of them; no other byte parts them.
  /// A '-' starts a parameter wherever it stands, except within a name: "-a-b"
  /// is the name "a-b". The word after a name is its value, which ends at a '-'
  /// as well. A word that follows no name is a parameter without a value, and
  /// is dropped where a '-' follows in it. A name given again starts afresh.
  ///
  /// So `prog -a 1 extra` is prog = "", a = "1" and extra = "", `-d 2010-05` is
  /// d = "2010" and 05 = "", and `foo-bar` is bar = "".
  ///
  /// A '-' with no name behind it gives the empty name. It takes a value as any
  /// name does, unless the last word that was no value had no '-' before it
  /// either: `- 5` gives the empty name "5"; `prog - 5` gives it "", and 5 is a
  /// parameter of its own.
  ///
  /// @par Cost
  /// Linear in the text, n log n in the parameters.
  explicit CSimpleCmdLine(std::string line);

  CSimpleCmdLine(const CSimpleCmdLine&) = delete;
  CSimpleCmdLine& operator=(const CSimpleCmdLine&) = delete;
  ~CSimpleCmdLine() = default;

  /// What follows the last backslash of `path`, or all of it where there is
  /// none. A '/' is a byte like any other: "/usr/bin/tool" stays as it is.
  [[nodiscard]] static std::string GetExe(std::string_view path);

  /// The text in lower case, as MakeLower() makes it.
  [[nodiscard]] static std::string ToLower(std::string_view text);

  /// Was a parameter of this name given, with or without a value?
  [[nodiscard]] bool PresentParam(std::string_view name) const;

  /// The same answer as PresentParam().
  [[nodiscard]] bool GetParam(std::string_view name) const;

  /// The value of the parameter, "" where it was given without one, or "n//a"
  /// where it was not given.
  [[nodiscard]] std::string GetStrParam(std::string_view name) const;

  /// The value of the parameter, "" where it was given without one, or
  /// `fallback` where it was not given.
  [[nodiscard]] std::string GetStrParam(std::string_view name,
                                        std::string_view fallback) const;

  /// The number at the start of the parameter's value, or `fallback` where the
  /// parameter was not given or its value is no number that fits an `int`.
  ///
  /// The value is read as by fairlead::getval<int>(): "12abc" is 12.
  [[nodiscard]] int GetIntParam(std::string_view name, int fallback) const;

  /// Reads a number as fairlead::getval<int>() does.
  static bool getval(std::string_view text, int& target);

  /// Reads a number as fairlead::getval<int, int>() does; where there is none,
  /// the target becomes `fallback`.
  static void getval(std::string_view text, int& target, int fallback);

 private:
  struct Parameter {
    std::string_view name;  // In lower case, without its '-'.
    std::string_view value;
  };

  FAIRLEAD_PRIVATE std::string_view Keep(std::string_view text);
  FAIRLEAD_PRIVATE void Add(std::string_view name);
  FAIRLEAD_PRIVATE void SortTable();
  FAIRLEAD_PRIVATE const Parameter* Find(std::string_view name) const;

  const std::string line_;        // As passed; "" for an argument vector.
  std::string bytes_;             // Holds all names and values; stays in place.
  std::vector<Parameter> table_;  // By name, in the order of bytes.
};

}  // namespace fairlead

#endif  // FAIRLEAD_CMDLINE_SIMPLE_CMD_LINE_H_
