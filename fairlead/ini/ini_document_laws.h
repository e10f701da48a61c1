// What every edit of every INI document must keep, for random tests and the
// fuzzer. Not installed.

#ifndef FAIRLEAD_INI_INI_DOCUMENT_LAWS_H_
#define FAIRLEAD_INI_INI_DOCUMENT_LAWS_H_

#include <algorithm>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "fairlead/ini/ini_document.h"
#include "fairlead/ini/ini_document_model.h"
#include "fairlead/ini/ini_text.h"
#include "fairlead/ini/line_laws_testing.h"

namespace fairlead::internal {

// What a text says besides the entries that a step is about: in the live
// reading too, a disabled key is that of a section.
class DocumentFrame {
 public:
  DocumentFrame(const IniDocument& document, IniReading reading,
                const DocumentStep& step) {
    const bool live = reading == IniReading::kLive;
    const bool switches = !step.key && live;
    const bool enables =
        switches && step.operation == DocumentOperation::kEnable;
    const bool takes_all =
        switches && (step.operation == DocumentOperation::kDisable ||
                     step.operation == DocumentOperation::kDelete);
    std::size_t kept = 0;  // What is above the last active entry.
    std::string section;   // Of the last active header.
    for (const IniEntry& entry : document) {
      const bool is_active = !live || !entry.IsDisabled();
      if (entry.IsHeader() && is_active) section = entry.section;
      // Disabled lines above the last key of a section are its own.
      if (takes_all && is_active && !entry.IsHeader() &&
          section == step.section)
        entries_.resize(kept);
      if (!IsAbout(step, entry) && (is_active || !enables))
        entries_.push_back(AsText(entry));
      if (is_active) kept = entries_.size();
    }
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

inline std::string PiecesOf(const IniDocument& document) {
  std::string pieces;
  document.ForEachPiece([&](std::string_view piece) { pieces += piece; });
  return pieces;
}

// A document that was just read has the very bytes that it was given.
inline Faults FaultsOfReading(const IniDocument& document,
                              std::string_view bytes) {
  Faults faults;
  if (document.Text() != bytes) faults.emplace_back("identity");
  if (document.OriginalText() != bytes) faults.emplace_back("original text");
  if (PiecesOf(document) != bytes) faults.emplace_back("pieces as read");
  if (document.IsEdited()) faults.emplace_back("edited when read");
  return faults;
}

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
    LineLaws(reading, step, before_, after_, faults_).Check();
    CheckUndo();
    CheckTwice();
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
  IniName Name(std::size_t index) const {
    IniName name = Name();
    name.index = index;
    return name;
  }
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
    for (const std::string& fault : FaultsOfReading(fresh, text))
      faults_.push_back(fault);
    Expect(PiecesOf(after_) == text, "pieces");
    Expect(after_.UnclosedHeader() == fresh.UnclosedHeader(), "unclosed");
    auto entry = fresh.begin();
    for (const IniEntry& mine : after_) {
      if (entry == fresh.end()) return Expect(false, "more entries");
      Expect(DocumentFrame::AsText(mine) == DocumentFrame::AsText(*entry) &&
                 mine.line == entry->line &&
                 after_.Comments(mine) == fresh.Comments(*entry) &&
                 after_.Continuation(mine) == fresh.Continuation(*entry),
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
        return;
    }
  }

  // The same edit again finds its work done.
  void CheckTwice() {
    IniDocument again = after_;
    if (IsAboutNext()) return;
    const Code code = Perform(step_, again).code;
    Expect(again.Text() == after_.Text(), "twice, the same text");
    if (step_.operation == Operation::kAdd)
      return Expect(code == Code::kExists, "add twice");
    if (step_.operation == Operation::kDelete ||
        step_.operation == Operation::kRename)
      return Expect(code != Code::kUnchanged, "the old name twice");
    Expect(code == Code::kUnchanged, "twice, unchanged");
  }

  // Returns whether the name means another key than before, since the one that
  // it meant is no longer counted.
  bool IsAboutNext() const {
    switch (step_.operation) {
      case Operation::kDelete:
        return after_.Find(Name()).code == Code::kDone;
      case Operation::kEnable:
      case Operation::kDisable:
        return IsLive() && step_.index != 0;
      default:
        return false;
    }
  }

  void CheckSet() {
    const IniFound found = after_.Find(Name());
    Expect(found && found.entry.value == Stripped(step_.text), "set, get");
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
               Stripped(again.Text().substr(text.size())).empty(),
           "add, delete is undone");
  }

  void CheckDelete() {
    if (step_.index == 0 && (IsLive() || !step_.key))
      Expect(!after_.Find(Name()), "delete, find");
    Expect(Count(after_) < Count(before_), "delete, count");
  }

  bool IsOwn(const IniEntry& entry) const {
    return entry.section == step_.section &&
           (!step_.key || entry.key == Stripped(*step_.key));
  }

  std::size_t Count(const IniDocument& document) const {
    std::size_t count = 0;
    for (const IniEntry& entry : document)
      if (IsOwn(entry) && (!IsLive() || !entry.IsDisabled())) ++count;
    return count;
  }

  std::size_t CountDisabled(const IniDocument& document) const {
    std::size_t count = 0;
    for (const IniEntry& entry : document)
      if (IsOwn(entry) && entry.IsDisabled()) ++count;
    return count;
  }

  // Returns whether Enable() turns on what Disable() has turned off, and no
  // more: in the records reading, it turns on all that is disabled.
  bool IsUndoneByEnable() const {
    if (!IsLive()) return CountDisabled(before_) == 0;
    return !step_.key || (Count(before_) == 1 && CountDisabled(before_) == 0);
  }

  void CheckDisable() {
    if (step_.index == 0 && IsLive())
      Expect(after_.Find(Name()).code == Code::kDisabled, "disable, find");
    if (!IsUndoneByEnable()) return;
    IniName name = Name();
    if (IsLive()) name.index = 0;
    IniDocument again = after_;
    Expect(again.Enable(name).code == Code::kDone, "disable, enable");
    Expect(again.Text() == before_.Text(), "disable, enable is undone");
  }

  void CheckEnable() {
    Expect(bool(after_.Find({.section = Name().section, .key = Name().key})),
           "enable, find");
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
    const Code code = Perform(back, again).code;
    // Other keys may still have the old name; and no new name is like this.
    if (code == Code::kExists)
      return Expect(step_.index != 0 && bool(after_.Find(Name(0))),
                    "rename back, exists");
    if (code == Code::kInvalid)
      return Expect(back.text.starts_with("\xef\xbb\xbf"),
                    "rename back, invalid");
    Expect(code == Code::kDone, "rename back");
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
