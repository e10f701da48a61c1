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

}  // namespace

std::string Rows(std::string_view format,
                 const std::vector<std::vector<std::string>>& rows) {
  std::string lines;
  for (const std::vector<std::string>& row : rows) {
    const char* separator = "";
    for (const std::string& text : row) {
      lines += format == "nul" ? "" : separator;
      lines += format == "sh" ? ShellQuoted(text) : text;
      if (format == "nul") lines += '\0';
      separator = format == "sh" ? " " : "\t";
    }
    if (format != "nul") lines += '\n';
  }
  return lines;
}

std::string List(std::string_view format,
                 const std::vector<std::string>& texts) {
  if (format == "json") {
    std::vector<std::string> values(texts.size());
    std::ranges::transform(texts, values.begin(), JsonString);
    return JsonArray(values);
  }
  if (format == "sh") return Rows(format, {texts});
  std::string lines;
  for (const std::string& text : texts) lines += Rows(format, {{text}});
  return lines;
}

std::string Single(std::string_view format, const std::string& text) {
  return format == "json" ? Concat(JsonString(text), "\n")
                          : Rows(format, {{text}});
}

std::string JsonArray(const std::vector<std::string>& values) {
  if (values.empty()) return "[]\n";
  std::string text = "[\n";
  for (const std::string& value : values)
    text.append(text.size() > 2 ? ",\n" : "").append(value);
  return text + "\n]\n";
}

}  // namespace fairlead::tool
