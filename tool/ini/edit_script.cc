// Scripts of edits: one edit in each line.

#include "tool/ini/edit_script.h"

#include <algorithm>
#include <array>
#include <optional>
#include <utility>

#include "tool/base/concat.h"
#include "tool/base/escapes.h"
#include "tool/base/failure.h"
#include "tool/ini/ini_place.h"
#include "tool/ini/ini_source.h"

namespace fairlead::tool::ini {

// An edit of a script, and the words that follow its name.
struct EditForm {
  std::string_view name;
  std::string_view words;
  // How many words there are for a section, and how many for a key; of an edit
  // that is made of keys alone, the same.
  std::size_t for_section;
  std::size_t for_key;
  IniResult (*run)(IniDocument& document, const IniName& name,
                   std::string_view last_word);
  bool renames = false;
};

namespace {

bool IsSpace(char c) { return c == ' ' || c == '\t' || c == '\r'; }

// Returns whether a line of a script is empty or a comment.
bool IsSkipped(std::string_view line) {
  while (!line.empty() && IsSpace(line[0])) line.remove_prefix(1);
  return line.empty() || line[0] == '#' || line[0] == ';';
}

// Takes the words from a line one by one.
class WordReader {
 public:
  explicit WordReader(std::string_view line) : rest_(line) { SkipSpaces(); }

  bool AtEnd() const { return rest_.empty(); }

  // Returns nothing if a quote is not closed.
  std::optional<std::string> Take() {
    std::string word;
    while (!rest_.empty() && !IsSpace(rest_[0]))
      if (!TakePart(word)) return std::nullopt;
    SkipSpaces();
    return word;
  }

 private:
  void SkipSpaces() {
    while (!rest_.empty() && IsSpace(rest_[0])) rest_.remove_prefix(1);
  }

  // Takes a character, or all between two quotes.
  bool TakePart(std::string& word) {
    const char first = rest_[0];
    rest_.remove_prefix(1);
    if (first == '\'') return TakeSingleQuoted(word);
    if (first == '"') return TakeDoubleQuoted(word);
    word += first;
    return true;
  }

  bool TakeSingleQuoted(std::string& word) {
    const std::size_t end = rest_.find('\'');
    if (end == std::string_view::npos) return false;
    word += rest_.substr(0, end);
    rest_.remove_prefix(end + 1);
    return true;
  }

  bool TakeDoubleQuoted(std::string& word) {
    for (bool escaped = false; !rest_.empty();) {
      const char c = rest_[0];
      rest_.remove_prefix(1);
      if (!escaped && c == '"') return true;
      if (escaped)
        word += Unescaped(c);
      else if (c != '\\')
        word += c;
      escaped = !escaped && c == '\\';
    }
    return false;
  }

  static std::string Unescaped(char c) {
    switch (c) {
      case 'n':
        return "\n";
      case 't':
        return "\t";
      case '"':
      case '\\':
        return {c};
      default:
        return {'\\', c};
    }
  }

