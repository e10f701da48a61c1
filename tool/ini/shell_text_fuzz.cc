// Writes any key and value as an assignment, and reads it as a shell would: it
// sets this one variable to this value, and does nothing else. Reads any value
// as each type, and again in its one form.
//
// The input is a prefix, a key and a value, with a newline between them.

#include <cctype>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "fairlead/testing/fuzzing.h"
#include "tool/base/failure.h"
#include "tool/ini/assignments.h"
#include "tool/ini/typed_value.h"

namespace {

using fairlead::internal::RequireLaw;
using fairlead::tool::Assignment;
using fairlead::tool::Failure;
using fairlead::tool::ini::Type;
using fairlead::tool::ini::TypedValue;

// Takes the text up to a newline, and the newline.
std::string_view TakeLine(std::string_view& text) {
  const std::string_view line = text.substr(0, text.find('\n'));
  text.remove_prefix(line.size() + (line.size() < text.size() ? 1 : 0));
  return line;
}

bool IsNameByte(char c) {
  return c == '_' || (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') ||
         (c >= 'A' && c <= 'Z');
}

// Reads one assignment by the rules of sh. Nothing if the line is anything
// else.
std::optional<std::pair<std::string, std::string>> Evaluated(
    std::string_view line) {
  std::size_t i = 0;
  while (i < line.size() && IsNameByte(line[i])) ++i;
  const std::string name(line.substr(0, i));
  if (name.empty() || (name[0] >= '0' && name[0] <= '9')) return std::nullopt;
  if (i == line.size() || line[i++] != '=') return std::nullopt;
  std::string value;
  while (i < line.size() && line[i] != '\n') {
    if (line[i] == '\'') {
      const std::size_t end = line.find('\'', i + 1);
      if (end == std::string_view::npos) return std::nullopt;
      value += line.substr(i + 1, end - i - 1);
      i = end + 1;
    } else if (line[i] == '\\' && i + 1 < line.size() && line[i + 1] != '\n') {
      value += line[i + 1];
      i += 2;
    } else if (IsNameByte(line[i])) {
      value += line[i++];
    } else {
      return std::nullopt;  // A byte that a shell may give a meaning.
    }
  }
  if (i + 1 != line.size()) return std::nullopt;
  return std::pair(name, value);
}

void CheckAssignment(std::string_view prefix, std::string_view key,
                     std::string_view value) {
  std::string line;
  try {
    line = Assignment(prefix, key, value);
  } catch (const Failure&) {
    return;
  }
  const auto set = Evaluated(line);
  RequireLaw(set && set->second == value);
  for (const std::string_view used : {"PATH", "IFS", "ENV", "LD_PRELOAD",
                                      "BASH_ENV", "PS4", "PROMPT_COMMAND"})
    RequireLaw(set->first != used);
}

void CheckTypes(std::string_view value) {
  for (const Type type : {Type::kInt, Type::kBool, Type::kSize}) {
    const auto typed = TypedValue(type, value);
    RequireLaw(!typed || TypedValue(type, *typed) == typed);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  std::string_view rest = fairlead::internal::InputText(data, size);
  const std::string_view prefix = TakeLine(rest);
  const std::string_view key = TakeLine(rest);
  if (key.empty()) return 0;
  CheckAssignment(prefix, key, rest);
  CheckTypes(rest);
  return 0;
}
