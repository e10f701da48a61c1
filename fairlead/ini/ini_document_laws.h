// What every edit of every INI document must keep, for random tests and the
// fuzzer. Not installed.

#ifndef FAIRLEAD_INI_INI_DOCUMENT_LAWS_H_
#define FAIRLEAD_INI_INI_DOCUMENT_LAWS_H_

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "fairlead/ini/ini_document.h"
#include "fairlead/ini/ini_document_model.h"
#include "fairlead/ini/ini_text.h"

namespace fairlead::internal {

// The names of the laws that are broken.
using Faults = std::vector<std::string>;

// What a text says besides the entries that a step is about.
class DocumentFrame {
 public:
  DocumentFrame(const IniDocument& document, IniReading reading,
                const DocumentStep& step) {
    for (const IniEntry& entry : document)
      if (!IsAbout(step, entry) &&
          (reading == IniReading::kRecords || !entry.IsDisabled()))
        entries_.push_back(AsText(entry));
  }

  friend bool operator==(const DocumentFrame&, const DocumentFrame&) = default;

  static std::string AsText(const IniEntry& entry) {
    const auto part = [](std::string_view text) {
      return std::string(text) + '\n';
    };
    return entry.mark + part(entry.section) + part(entry.key) +
           part(entry.value);
  }

 private:
  static bool IsAbout(const DocumentStep& step, const IniEntry& entry) {
    const std::string fresh = step.operation == DocumentOperation::kRename
                                  ? Stripped(step.text)
                                  : step.section;
    if (!step.key)
      return entry.section == step.section || entry.section == step.text ||
             entry.section == fresh;
    if (entry.section != step.section) return false;
    return entry.IsHeader() || entry.key == Stripped(*step.key) ||
           entry.key == fresh;
  }

  std::vector<std::string> entries_;
};

inline std::vector<std::string> Lines(std::string_view text) {
  std::vector<std::string> lines;
  while (!text.empty()) {
    const std::size_t length = std::min(text.find('\n'), text.size());
    lines.emplace_back(text.substr(0, length + 1));
    text.remove_prefix(std::min(length + 1, text.size()));
  }
  return lines;
}

// Returns whether two lines are equal, but for a newline at the end of a text
// that one of them does not have.
inline bool SameLine(std::string_view a, std::string_view b) {
  if (a.size() > b.size()) std::swap(a, b);
  return b.starts_with(a) &&
         (a == b || (!a.ends_with('\n') && Stripped(b.substr(a.size())) == ""));
}

// The lines that only one of two texts has, by a longest common subsequence.
struct LineDifference {
  Faults removed;
  Faults added;

  LineDifference(std::string_view before, std::string_view after) {
    constexpr std::string_view kMark = "\xef\xbb\xbf";
    if (before.starts_with(kMark) && after.starts_with(kMark)) {
      before.remove_prefix(kMark.size());
      after.remove_prefix(kMark.size());
    }
    const auto a = Lines(before);
    const auto b = Lines(after);
    std::vector<std::vector<std::size_t>> common(
        a.size() + 1, std::vector<std::size_t>(b.size() + 1));
    for (std::size_t i = a.size(); i-- > 0;)
      for (std::size_t j = b.size(); j-- > 0;)
        common[i][j] = SameLine(a[i], b[j])
                           ? common[i + 1][j + 1] + 1
                           : std::max(common[i + 1][j], common[i][j + 1]);
    std::size_t i = 0;
    std::size_t j = 0;
    while (i < a.size() || j < b.size()) {
      if (i < a.size() && j < b.size() && SameLine(a[i], b[j])) {
        ++i, ++j;
      } else if (j == b.size() ||
                 (i < a.size() && common[i + 1][j] >= common[i][j + 1])) {
        removed.push_back(a[i++]);
      } else {
        added.push_back(b[j++]);
      }
    }
  }
};

// Checks one step on one document.
class DocumentLaws {
 public:
  DocumentLaws(const IniDocument& document, IniReading reading,
               const DocumentStep& step)
      : reading_(reading), step_(step), before_(document), after_(document) {
    result_ = Perform(step, after_);
    CheckResult();
    CheckTable();
    if (result_.code != Code::kDone) return;
    CheckOthers();
    CheckLines();
    CheckUndo();
    if (reading == IniReading::kRecords) CheckRecords();
  }

