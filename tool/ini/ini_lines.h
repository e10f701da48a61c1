// What the store would not keep of an INI file's lines.

#ifndef FAIRLEAD_TOOL_INI_INI_LINES_H_
#define FAIRLEAD_TOOL_INI_INI_LINES_H_

#include <cstddef>
#include <string_view>

namespace fairlead::tool::ini {

/// Every line of an INI file, looked at as the store does when it loads it.
class Lines {
 public:
  explicit Lines(std::string_view text);

  /// The store refuses a file with a header without ']'.
  ///
  /// @param file what the error calls it
  /// @throws Failure with kMalformedInput: "file:line: what is wrong"
  void CheckReadable(std::string_view file) const;

  /// When it saves the file again, the store loses or changes the text of some
  /// lines: of those that are neither comment, header nor key, of what stands
  /// behind a header, of the value of a key without a name.
  ///
  /// @throws Failure with kMalformedInput, as CheckReadable() does
  void CheckEditable(std::string_view file) const;

 private:
  struct Fault {
    std::size_t line = 0;  // From 1; 0 where there is none.
    std::string_view what = {};
  };

  void Look(std::string_view line);
  void LookAtHeader(std::string_view after_bracket);
  void Note(Fault& fault, std::string_view what) const;
  static void Throw(std::string_view file, const Fault& fault);

  std::size_t line_ = 0;
  Fault unreadable_;
  Fault lossy_;
};

}  // namespace fairlead::tool::ini

#endif  // FAIRLEAD_TOOL_INI_INI_LINES_H_
