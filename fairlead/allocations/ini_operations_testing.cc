// For the test of allocations: INI documents, and the table of their keys.

#include <functional>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "fairlead/allocations/operations_testing.h"
#include "fairlead/ini/ini_document.h"
#include "fairlead/ini/ini_keys.h"

namespace fairlead::internal::ini_operations {
namespace {

using Preparation = std::function<Prepared(const TempFolder&)>;

// Duplicates in two parts of a section, so that most edits change several
// lines; without a final newline, which most new lines need.
std::string DocumentText() {
  const std::string part = "\n[" + kSection + "]\n# " + kNew + "\n" + kKey +
                           " = " + kValue + "\n  more of it\n#off = 1\n";
  return part + part + kKey + "=2";
}

// Its state is its text.
template <typename Function>
Preparation OnDocument(Function function) {
  return [function](const TempFolder&) {
    const auto document = std::make_shared<IniDocument>(DocumentText());
    return Prepared{.act = [function, document] { return function(*document); },
                    .state = [document] { return document->Text(); }};
  };
}

template <typename Function>
Preparation Edits(Function function) {
  return OnDocument([function](IniDocument& document) {
    return function(document).code == IniResult::Code::kDone
               ? std::string("done")
               : std::string("refused");
  });
}

const IniName kOfKey = {kSection, kKey};
const IniName kOfNewKey = {kSection, kNew};

const Operation kDocumentEdits[] = {
    {"SetAKey",
     {"IniDocument::Set(IniName const&, std::string_view)"},
     Edits([](auto& d) { return d.Set(kOfKey, kNew); })},
    {"SetANewKey", {}, Edits([](auto& d) { return d.Set(kOfNewKey, kNew); })},
    {"SetInANewSection", {}, Edits([](auto& d) {
       return d.Set({kNew, kKey}, kNew);
     })},
    {"AddASection",
     {"IniDocument::Add(IniName const&, std::string_view, IniPlace const&)"},
     Edits([](auto& d) { return d.Add({kNew}); })},
    {"AddAKeyBefore", {}, Edits([](auto& d) {
       return d.Add(kOfNewKey, kValue,
                    {.where = IniPlace::Where::kBefore, .name = kKey});
     })},
    {"DeleteAKey", {"IniDocument::Delete(IniName const&)"}, Edits([](auto& d) {
       return d.Delete(kOfKey);
     })},
    {"DeleteASection", {}, Edits([](auto& d) { return d.Delete({kSection}); })},
    {"EnableAKey", {"IniDocument::Enable(IniName const&)"}, Edits([](auto& d) {
       return d.Enable({kSection, "off"});
     })},
    {"DisableAKey",
     {"IniDocument::Disable(IniName const&, char)"},
     Edits([](auto& d) { return d.Disable(kOfKey); })},
    {"DisableASection", {}, Edits([](auto& d) {
       return d.Disable({kSection}, ';');
     })},
    {"RenameAKey",
     {"IniDocument::Rename(IniName const&, std::string_view)"},
     Edits([](auto& d) { return d.Rename(kOfKey, kNew); })},
    {"RenameASection", {}, Edits([](auto& d) {
       return d.Rename({kSection}, kNew);
     })},
    {"CommentAKey",
     {"IniDocument::Comment(IniName const&, std::string_view)"},
     Edits([](auto& d) { return d.Comment(kOfKey, kNew + '\n' + kNew); })},
};

const Operation kDocumentCopies[] = {
    {"ConstructDocument",
     {"IniDocument::IniDocument(std::string, IniReading)",
      "IniDocument::~IniDocument()"},
     Call([] {
       return IniDocument(DocumentText(), IniReading::kRecords).Text();
     })},
    {"CopyDocument",
     {"IniDocument::IniDocument(IniDocument const&)"},
     OnDocument([](IniDocument& document) {
       return IniDocument(document).Text();  // NOLINT
     })},
    {"AssignDocument",
     {"IniDocument::operator=(IniDocument const&)"},
     [](const TempFolder&) {
       const auto from = std::make_shared<IniDocument>(DocumentText());
       const auto to = std::make_shared<IniDocument>("[n]\n");
       return Prepared{.act =
                           [from, to] {
                             *to = *from;
                             return "done";
                           },
                       .state = [to] { return to->Text(); }};
     }},
    {"MoveDocument",
     {"IniDocument::IniDocument(IniDocument&&)",
      "IniDocument::operator=(IniDocument&&)"},
     OnDocument([](IniDocument& document) {
       IniDocument other(std::move(document));
       document = std::move(other);
       return "moved twice";
     }),
     Memory::kNone},
};

const Operation kDocumentReaders[] = {
    {"Text",
     {"IniDocument::Text() const"},
     OnDocument([](IniDocument& document) { return document.Text(); })},
    {"TextOf",
     {"IniDocument::TextOf(IniName const&) const"},
     OnDocument([](IniDocument& document) { return document.TextOf(kOfKey); })},
    {"Comments",
     {"IniDocument::Comments(IniEntry const&) const"},
     OnDocument([](IniDocument& document) {
       return document.Comments(*std::next(document.begin()));
     })},
    {"Continuation",
     {"IniDocument::Continuation(IniEntry const&) const"},
     OnDocument([](IniDocument& document) {
       return document.Continuation(*std::next(document.begin())) + kValue;
     })},
    {"Iterate",
     {"IniDocument::begin() const", "IniDocument::end() const",
      "IniDocument::Iterator::Iterator(internal::LineTable const&, bool)",
      "IniDocument::Iterator::operator++()",
      "IniDocument::Iterator::operator++(int)"},
     OnDocument([](IniDocument& document) {
       int entries = 0;
       for (auto entry = document.begin(); entry != document.end(); entry++)
         ++entries;
       for (auto entry = document.begin(); entry != document.end(); ++entry)
         ++entries;
       return entries == 14 ? "14" : "other";
     }),
     Memory::kNone},
    {"Find",
     {"IniDocument::Find(IniName const&) const",
      "IniDocument::Value(std::string_view, std::string_view) const"},
     OnDocument([](IniDocument& document) {
       return document.Find(kOfKey) && document.Value(kSection, kKey) == "2"
                  ? "found"
                  : "not found";
     }),
     Memory::kNone},
    {"ForEachLineOf",
     {"IniDocument::ForEachLineOf(IniName const&, std::function<void "
      "(std::string_view)> const&) const"},
     OnDocument([](IniDocument& document) {
       std::size_t bytes = 0;
       document.ForEachLineOf(
           kOfKey, [&bytes](std::string_view text) { bytes += text.size(); });
       return bytes > 20 ? "some" : "few";
     })},
    {"ForEachPiece",
     {"IniDocument::IsEdited() const", "IniDocument::OriginalText() const",
      "IniDocument::UnclosedHeader() const",
      "IniDocument::ForEachPiece(std::function<void (std::string_view)> "
      "const&) const"},
     OnDocument([](IniDocument& document) {
       std::size_t bytes = 0;
       document.ForEachPiece(
           [&bytes](std::string_view text) { bytes += text.size(); });
       return bytes == document.OriginalText().size() && !document.IsEdited() &&
                      document.UnclosedHeader() == 0
                  ? "whole"
                  : "";
     }),
     Memory::kNone},
};

const Operation kKeyTables[] = {
    {"IniKeys",
     {"IniKeys::IniKeys(IniDocument const&, IniKeys::Which)"},
     OnDocument([](IniDocument& document) {
       const IniKeys keys(document, IniKeys::Which::kDisabledToo);
       return std::to_string(keys.size());
     })},
    {"FindInKeys",
     {"IniKeys::Find(std::string_view, std::string_view) const",
      "IniKeys::IsFirst(IniEntry const&) const"},
     [](const TempFolder&) {
       const auto document = std::make_shared<IniDocument>(DocumentText());
       const auto keys = std::make_shared<IniKeys>(*document);
       return Prepared{[document, keys] {
         const auto entry = keys->Find(kSection, kKey);
         return entry && !keys->IsFirst(*entry) ? "last" : "first";
       }};
     },
     Memory::kNone},
};

}  // namespace

static std::vector<Operation> All() {
  std::vector<Operation> all(std::begin(kDocumentEdits),
                             std::end(kDocumentEdits));
  all.insert(all.end(), std::begin(kDocumentCopies), std::end(kDocumentCopies));
  all.insert(all.end(), std::begin(kDocumentReaders),
             std::end(kDocumentReaders));
  all.insert(all.end(), std::begin(kKeyTables), std::end(kKeyTables));
  return all;
}

}  // namespace fairlead::internal::ini_operations

namespace fairlead::internal {
const std::vector<Operation> kDocumentOperations = ini_operations::All();
}  // namespace fairlead::internal
