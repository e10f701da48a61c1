#include "tool/ini/ini_names.h"

#include <algorithm>

#include "tool/base/failure.h"

namespace fairlead::tool::ini {
namespace {

bool Holds(std::string_view text, char c) {
  return text.find(c) != std::string_view::npos;
}

}  // namespace

std::string_view Trimmed(std::string_view text) {
  constexpr std::string_view kBlanks = " \t\n\r";
  text.remove_prefix(std::min(text.find_first_not_of(kBlanks), text.size()));
  return text.substr(0, text.find_last_not_of(kBlanks) + 1);
}

std::string_view SectionFault(std::string_view section) {
  if (Holds(section, ']')) return "a section's name cannot hold ']'";
  if (Holds(section, '\n')) return "a section's name cannot hold a line feed";
  return "";
}

std::string_view KeyFault(std::string_view key) {
  if (key.empty()) return "a key cannot be empty";
  if (Holds(key, '=')) return "a key cannot hold '='";
  if (Holds(key, '\n')) return "a key cannot hold a line feed";
  if (Holds("[#;", key[0])) return "a key cannot begin with '[', '#' or ';'";
  return "";
}

std::string_view ValueFault(std::string_view value) {
  return Holds(value, '\n') ? "a value cannot hold a line feed" : "";
}

std::string CommentLines(std::string_view text) {
  std::string lines;
  for (text = Trimmed(text); !text.empty();) {
    const std::string_view whole = text.substr(0, text.find('\n'));
    const std::string_view line = Trimmed(whole);
    if (line.find_first_of("[=") != std::string_view::npos)
      throw Failure(kWrongUsage,
                    "a comment cannot hold '[' or '=': its line would be taken "
                    "for a disabled one");
    if (line.empty())
      lines += "#";
    else
      lines.append(Holds("#;", line[0]) ? "" : "# ").append(line);
    lines += '\n';
    text.remove_prefix(std::min(whole.size() + 1, text.size()));
  }
  return lines;
}

}  // namespace fairlead::tool::ini
