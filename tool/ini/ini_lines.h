// Checks for lines of an INI file that the store cannot keep.

#ifndef FAIRLEAD_TOOL_INI_INI_LINES_H_
#define FAIRLEAD_TOOL_INI_INI_LINES_H_

#include <cstddef>
#include <string_view>

namespace fairlead::tool::ini {

/// Checks the lines of an INI file, parsed as the store does on loading.
class Lines {
 public:
  explicit Lines(std::string_view text);

  /// Throws if the store cannot load the file: a header has no ']'.
  ///
  /// @param file the name of the file in the message
  /// @throws Failure with kMalformedInput: "file:line: reason"
  void CheckReadable(std::string_view file) const;

  /// Throws if saving the file would lose or change text: a line that is
  /// neither comment, header nor key, text after a header, or a value without a
  /// key.
  ///
  /// @throws Failure with kMalformedInput, as CheckReadable() does
  void CheckEditable(std::string_view file) const;

 private:
  struct Fault {
    std::size_t line = 0;  // From 1; 0 for no fault.
    std::string_view what = {};
  };

  void Check(std::string_view line);
  void CheckHeader(std::string_view after_bracket);
  void Note(Fault& fault, std::string_view what) const;
  static void Throw(std::string_view file, const Fault& fault);

  std::size_t line_ = 0;
  Fault unreadable_;
  Fault lossy_;
};

}  // namespace fairlead::tool::ini

#endif  // FAIRLEAD_TOOL_INI_INI_LINES_H_
