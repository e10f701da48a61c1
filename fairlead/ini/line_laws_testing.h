// Which lines an edit of an INI document may change, and how, for tests. Not
// installed.

#ifndef FAIRLEAD_INI_LINE_LAWS_TESTING_H_
#define FAIRLEAD_INI_LINE_LAWS_TESTING_H_

#include <algorithm>
#include <cstddef>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "fairlead/ini/ini_document.h"
#include "fairlead/ini/ini_document_model.h"
#include "fairlead/ini/line_difference_testing.h"

namespace fairlead::internal {

// The names of the laws that are broken.
using Faults = std::vector<std::string>;

// Checks that a step, which was done, has changed only lines of its record.
class LineLaws {
 public:
  // Appends to `faults`. Keeps the references.
  LineLaws(IniReading reading, const DocumentStep& step,
           const IniDocument& before, const IniDocument& after, Faults& faults)
      : reading_(reading),
        step_(step),
        before_(before),
        after_(after),
        before_text_(before.Text()),
        after_text_(after.Text()),
        faults_(faults) {}

  void Check() {
    CheckOtherLines();
    CheckLines();
  }

 private:
  using Operation = DocumentOperation;

  void Expect(bool holds, const char* law) {
    if (!holds) faults_.emplace_back(law);
  }

  bool IsLive() const { return reading_ == IniReading::kLive; }
  IniName Name() const { return NameOf(step_); }

  // A line that is no INI, or an indented header without `]`.
  struct OtherLine {
    std::string section;
    std::string key;  // Whose value may continue on it; "" if none does.
    std::string text;

    friend bool operator==(const OtherLine&, const OtherLine&) = default;
  };

  // Lines that are no INI are in the section where they were, for programs that
  // give them a meaning, and continue the same value; or they are gone with
  // their section.
  void CheckOtherLines() {
    if (!IsLive() || (step_.operation == Operation::kRename && !step_.key))
      return;
    auto before = OtherLines(before_.Text());
    auto after = OtherLines(after_.Text());
    if (step_.operation == Operation::kDelete)
      Expect(std::ranges::all_of(after,
                                 [&before](const OtherLine& line) {
                                   return std::ranges::count(before, line) != 0;
                                 }),
             "other lines below what is deleted");
    Expect(WithoutOwn(std::move(before)) == WithoutOwn(std::move(after)),
           "other lines");
  }

  // Returns the lines without those of a deleted section, and with the new name
  // of a key that is renamed.
  std::vector<OtherLine> WithoutOwn(std::vector<OtherLine> lines) const {
    if (step_.operation == Operation::kDelete && !step_.key)
      std::erase_if(lines, [this](const OtherLine& line) {
        return line.section == step_.section;
      });
    if (step_.operation != Operation::kRename) return lines;
    for (OtherLine& line : lines)
      if (line.section == step_.section && line.key == Stripped(*step_.key))
        line.key = Stripped(step_.text);
    return lines;
  }

  static std::vector<OtherLine> OtherLines(std::string_view text) {
    SkipByteOrderMark(text);
    std::vector<OtherLine> others;
    std::string section;
    std::string key;       // Whose value an indented line continues.
    bool is_open = false;  // The value above goes on in an indented line.
    for (const std::string& line : Lines(text)) {
      const std::string stripped = Stripped(line);
      const bool is_indented = line.starts_with(' ') || line.starts_with('\t');
      const bool is_value = is_open && is_indented;
      const bool is_header = stripped.starts_with('[') && !is_value;
      const std::size_t equals = stripped.find('=');
      const bool is_key =
          !is_header && !is_value && equals != 0 && equals != std::string::npos;
      const bool was_open = std::exchange(is_open, false);
      if (stripped.empty() || IsMarked(line)) continue;
      const bool may_continue =
          is_header && is_indented && stripped.find(']') == std::string::npos;
      if (is_header) section = stripped.substr(1, stripped.find(']') - 1);
      if (!is_indented && !was_open) key.clear();
      if (is_header && !may_continue) key.clear();
      if (is_key) key = Stripped(stripped.substr(0, equals));
      if (may_continue || (!is_header && !is_key))
        others.push_back({section, key, stripped});
      is_open = stripped.ends_with('\\') && !is_header &&
                (is_indented || is_key || was_open);
    }
    return others;
  }

