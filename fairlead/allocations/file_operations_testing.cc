// For the test of allocations: the INI store, and files as a whole.

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "fairlead/allocations/operations_testing.h"
#include "fairlead/file/file_edit.h"
#include "fairlead/ini/ini_file.h"
#include "fairlead/ini/ini_text.h"
#include "fairlead/ini/profile.h"

namespace fairlead::internal::file_operations {
namespace {

using Preparation = std::function<Prepared(const TempFolder&)>;

// An operation on a file: what it returns as a text.
template <typename Function>
Preparation OnFile(Function function) {
  return [function](const TempFolder& folder) {
    const std::string path = folder.Path("box.ini");
    WriteFile(path, kIniText);
    return Prepared{[function, path] { return function(path); }};
  };
}

// The same of an operation that returns whether it changed the file.
template <typename Function>
Preparation Edits(Function function) {
  return OnFile([function](const std::string& path) {
    return function(path) ? std::string("changed") : std::string("not changed");
  });
}

std::string Joined(const std::vector<CIniFile::Record>& records) {
  std::string text;
  for (const CIniFile::Record& record : records)
    text += record.Comments + record.Section + record.Key + record.Value;
  return text;
}

const Operation kReaders[] = {
    {"Load",
     {"CIniFile::Load(std::string const&, std::vector<CIniFile::Record>&)"},
     OnFile([](const std::string& path) {
       std::vector<CIniFile::Record> records;
       CIniFile::Load(path, records);
       return Joined(records);
     })},
    {"Content",
     {"CIniFile::Content(std::string const&)"},
     OnFile([](const std::string& path) { return CIniFile::Content(path); })},
    {"GetSections",
     {"CIniFile::GetSections(std::string const&)"},
     OnFile([](const std::string& path) {
       return Joined(CIniFile::GetSections(path));
     })},
    {"GetSection",
     {"CIniFile::GetSection(std::string_view, std::string const&)"},
     OnFile([](const std::string& path) {
       return Joined(CIniFile::GetSection(kSection, path));
     })},
    {"GetSectionNames",
     {"CIniFile::GetSectionNames(std::string const&)"},
     OnFile([](const std::string& path) {
       return CIniFile::GetSectionNames(path).back();
     })},
    {"SectionExists",
     {"CIniFile::SectionExists(std::string_view, std::string const&)"},
     Edits([](const std::string& path) {
       return CIniFile::SectionExists(kSection, path);
     })},
    {"GetRecord",
     {"CIniFile::GetRecord(std::string_view, std::string_view, std::string "
      "const&)"},
     OnFile([](const std::string& path) {
       return Joined(CIniFile::GetRecord(kKey, kSection, path));
     })},
    {"GetValue",
     {"CIniFile::GetValue(std::string_view, std::string_view, std::string "
      "const&)"},
     OnFile([](const std::string& path) {
       return CIniFile::GetValue("last", kSection, path);
     })},
    {"RecordExists",
     {"CIniFile::RecordExists(std::string_view, std::string_view, "
      "std::string const&)"},
     Edits([](const std::string& path) {
       return CIniFile::RecordExists(kKey, kSection, path);
     })},
    {"GetPrivateProfileStr",
     {"GetPrivateProfileStr(std::string_view, std::string_view, std::string, "
      "std::string const&)"},
     OnFile([](const std::string& path) {
       return GetPrivateProfileStr(kSection, "last", kNew, path);
     })},
    {"GetPrivateProfileInteger",
     {"GetPrivateProfileInteger(std::string_view, std::string_view, int, "
      "std::string const&)"},
     OnFile([](const std::string& path) {
       return std::to_string(GetPrivateProfileInteger(kSection, kNew, 7, path));
     })},
    {"ReadFileContent",
     {"ReadFileContent(std::string const&)"},
     OnFile([](const std::string& path) {
       return fairlead::ReadFileContent(path).text;
     })},
};

const Operation kWriters[] = {
    {"Save",
     {"CIniFile::Save(std::string const&, std::vector<CIniFile::Record> "
      "const&)"},
     Edits([](const std::string& path) {
       return CIniFile::Save(path, {{"#" + kNew + "\n", ' ', "s", "", ""},
                                    {"", ';', "s", kKey, kValue}});
     })},
    {"Create",
     {"CIniFile::Create(std::string const&)"},
     [](const TempFolder& folder) {
       const std::string path = folder.Path("a new file with a long name.ini");
       return Prepared{[path] {
         // A copy, since creating a file takes no memory of its own.
         return CIniFile::Create(std::string(path)) ? "done" : "not done";
       }};
     }},
    {"AddSection",
     {"CIniFile::AddSection(std::string_view, std::string const&)"},
     Edits([](const std::string& path) {
       return CIniFile::AddSection(kNew, path);
     })},
    {"RenameSection",
     {"CIniFile::RenameSection(std::string_view, std::string_view, "
      "std::string const&)"},
     Edits([](const std::string& path) {
       return CIniFile::RenameSection(kSection, kNew, path);
     })},
    {"CommentSection",
     {"CIniFile::CommentSection(char, std::string_view, std::string const&)"},
     Edits([](const std::string& path) {
       return CIniFile::CommentSection('#', kSection, path);
     })},
    {"UnCommentSection",
     {"CIniFile::UnCommentSection(std::string_view, std::string const&)"},
     Edits([](const std::string& path) {
       return CIniFile::UnCommentSection(kSection, path);
     })},
    {"DeleteSection",
     {"CIniFile::DeleteSection(std::string_view, std::string const&)"},
     Edits([](const std::string& path) {
       return CIniFile::DeleteSection("a", path);
     })},
    {"SetSectionComments",
     {"CIniFile::SetSectionComments(std::string_view, std::string_view, "
      "std::string const&)"},
     Edits([](const std::string& path) {
       return CIniFile::SetSectionComments("#" + kNew, kSection, path);
     })},
    {"SetValueOfANewSection",
     {"CIniFile::SetValue(std::string_view, std::string_view, "
      "std::string_view, std::string const&)"},
     Edits([](const std::string& path) {
       return CIniFile::SetValue(kKey, kValue, kNew, path);
     })},
    {"SetValueOfANewKey", {}, Edits([](const std::string& path) {
       return CIniFile::SetValue(kNew, kValue, kSection, path);
     })},
    {"SetValueOfAKey", {}, Edits([](const std::string& path) {
       return CIniFile::SetValue(kKey, kNew + kNew, kSection, path);
     })},
    {"SetValueOfANewFile",
     {},
     [](const TempFolder& folder) {
       const std::string path = folder.Path("new.ini");
       return Prepared{[path] {
         return CIniFile::SetValue(kKey, kValue, kNew, path) ? "done"
                                                             : "not done";
       }};
     }},
    {"CommentRecord",
     {"CIniFile::CommentRecord(CIniFile::CommentChar, std::string_view, "
      "std::string_view, std::string const&)"},
     Edits([](const std::string& path) {
       return CIniFile::CommentRecord(CIniFile::Hash, "last", kSection, path);
     })},
    {"UnCommentRecord",
     {"CIniFile::UnCommentRecord(std::string_view, std::string_view, "
      "std::string const&)"},
     Edits([](const std::string& path) {
       return CIniFile::UnCommentRecord(kKey, kSection, path);
     })},
    {"DeleteRecord",
     {"CIniFile::DeleteRecord(std::string_view, std::string_view, "
      "std::string const&)"},
     Edits([](const std::string& path) {
       return CIniFile::DeleteRecord(kKey, kSection, path);
     })},
    {"SetRecordComments",
     {"CIniFile::SetRecordComments(std::string_view, std::string_view, "
      "std::string_view, std::string const&)"},
     Edits([](const std::string& path) {
       return CIniFile::SetRecordComments("#" + kNew, kKey, kSection, path);
     })},
    {"WritePrivateProfileStr",
     {"WritePrivateProfileStr(std::string_view, std::string_view, "
      "std::string_view, std::string const&)"},
     OnFile([](const std::string& path) {
       WritePrivateProfileStr(kSection, kKey, kNew, path);
       return "done";
     })},
    {"WritePrivateProfileInteger",
     {"WritePrivateProfileInteger(std::string_view, std::string_view, int, "
      "std::string const&)"},
     OnFile([](const std::string& path) {
       WritePrivateProfileInteger(kSection, kKey, -1234567, path);
       return "done";
     })},
};

// An object that has loaded the file.
template <typename Function>
Preparation OnObject(Function function) {
  return [function](const TempFolder& folder) {
    const std::string path = folder.Path("box.ini");
    WriteFile(path, kIniText);
    const auto ini = std::make_shared<CIniFile>();
    ini->Load(path);
    return Prepared{[function, ini, path] { return function(*ini, path); }};
  };
}

const Operation kObjects[] = {
    {"Construct", {"CIniFile::CIniFile()", "CIniFile::~CIniFile()"}, Call([] {
       return CIniFile().loaded ? "loaded" : "not loaded";
     })},
    {"LoadObject",
     {"CIniFile::Load(std::string)"},
     OnObject([](CIniFile& ini, const std::string& path) {
       return ini.Load(path) ? "loaded" : "not loaded";
     })},
    {"FindRecord",
     {"CIniFile::GetRecord(std::string_view, std::string_view)"},
     OnObject([](CIniFile& ini, const std::string&) {
       return Joined(ini.GetRecord("last", kSection));
     })},
    // Enough lookups to build an index, and printed.
    {"GetValueDef",
     {"CIniFile::GetValueDef(std::string_view, std::string_view, std::string)"},
     OnObject([](CIniFile& ini, const std::string&) {
       std::string text;
       ini.trace = true;
       for (int i = 0; i < 20; ++i)
         text += ini.GetValueDef(kSection, i % 2 == 0 ? "last" : "none", kNew);
       return text;
     })},
};

std::string Text(const FileResult& result) {
  return result.Succeeded() ? "done" : result.Message();
}

template <bool in_place>
const FileEditOptions kWithBackup = {.in_place = in_place,
                                     .backup_suffix = "~"};

bool WriteTwo(const std::optional<std::string>& /*old_text*/,
              const PieceWriter& write) {
  write(kNew);
  write(kValue);
  return true;
}

const Operation kWholeFiles[] = {
    {"ReplaceFile",
     {"ReplaceFile(std::string const&, std::string_view, FileEditOptions "
      "const&)"},
     OnFile([](const std::string& path) {
       return Text(ReplaceFile(path, kNew));
     })},
    {"ReplaceFileInPlace", {}, OnFile([](const std::string& path) {
       return Text(ReplaceFile(path, kNew, {.in_place = true}));
     })},
    {"ReplaceFileWithABackup", {}, OnFile([](const std::string& path) {
       return Text(ReplaceFile(path, kNew, kWithBackup<false>));
     })},
    {"ReplaceFileInPlaceWithABackup", {}, OnFile([](const std::string& path) {
       return Text(ReplaceFile(path, kNew, kWithBackup<true>));
     })},
    {"EditFile",
     {"EditFile(std::string const&, std::function<std::optional<std::string> "
      "(std::optional<std::string> const&)> const&, FileEditOptions const&)"},
     OnFile([](const std::string& path) {
       return Text(EditFile(path, [](const auto& old_text) {
         return std::optional<std::string>(*old_text + kNew);
       }));
     })},
    {"RewriteFile",
     {"RewriteFile(std::string const&, std::function<bool "
      "(std::optional<std::string>, std::function<void (std::string_view)> "
      "const&)> const&, FileEditOptions const&)"},
     OnFile([](const std::string& path) {
       return Text(RewriteFile(path, WriteTwo));
     })},
    {"RewriteFileInPlace", {}, OnFile([](const std::string& path) {
       return Text(RewriteFile(path, WriteTwo, {.in_place = true}));
     })},
    {"ReplacementFile",
     {"ReplacementFile::ReplacementFile(std::string const&)",
      "ReplacementFile::Write(std::string_view)", "ReplacementFile::Commit()",
      "ReplacementFile::~ReplacementFile()"},
     OnFile([](const std::string& path) {
       ReplacementFile file(path);
       file.Write(kNew);
       return Text(file.Commit());
     })},
    {"Message", {"FileResult::Message() const"}, Call([] {
       FileResult result;
       result.error = FileError::kCannotRead;
       result.path = kNew;
       result.reason = kValue;
       return result.Message();
     })},
};

const Operation kRecordTexts[] = {
    {"RecordsFromText", {"RecordsFromText(std::string_view)"}, Call([] {
       return Joined(RecordsFromText(kIniText).records);
     })},
    {"TextFromRecords",
     {"TextFromRecords(std::vector<CIniFile::Record> const&)"},
     Call([] { return TextFromRecords(RecordsFromText(kIniText).records); })},
    {"DamageOf",
     {"DamageOf(std::string_view)"},
     Call([] {
       return DamageOf(kIniText).unclosed_header == 0 ? "closed" : "";
     }),
     Memory::kNone},
    {"NormalizeText",
     {"NormalizeText(std::string_view, std::function<void "
      "(std::string_view)> const&)"},
     Call([] {
       std::string text;
       NormalizeText(kIniText,
                     [&text](std::string_view piece) { text += piece; });
       return text;
     })},
};

}  // namespace

static std::vector<Operation> All() {
  std::vector<Operation> all(std::begin(kReaders), std::end(kReaders));
  all.insert(all.end(), std::begin(kWriters), std::end(kWriters));
  all.insert(all.end(), std::begin(kObjects), std::end(kObjects));
  all.insert(all.end(), std::begin(kWholeFiles), std::end(kWholeFiles));
  all.insert(all.end(), std::begin(kRecordTexts), std::end(kRecordTexts));
  return all;
}

}  // namespace fairlead::internal::file_operations

namespace fairlead::internal {
const std::vector<Operation> kFileOperations = file_operations::All();
}  // namespace fairlead::internal
