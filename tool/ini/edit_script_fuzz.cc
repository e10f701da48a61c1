// Reads any script of edits and compares its words with those of a second
// reader; then makes the edits and compares with calls of the document.
//
// The input is the text of an INI file, a line "----" and the script.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "fairlead/testing/fuzzing.h"
#include "tool/base/failure.h"
#include "tool/ini/edit_script.h"

namespace {

using fairlead::IniDocument;
using fairlead::IniName;
using fairlead::IniResult;
using fairlead::internal::RequireLaw;
using fairlead::tool::Failure;
using fairlead::tool::ini::LineOfScript;
using fairlead::tool::ini::ParseScript;
using fairlead::tool::ini::RunScript;
using fairlead::tool::ini::ScriptLine;

using Words = std::vector<std::string>;

// Splits a line, a byte at a time; nothing if a quote is not closed.
std::optional<Words> Split(std::string_view line) {
  Words words;
  char quote = 0;
  bool in_word = false;
  for (std::size_t i = 0; i < line.size(); ++i) {
    const char c = line[i];
    const bool space = c == ' ' || c == '\t' || c == '\r';
    if (quote == 0 && space) {
      in_word = false;
      continue;
    }
    if (!in_word) words.emplace_back();
    in_word = true;
    if (quote == 0 && (c == '"' || c == '\'')) {
      quote = c;
    } else if (quote != 0 && c == quote) {
      quote = 0;
    } else if (quote == '"' && c == '\\') {
      if (++i == line.size()) return std::nullopt;
      const char next = line[i];
      words.back() += next == 'n'    ? "\n"
                      : next == 't'  ? "\t"
                      : next == '"'  ? "\""
                      : next == '\\' ? "\\"
                                     : std::string{'\\', next};
    } else {
      words.back() += c;
    }
  }
  return quote == 0 ? std::optional(words) : std::nullopt;
}

struct Line {
  std::size_t number;
  Words words;  // With the name of the edit.
};

// Returns the lines that have words, or nothing if one cannot be split.
std::optional<std::vector<Line>> SplitAll(std::string_view text) {
  std::vector<Line> lines;
  std::size_t number = 0;
  while (!text.empty()) {
    const std::string_view line = text.substr(0, text.find('\n'));
    text.remove_prefix(line.size() + (line.size() < text.size() ? 1 : 0));
    ++number;
    const std::size_t first = line.find_first_not_of(" \t\r");
    if (first == std::string_view::npos || line[first] == '#' ||
        line[first] == ';')
      continue;
    const auto words = Split(line);
    if (!words) return std::nullopt;
    lines.push_back({number, *words});
  }
  return lines;
}

// Words that can be written are read back the same.
void RequireReadBack(const Words& words) {
  for (const std::string& word : words)
    if (word.find('\n') != std::string::npos) return;
  const auto again = ParseScript(LineOfScript(words), "again");
  RequireLaw(again.size() == 1);
  RequireLaw(again[0].words == Words(words.begin() + 1, words.end()));
}

IniResult Make(const Words& words, IniDocument& document) {
  const std::string& edit = words[0];
  const std::string& last = words.back();
  const bool has_text = edit == "set" || edit == "comment" || edit == "rename";
  IniName name = {.section = words[1]};
  if (words.size() > (has_text ? 3U : 2U)) name.key = words[2];
  if (edit == "set") return document.Set(name, last);
  if (edit == "add") return document.Add(name, last);
  if (edit == "delete") return document.Delete(name);
  if (edit == "enable") return document.Enable(name);
  if (edit == "disable") return document.Disable(name);
  if (edit == "comment") return document.Comment(name, last);
  RequireLaw(edit == "rename");
  return document.Rename(name, last);
}

// Returns the number of the line that fails, or 0.
std::size_t MakeAll(const std::vector<Line>& lines, IniDocument& document) {
  for (const Line& line : lines)
    if (!Make(line.words, document).IsOk()) return line.number;
  return 0;
}

void RequireSameEdits(const std::vector<ScriptLine>& script,
                      const std::vector<Line>& lines, std::string_view text) {
  IniDocument expected{std::string(text)};
  const std::size_t failing = MakeAll(lines, expected);
  IniDocument document{std::string(text)};
  try {
    RunScript(script, "script", document, "file");
    RequireLaw(failing == 0);
  } catch (const Failure& failure) {
    const std::string prefix = "script:" + std::to_string(failing) + ": ";
    RequireLaw(failing != 0);
    RequireLaw(std::string_view(failure.what()).starts_with(prefix));
  }
  RequireLaw(document.Text() == expected.Text());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  if (size > 2000) return 0;
  const auto [text, edits] =
      fairlead::internal::CutAtRule(fairlead::internal::InputText(data, size));
  const auto lines = SplitAll(edits);
  std::vector<ScriptLine> script;
  try {
    script = ParseScript(edits, "script");
  } catch (const Failure& failure) {
    RequireLaw(std::string_view(failure.what()).starts_with("script:"));
    return 0;
  }
  RequireLaw(lines && lines->size() == script.size());
  for (std::size_t i = 0; i < script.size(); ++i) {
    const Words& words = (*lines)[i].words;
    RequireLaw(script[i].number == (*lines)[i].number);
    RequireLaw(script[i].words == Words(words.begin() + 1, words.end()));
    RequireReadBack(words);
  }
  RequireSameEdits(script, *lines, text);
  return 0;
}