  void CheckLines() {
    switch (step_.operation) {
      case Operation::kSet:
        return before_.Find(Name()) ? CheckValueLine() : CheckNewLines();
      case Operation::kAdd:
        return CheckNewLines();
      case Operation::kDelete:
        return CheckDeletedLines();
      case Operation::kEnable:
      case Operation::kDisable:
      case Operation::kRename:
        return CheckChangedLines();
      case Operation::kComment:
        return CheckCommentLines();
    }
  }

  // In the records reading, a byte order mark is a part of its line.
  LineDifference Difference() const {
    std::string_view before = before_text_;
    std::string_view after = after_text_;
    if (IsLive()) SkipByteOrderMark(before, after);
    return {before, after};
  }

  // A value is replaced in its line, where it is; an empty one, behind the '='.
  void CheckValueLine() {
    auto lines = Lines(before_.Text());
    const auto changed = Lines(after_.Text());
    const IniEntry entry = before_.Find(Name()).entry;
    if (changed.size() != lines.size()) return Expect(false, "set, lines");
    std::string& line = lines[entry.line - 1];
    const std::string& now = changed[entry.line - 1];
    const std::size_t behind = line.find('=') + 1;
    if (entry.value.empty()) {
      Expect(now.starts_with(line.substr(0, behind)), "set keeps the key");
      line = now;
    } else {
      line.replace(line.find(entry.value, behind), entry.value.size(),
                   Stripped(step_.text));
    }
    Expect(lines == changed, "set changes the value only");
  }

  // New are the line itself, a header if the section has none, and blank lines.
  void CheckNewLines() {
    const LineDifference difference = Difference();
    const bool has_header = (IsLive() && step_.section.empty()) ||
                            before_.Find({.section = step_.section});
    const std::size_t wanted = step_.key && !has_header ? 2 : 1;
    Expect(difference.removed.empty() && difference.added.size() <= 3 &&
               WithoutBlanks(difference.added).size() == wanted,
           "new lines only");
    for (const std::string& line : difference.added)
      if (Stripped(line).starts_with('['))
        Expect(IsIndentedLikeHeaders(line), "the indentation of a new header");
  }

  static std::string Indentation(const std::string& line) {
    return line.substr(0, line.find_first_not_of(" \t"));
  }

  // Returns whether a line is a header in brackets, disabled or not. In the
  // records reading, a line that is no INI is one too, without a name.
  static bool StartsWithBracket(const std::string& line) {
    const std::size_t begin = line.find_first_not_of(" \t\r#;");
    return begin != std::string::npos && line[begin] == '[';
  }

  // If all headers are indented alike, so is a new one; unless it is below a
  // backslash, where it would continue a value.
  bool IsIndentedLikeHeaders(const std::string& added) const {
    std::string_view text = before_text_;
    if (IsLive()) SkipByteOrderMark(text);
    const auto lines = Lines(text);
    std::set<std::string> all;
    bool may_continue = false;
    for (const IniEntry& entry : before_)
      if (entry.IsHeader() && entry.line != 0 &&
          StartsWithBracket(lines[entry.line - 1]))
        all.insert(Indentation(lines[entry.line - 1]));
    for (const std::string& line : lines)
      may_continue |= Stripped(line).ends_with('\\');
    const std::string own = Indentation(added);
    if (all.empty() || (may_continue && own.empty())) return own.empty();
    return all.contains(own);
  }

  void CheckDeletedLines() {
    const LineDifference difference = Difference();
    Expect(difference.added.empty(), "delete adds no line");
    std::string own = before_.TextOf(Name());
    if (step_.key && step_.index == 0 && IsLive()) {  // All duplicates.
      own.clear();
      IniName name = Name();
      for (name.index = 1; before_.Find(name); ++name.index)
        own += before_.TextOf(name) + '\n';
    }
    auto gone = WithoutBlanks(difference.removed);
    auto expected = WithoutBlanks(Lines(own));
    std::ranges::sort(gone);
    std::ranges::sort(expected);
    Expect(gone == expected, "delete the lines of the record");
  }

  // Lines of the record are changed where they are.
  void CheckChangedLines() {
    const std::string before = before_.Text();
    const std::string after = after_.Text();
    std::string_view old_text = before;
    std::string_view new_text = after;
    SkipByteOrderMark(old_text, new_text);
    const auto lines = Lines(old_text);
    const auto changed = Lines(new_text);
    if (changed.size() != lines.size())
      return Expect(false, "lines are changed");
    const auto own = OwnLines(lines);
    for (std::size_t i = 0; i < lines.size(); ++i) {
      if (lines[i] == changed[i]) continue;
      Expect(own[i], "lines of the record only");
      Expect(IsChangeOf(lines[i], changed[i]), "what changes in a line");
    }
  }

