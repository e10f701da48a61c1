// Formats lists of texts for -format.

#include "tool/ini/listing.h"

#include <algorithm>

#include "tool/base/concat.h"
#include "tool/base/escapes.h"

namespace fairlead::tool {
namespace {

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

std::string Spelled(Format format, const std::string& text) {
  switch (format) {
    case Format::kTextLines:
    case Format::kNul:
      return text;
    case Format::kShell:
      return ShellQuoted(text);
    case Format::kJson:
      return JsonString(text);
  }
  return {};
}

std::string Row(Format format, const std::vector<std::string>& texts) {
  std::string row;
  const char* separator = "";
  for (const std::string& text : texts) {
    row += Concat(separator, Spelled(format, text));
    if (format == Format::kNul)
      row += '\0';
    else
      separator = format == Format::kShell ? " " : "\t";
  }
  return format == Format::kNul ? row : Concat(row, "\n");
}

}  // namespace

std::string Rows(Format format,
                 const std::vector<std::vector<std::string>>& rows) {
  std::string lines;
  for (const std::vector<std::string>& row : rows) lines += Row(format, row);
  return lines;
}

std::string List(Format format, const std::vector<std::string>& texts) {
  if (format == Format::kShell) return Row(format, texts);
  if (format == Format::kJson) {
    std::vector<std::string> values(texts.size());
    std::ranges::transform(texts, values.begin(), JsonString);
    return JsonArray(values);
  }
  std::string lines;
  for (const std::string& text : texts) lines += Row(format, {text});
  return lines;
}

std::string Single(Format format, const std::string& text) {
  return Row(format, {text});
}

std::string JsonArray(const std::vector<std::string>& values) {
  if (values.empty()) return "[]\n";
  std::string text = "[\n";
  for (const std::string& value : values)
    text.append(text.size() > 2 ? ",\n" : "").append(value);
  return text + "\n]\n";
}

}  // namespace fairlead::tool
