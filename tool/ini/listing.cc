// Formats lists of texts for -format.

#include "tool/ini/listing.h"

#include "tool/base/concat.h"
#include "tool/base/escapes.h"

namespace fairlead::tool {
namespace {

void AppendText(Format format, std::string_view text, std::string& lines) {
  switch (format) {
    case Format::kTextLines:
    case Format::kNul:
    case Format::kAssign:
      lines += text;
      return;
    case Format::kShell:
      lines += ShellQuoted(text);
      return;
    case Format::kJson:
      lines += JsonString(text);
  }
}

}  // namespace

void AppendRow(Format format, std::span<const std::string_view> texts,
               std::string& lines) {
  const char separator = format == Format::kShell ? ' ' : '\t';
  bool is_first = true;
  for (const std::string_view text : texts) {
    if (!is_first && format != Format::kNul) lines += separator;
    AppendText(format, text, lines);
    if (format == Format::kNul) lines += '\0';
    is_first = false;
  }
  if (format != Format::kNul) lines += '\n';
}

std::string Single(Format format, std::string_view text) {
  std::string lines;
  AppendRow(format, {&text, 1}, lines);
  return lines;
}

// In single quotes, only the single quote is special.
std::string ShellQuoted(std::string_view text) {
  std::string quoted = "'";
  for (const char c : text) {
    if (c == '\'')
      quoted += "'\\''";
    else
      quoted += c;
  }
  return quoted + "'";
}

}  // namespace fairlead::tool