  const Faults& faults() const { return faults_; }
  const IniDocument& after() const { return after_; }
  IniResult result() const { return result_; }

 private:
  using Code = IniResult::Code;
  using Operation = DocumentOperation;

  void Expect(bool holds, const char* law) {
    if (!holds) faults_.emplace_back(law);
  }

  bool IsLive() const { return reading_ == IniReading::kLive; }
  IniName Name() const { return NameOf(step_); }
  IniDocument Fresh(std::string text) const {
    return IniDocument(std::move(text), reading_);
  }

  // A refused edit changes nothing; one that is done changes something.
  void CheckResult() {
    const bool changed = before_.Text() != after_.Text();
    Expect(changed == (result_.code == Code::kDone), "done means changed");
    Expect(after_.IsEdited() == (before_.IsEdited() || changed), "IsEdited");
    const bool has_line =
        result_.code == Code::kExists || result_.code == Code::kMalformed;
    Expect((result_.line != 0) == has_line, "line");
    Expect(result_.line <= Lines(before_.Text()).size(), "line exists");
    const bool has_reason =
        result_.code == Code::kInvalid || result_.code == Code::kMalformed;
    Expect(result_.reason.empty() != has_reason, "reason");
  }

  // The table is that of the text.
  void CheckTable() {
    const std::string text = after_.Text();
    const IniDocument fresh = Fresh(text);
    Expect(fresh.Text() == text, "identity");
    std::string pieces;
    after_.ForEachPiece([&](std::string_view piece) { pieces += piece; });
    Expect(pieces == text, "pieces");
    Expect(after_.UnclosedHeader() == fresh.UnclosedHeader(), "unclosed");
    auto entry = fresh.begin();
    for (const IniEntry& mine : after_) {
      if (entry == fresh.end()) return Expect(false, "more entries");
      Expect(DocumentFrame::AsText(mine) == DocumentFrame::AsText(*entry) &&
                 mine.line == entry->line &&
                 after_.Comments(mine) == fresh.Comments(*entry),
             "entries");
      ++entry;
    }
    Expect(entry == fresh.end(), "fewer entries");
  }

  // Other entries mean what they did.
  void CheckOthers() {
    Expect(DocumentFrame(before_, reading_, step_) ==
               DocumentFrame(after_, reading_, step_),
           "other entries");
  }

  // Only lines of the record change.
  void CheckLines() {
    const LineDifference difference(before_.Text(), after_.Text());
    const std::size_t removed = difference.removed.size();
    const std::size_t added = difference.added.size();
    switch (step_.operation) {
      case Operation::kSet:
        return Expect(removed <= 1 && added >= 1 && added <= 3, "set lines");
      case Operation::kAdd:
        return Expect(removed == 0 && added >= 1 && added <= 3, "add lines");
      case Operation::kDelete:
        Expect(added == 0, "delete adds no line");
        return CheckRemoved(difference.removed, before_.TextOf(Name()));
      case Operation::kDisable:
      case Operation::kRename:
        Expect(removed == added, "lines are changed");
        return CheckRemoved(difference.removed, before_.TextOf(Name()));
      case Operation::kEnable:
        Expect(removed == added, "lines are enabled");
        return Expect(std::ranges::all_of(difference.removed, IsMarked),
                      "disabled lines are enabled");
      case Operation::kComment:
        Expect(std::ranges::all_of(difference.removed, IsMarked) &&
                   std::ranges::all_of(difference.added, IsMarked),
               "comments only");
    }
  }

  static bool IsMarked(const std::string& line) {
    const std::string stripped = Stripped(line);
    return !stripped.empty() && (stripped[0] == '#' || stripped[0] == ';');
  }

  void CheckRemoved(const Faults& removed, const std::string& record) {
    if (step_.key && step_.index == 0 && IsLive()) return;  // All duplicates.
    const auto own = Lines(record);
    for (const std::string& line : removed)
      Expect(Stripped(line).empty() ||
                 (step_.operation == Operation::kDisable && IsMarked(line)) ||
                 std::ranges::any_of(own,
                                     [&](const std::string& mine) {
                                       return SameLine(mine, line);
                                     }),
             "lines of the record only");
  }