  // Marks the lines that the step is about: its entries, and what is disabled
  // below their headers, if the section is switched in the live reading.
  std::vector<bool> OwnLines(const std::vector<std::string>& lines) const {
    std::vector<bool> own(lines.size());
    const bool enables = step_.operation == Operation::kEnable;
    const bool switches = IsLive() && !step_.key &&
                          (enables || step_.operation == Operation::kDisable);
    bool in_section = step_.section.empty();
    auto entry = before_.begin();
    for (std::size_t i = 0; i < lines.size(); ++i) {
      own[i] = switches && in_section && IsMarked(lines[i]);
      if (entry == before_.end() || entry->line != i + 1) continue;
      const bool is_own = entry->section == step_.section;
      if (entry->IsHeader() && (enables || !entry->IsDisabled()))
        in_section = is_own;
      if (is_own && (!step_.key || entry->key == Stripped(*step_.key)))
        own[i] = true;
      ++entry;
    }
    return own;
  }

  bool IsChangeOf(const std::string& line, const std::string& changed) const {
    if (step_.operation == Operation::kRename) return IsRenamed(line, changed);
    if (step_.operation == Operation::kEnable)
      return IsMarkedLine(changed, line);
    return IsMarkedLine(line, changed) ||
           (!IsLive() && IsMarkedLine(WithoutMark(line), changed));
  }

  static std::string WithoutMark(std::string line) {
    const std::size_t mark = line.find_first_of("#;");
    return mark == std::string::npos ? line : line.erase(mark, 1);
  }

  static bool IsRenamed(std::string line, const std::string& changed,
                        std::string_view from, std::string_view to) {
    const std::size_t at = line.find(from);
    return at != std::string::npos &&
           line.replace(at, from.size(), to) == changed;
  }

  bool IsRenamed(const std::string& line, const std::string& changed) const {
    if (step_.key)
      return IsRenamed(line, changed, Stripped(*step_.key),
                       Stripped(step_.text));
    return IsRenamed(line, changed, '[' + step_.section + ']',
                     '[' + step_.text + ']');
  }

  // Returns whether `marked` is `plain` with one or two comment characters
  // before its first character, and perhaps spaces behind them.
  static bool IsMarkedLine(const std::string& plain,
                           const std::string& marked) {
    std::size_t rest = marked.find_first_of("#;");
    if (rest == std::string::npos) return false;
    const std::string indent = marked.substr(0, rest);
    for (int count = 0; count < 2 && IsMarked(marked.substr(rest)); ++count) {
      const std::string behind = marked.substr(++rest);
      const std::size_t text =
          std::min(behind.find_first_not_of(" \t\r"), behind.size());
      if (plain == indent + behind || plain == indent + behind.substr(text))
        return true;
    }
    return false;
  }

  // Only comments above the record change, and they are as asked.
  void CheckCommentLines() {
    const LineDifference difference = Difference();
    const auto old = Lines(before_.Comments(before_.Find(Name()).entry));
    for (const std::string& line : difference.removed)
      Expect(std::ranges::count(old, line) != 0, "comments of the record only");
    Expect(std::ranges::all_of(difference.added, IsMarked), "comments only");
    Expect(WithoutBlanks(Lines(after_.Comments(after_.Find(Name()).entry))) ==
               Lines(RecordModel::AsComments(step_.text)),
           "comment, get");
  }

  static bool IsMarked(const std::string& line) {
    const std::string stripped = Stripped(line);
    return !stripped.empty() && (stripped[0] == '#' || stripped[0] == ';');
  }

  // Returns the lines that are not blank, trimmed and with an LF each.
  static std::vector<std::string> WithoutBlanks(
      const std::vector<std::string>& lines) {
    std::vector<std::string> full;
    for (const std::string& line : lines)
      if (const std::string text = Stripped(line); !text.empty())
        full.push_back(text + '\n');
    return full;
  }

  const IniReading reading_;
  const DocumentStep& step_;
  const IniDocument& before_;
  const IniDocument& after_;
  const std::string before_text_;
  const std::string after_text_;
  Faults& faults_;
};

}  // namespace fairlead::internal

#endif  // FAIRLEAD_INI_LINE_LAWS_TESTING_H_
