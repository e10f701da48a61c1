// Validates section names, keys, values and comments.

#include "tool/ini/ini_names.h"

#include <algorithm>

#include "tool/base/failure.h"

namespace fairlead::tool::ini {
namespace {

bool Contains(std::string_view text, char c) {
  return text.find(c) != std::string_view::npos;
}

}  // namespace

std::string_view Trimmed(std::string_view text) {
  constexpr std::string_view kWhitespace = " \t\n\r";
  text.remove_prefix(
      std::min(text.find_first_not_of(kWhitespace), text.size()));
  return text.substr(0, text.find_last_not_of(kWhitespace) + 1);
}

std::string_view SectionFault(std::string_view section) {
  if (Contains(section, ']')) return "a section name cannot contain ']'";
  if (Contains(section, '\n')) return "a section name cannot contain a newline";
  return "";
}

std::string_view KeyFault(std::string_view key) {
  if (key.empty()) return "a key cannot be empty";
  if (Contains(key, '=')) return "a key cannot contain '='";
  if (Contains(key, '\n')) return "a key cannot contain a newline";
  if (Contains("[#;", key[0])) return "a key cannot begin with '[', '#' or ';'";
  return "";
}

std::string_view ValueFault(std::string_view value) {
  return Contains(value, '\n') ? "a value cannot contain a newline" : "";
}

std::string CommentLines(std::string_view text) {
  std::string lines;
  for (text = Trimmed(text); !text.empty();) {
    const std::string_view whole = text.substr(0, text.find('\n'));
    const std::string_view line = Trimmed(whole);
    if (line.find_first_of("[=") != std::string_view::npos)
      throw Failure(kWrongUsage,
                    "a comment cannot contain '[' or '=': its line would be "
                    "read as a disabled key or header");
    if (line.empty())
      lines += "#";
    else
      lines.append(Contains("#;", line[0]) ? "" : "# ").append(line);
    lines += '\n';
    text.remove_prefix(std::min(whole.size() + 1, text.size()));
  }
  return lines;
}

}  // namespace fairlead::tool::ini