  std::string_view rest_;
};

constexpr auto kEdits = std::to_array<EditForm>({
    {"set", "SECTION KEY VALUE", 3, 3,
     [](IniDocument& document, const IniName& name, std::string_view value) {
       return document.Set(name, value);
     }},
    {"add", "SECTION [KEY VALUE]", 1, 3,
     [](IniDocument& document, const IniName& name, std::string_view value) {
       return document.Add(name, value);
     }},
    {"delete", "SECTION [KEY]", 1, 2,
     [](IniDocument& document, const IniName& name, std::string_view /*word*/) {
       return document.Delete(name);
     }},
    {"enable", "SECTION [KEY]", 1, 2,
     [](IniDocument& document, const IniName& name, std::string_view /*word*/) {
       return document.Enable(name);
     }},
    {"disable", "SECTION [KEY]", 1, 2,
     [](IniDocument& document, const IniName& name, std::string_view /*word*/) {
       return document.Disable(name);
     }},
    {"comment", "SECTION [KEY] TEXT", 2, 3,
     [](IniDocument& document, const IniName& name, std::string_view text) {
       return document.Comment(name, text);
     }},
    {"rename", "SECTION [KEY] NEW", 2, 3,
     [](IniDocument& document, const IniName& name, std::string_view to) {
       return document.Rename(name, to);
     },
     true},
});

std::string KnownEdits() {
  std::string names;
  for (const EditForm& edit : kEdits)
    names.append(names.empty() ? "" : ", ").append(edit.name);
  return names;
}

// Returns the form of the edit that the words, a name and what follows, spell.
const EditForm& FormOf(const std::vector<std::string>& words,
                       std::string_view script, std::size_t line) {
  const auto* const form =
      std::ranges::find(kEdits, words.front(), &EditForm::name);
  if (form == kEdits.end())
    FailMalformed(
        script, line,
        Concat(Quoted(words.front()), " is no edit; expected ", KnownEdits()));
  const std::size_t count = words.size() - 1;
  if (count != form->for_section && count != form->for_key)
    FailMalformed(script, line,
                  Concat("expected ", form->name, " ", form->words));
  return *form;
}

// Returns the section or key that a line is about.
Place PlaceIn(const ScriptLine& line) {
  Place place = {.section = line.words[0]};
  if (line.words.size() == line.form->for_key) place.key = line.words[1];
  return place;
}

// Returns the place that an edit which renames leads to.
Place NewPlaceIn(const ScriptLine& line) {
  Place place = PlaceIn(line);
  if (line.form->renames)
    (place.key ? *place.key : place.section) = line.words.back();
  return place;
}

void RunLine(const ScriptLine& line, IniDocument& document,
             const std::string& file) {
  const Place place = PlaceIn(line);
  const IniResult result =
      line.form->run(document, place.Name(), line.words.back());
  if (result.code == IniResult::Code::kInvalid)
    throw Failure(kMalformedInput, std::string(result.reason));
  Require(result, file, place, NewPlaceIn(line));
}

// Returns whether a script can have the word without quotes.
bool IsPlain(std::string_view word) {
  return !word.empty() && std::ranges::none_of(word, [](char c) {
    return IsSpace(c) || c == '\'' || c == '"' || c == '\n';
  });
}

}  // namespace

std::vector<ScriptLine> ParseScript(std::string_view text,
                                    std::string_view name) {
  std::vector<ScriptLine> script;
  for (std::size_t number = 1; !text.empty(); ++number) {
    const std::string_view whole = text.substr(0, text.find('\n'));
    text.remove_prefix(std::min(whole.size() + 1, text.size()));
    if (IsSkipped(whole)) continue;
    WordReader words(whole);
    std::vector<std::string> line;
    while (!words.AtEnd()) {
      const std::optional<std::string> word = words.Take();
      if (!word) FailMalformed(name, number, "a quote is not closed");
      line.push_back(*word);
    }
    const EditForm& form = FormOf(line, name, number);
    line.erase(line.begin());
    script.push_back({number, &form, std::move(line)});
  }
  return script;
}

void RunScript(const std::vector<ScriptLine>& script, std::string_view name,
               IniDocument& document, const std::string& file) {
  for (const ScriptLine& line : script) {
    try {
      RunLine(line, document, file);
    } catch (const Failure& failure) {
      throw Failure(failure.status(), Concat(Visible(name), ":", line.number,
                                             ": ", failure.what()));
    }
  }
}

std::string LineOfScript(const std::vector<std::string>& words) {
  std::string line;
  for (const std::string& word : words) {
    if (!line.empty()) line += ' ';
    if (IsPlain(word)) {
      line += word;
      continue;
    }
    line += '"';
    for (const char c : word) {
      if (c == '"' || c == '\\') line += '\\';
      line += c;
    }
    line += '"';
  }
  return line + "\n";
}

}  // namespace fairlead::tool::ini
