// What the subcommands of `ini` print.

#ifndef FAIRLEAD_TOOL_INI_INI_OUTPUT_H_
#define FAIRLEAD_TOOL_INI_INI_OUTPUT_H_

#include <cstddef>
#include <string>
#include <string_view>

#include "fairlead/ini/ini_document.h"
#include "tool/ini/listing.h"
#include "tool/io/output.h"

namespace fairlead::tool::ini {

/// Prints; on a terminal, control bytes in the format kTextLines are made
/// visible.
void Print(const Output& output, Format format, std::string_view text);

/// Collects text and prints it in large pieces.
class Printer {
 public:
  Printer(const Output& output, Format format)
      : output_(output), format_(format) {}

  void Add(std::string_view text);
  void Flush();

 private:
  const Output& output_;
  const Format format_;
  std::string text_;
};

/// Prints a list: one text per row, but one line for kShell and an array, one
/// object per line, for kJson.
class ListPrinter {
 public:
  ListPrinter(const Output& output, Format format)
      : format_(format), printer_(output, format) {}

  /// Adds the name of an entry; in JSON, with this field and its line.
  void AddName(std::string_view field, std::string_view name, std::size_t line);
  /// Adds a JSON value.
  void AddJson(std::string_view value);
  /// Call it once, behind the last text.
  void End();

 private:
  const Format format_;
  Printer printer_;
  bool is_empty_ = true;
};

/// Returns the entry as a JSON object.
std::string Json(const IniDocument& document, const IniEntry& entry);

}  // namespace fairlead::tool::ini

#endif  // FAIRLEAD_TOOL_INI_INI_OUTPUT_H_