  void CheckUndo() {
    switch (step_.operation) {
      case Operation::kSet:
        return CheckSet();
      case Operation::kAdd:
        return CheckAdd();
      case Operation::kDelete:
        return CheckDelete();
      case Operation::kDisable:
        return CheckDisable();
      case Operation::kEnable:
        return CheckEnable();
      case Operation::kRename:
        return CheckRename();
      case Operation::kComment:
        return CheckUnchanged("comment twice");
    }
  }

  void CheckUnchanged(const char* law) {
    IniDocument again = after_;
    Expect(Perform(step_, again).code == Code::kUnchanged &&
               again.Text() == after_.Text(),
           law);
  }

  void CheckSet() {
    const IniFound found = after_.Find(Name());
    Expect(found && found.entry.value == Stripped(step_.text), "set, get");
    CheckUnchanged("set twice");
  }

  void CheckAdd() {
    const IniName name = {.section = step_.section, .key = step_.key};
    const IniFound found = after_.Find(name);
    Expect(bool(found), "add, find");
    if (found && step_.key)
      Expect(found.entry.value == Stripped(step_.text), "add, get");
    if (!step_.key || !before_.Find({.section = step_.section})) return;
    IniDocument again = after_;
    Expect(again.Delete(name).code == Code::kDone, "add, delete");
    const std::string text = before_.Text();
    Expect(again.Text().starts_with(text) &&
               Stripped(again.Text().substr(text.size())) == "",
           "add, delete is undone");
  }

  void CheckDelete() {
    if (step_.index == 0 && (IsLive() || !step_.key))
      Expect(!after_.Find(Name()), "delete, find");
    Expect(Count(after_) < Count(before_), "delete, count");
  }

  std::size_t Count(const IniDocument& document) const {
    std::size_t count = 0;
    for (const IniEntry& entry : document)
      count += entry.section == step_.section &&
               (!step_.key || entry.key == Stripped(*step_.key)) &&
               (!IsLive() || !entry.IsDisabled());
    return count;
  }

  std::size_t CountDisabled(const IniDocument& document) const {
    std::size_t count = 0;
    for (const IniEntry& entry : document)
      count += entry.section == step_.section && entry.IsDisabled() &&
               step_.key && entry.key == Stripped(*step_.key);
    return count;
  }

  void CheckDisable() {
    if (step_.index == 0 && IsLive())
      Expect(after_.Find(Name()).code == Code::kDisabled, "disable, find");
    if (step_.key && (Count(before_) != 1 || CountDisabled(before_) != 0))
      return;
    if (!IsLive()) return;
    IniDocument again = after_;
    Expect(again.Enable({.section = Name().section, .key = Name().key}).code ==
               Code::kDone,
           "disable, enable");
    Expect(again.Text() == before_.Text(), "disable, enable is undone");
  }

  void CheckEnable() {
    Expect(bool(after_.Find({.section = Name().section, .key = Name().key})),
           "enable, find");
    if (step_.index == 0) CheckUnchanged("enable twice");
  }

  void CheckRename() {
    DocumentStep back = step_;
    if (step_.key)
      back.key = step_.text;
    else
      back.section = step_.text;
    Expect(bool(after_.Find({.section = back.section, .key = back.key})),
           "rename, find");
    if (!IsLive()) return;
    if (step_.index == 0) Expect(!after_.Find(Name()), "rename, find the old");
    back.text = step_.key ? Stripped(*step_.key) : step_.section;
    back.index = 0;
    IniDocument again = after_;
    if (Perform(back, again).code == Code::kDone)
      Expect(again.Text() == before_.Text(), "rename is undone");
  }

  // The text has the records of a list that was edited by CIniFile's rules.
  void CheckRecords() {
    const IniRecords read = RecordsFromText(before_.Text());
    RecordModel model{read.records};
    if (!model.Perform(step_)) return;
    Expect(
        std::ranges::equal(model.records,
                           RecordsFromText(after_.Text()).records, SameRecord),
        "records of the edited list");
  }

  IniReading reading_;
  DocumentStep step_;
  IniDocument before_;
  IniDocument after_;
  IniResult result_;
  Faults faults_;
};

}  // namespace fairlead::internal

#endif  // FAIRLEAD_INI_INI_DOCUMENT_LAWS_H_
