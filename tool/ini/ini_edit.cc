// The words of `ini` that change a file.

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "fairlead/ini/ini_file.h"
#include "tool/base/concat.h"
#include "tool/base/escapes.h"
#include "tool/base/failure.h"
#include "tool/ini/difference.h"
#include "tool/ini/ini.h"
#include "tool/ini/ini_names.h"
#include "tool/ini/ini_place.h"
#include "tool/ini/ini_store.h"
#include "tool/io/atomic_edit.h"
#include "tool/io/read_file.h"

namespace fairlead::tool::ini {
namespace {

// What an edit does where there is no file.
enum class Missing { kFail, kMake };

[[noreturn]] void FailForUsage(std::string_view text) {
  throw Failure(kWrongUsage, std::string(text));
}

[[noreturn]] void FailForAlready(std::string_view what) {
  throw Failure(kAnswerIsNo, Concat(what, " is there already"));
}

void Apply(const Arguments& arguments, const Output& output,
           const Change& change) {
  const std::string file = arguments.Text(kFile);
  if (arguments.Has(kDryrun)) {
    const std::optional<std::string> text = ReadFileIfAny(file);
    Print(output, "text", Difference(file, text.value_or(""), change(text)));
    return;
  }
  const bool in_place = arguments.Has(kInplace);
  EditFile(file, in_place ? Writing::kInPlace : Writing::kReplace, change);
}

ExitStatus Edit(const Arguments& arguments, const Output& output,
                Missing missing, const Operation& operation) {
  const std::string file = arguments.Text(kFile);
  Apply(arguments, output, [&](const std::optional<std::string>& text) {
    if (!text && missing == Missing::kFail)
      throw Failure(kCannotRead, Concat("cannot open ", Quoted(file), ": ",
                                        ErrorText(ENOENT)));
    return Edited(text.value_or(""), file, operation);
  });
  return kDone;
}

void Require(const Place& place, const std::string& file) {
  if (!place.IsIn(file)) FailForNo(place);
}

void CheckNames(const Place& place) {
  std::string_view fault = SectionFault(place.section);
  if (fault.empty() && place.has_key) fault = KeyFault(place.key);
  if (!fault.empty()) FailForUsage(fault);
}

std::string CheckedValue(const Arguments& arguments) {
  std::string value(Trimmed(arguments.Text(kValue)));
  if (const std::string_view fault = ValueFault(value); !fault.empty())
    FailForUsage(fault);
  return value;
}

bool SetValue(const Place& place, std::string_view value,
              const std::string& file) {
  return CIniFile::SetValue(place.key, value, place.section, file);
}

struct Setting {
  Place place;
  std::string value;
};

// "section TAB key TAB value"; the value may hold more TABs.
Setting SettingOf(std::string_view line, std::size_t number) {
  const auto fail = [number](std::string_view what) {
    throw Failure(kMalformedInput,
                  Concat("standard input:", number, ": ", what));
  };
  const std::size_t first = line.find('\t');
  const std::size_t second =
      first == std::string_view::npos ? first : line.find('\t', first + 1);
  if (second == std::string_view::npos)
    fail("this is not section, TAB, key, TAB, value");

  Setting setting = {.place = {.section = std::string(line.substr(0, first)),
                               .key = std::string(Trimmed(
                                   line.substr(first + 1, second - first - 1))),
                               .has_key = true},
                     .value = std::string(Trimmed(line.substr(second + 1)))};
  for (const std::string_view fault :
       {SectionFault(setting.place.section), KeyFault(setting.place.key)})
    if (!fault.empty()) fail(fault);
  return setting;
}

std::vector<Setting> ReadSettings() {
  const std::string input = ReadAll(STDIN_FILENO, "standard input");
  std::vector<Setting> settings;
  for (std::string_view rest = input; !rest.empty();) {
    const std::string_view line = rest.substr(0, rest.find('\n'));
    settings.push_back(SettingOf(line, settings.size() + 1));
    rest.remove_prefix(std::min(line.size() + 1, rest.size()));
  }
  return settings;
}

ExitStatus SetMany(const Arguments& arguments, const Output& output) {
  const std::vector<Setting> settings = ReadSettings();
  return Edit(arguments, output, Missing::kMake, [&](const std::string& file) {
    return std::ranges::all_of(settings, [&file](const Setting& setting) {
      return SetValue(setting.place, setting.value, file);
    });
  });
}

// The character for which -char stands.
CIniFile::CommentChar CommentCharacter(const Arguments& arguments) {
  const std::string word = arguments.Text(kChar);
  if (word == "#" || word == "hash") return CIniFile::Hash;
  if (word == ";" || word == "semicolon") return CIniFile::Semicolon;
  FailForUsage(
      Concat("-char ", Quoted(word), " is none of # ; hash semicolon"));
}

// What stands before the first header has no line in which its name stands.
void RequireHeader(const std::string& section, const std::string& file) {
  std::vector<CIniFile::Record> records;
  CIniFile::Load(file, records);
  if (section.empty() && !records.empty() && !records.front().Key.empty())
    throw Failure(kAnswerIsNo,
                  "the keys before the first header have no header");
}

bool RenameKey(const Place& place, const std::string& name,
               const std::string& file) {
  std::vector<CIniFile::Record> records;
  CIniFile::Load(file, records);
  std::ranges::find_if(records,
                       CIniFile::RecordSectionKeyIs{place.section, place.key})
      ->Key = name;
  return CIniFile::Save(file, records);
}

}  // namespace

ExitStatus Set(const Arguments& arguments, const Output& output) {
  if (arguments.Has(kStdin)) return SetMany(arguments, output);
  const Place place = PlaceOf(arguments);
  const std::string value = CheckedValue(arguments);
  CheckNames(place);
  return Edit(arguments, output, Missing::kMake, [&](const std::string& file) {
    return SetValue(place, value, file);
  });
}

ExitStatus Add(const Arguments& arguments, const Output& output) {
  const Place place = PlaceOf(arguments);
  const std::string value = CheckedValue(arguments);
  CheckNames(place);
  return Edit(arguments, output, Missing::kMake, [&](const std::string& file) {
    if (place.IsIn(file)) FailForAlready(Spelled(place));
    return place.has_key ? SetValue(place, value, file)
                         : CIniFile::AddSection(place.section, file);
  });
}

ExitStatus Delete(const Arguments& arguments, const Output& output) {
  const Place place = PlaceOf(arguments);
  return Edit(arguments, output, Missing::kFail, [&](const std::string& file) {
    Require(place, file);
    return place.has_key
               ? CIniFile::DeleteRecord(place.key, place.section, file)
               : CIniFile::DeleteSection(place.section, file);
  });
}

ExitStatus Enable(const Arguments& arguments, const Output& output) {
  const Place place = PlaceOf(arguments);
  return Edit(arguments, output, Missing::kFail, [&](const std::string& file) {
    Require(place, file);
    return place.has_key
               ? CIniFile::UnCommentRecord(place.key, place.section, file)
               : CIniFile::UnCommentSection(place.section, file);
  });
}

ExitStatus Disable(const Arguments& arguments, const Output& output) {
  const Place place = PlaceOf(arguments);
  const CIniFile::CommentChar character = CommentCharacter(arguments);
  return Edit(arguments, output, Missing::kFail, [&](const std::string& file) {
    Require(place, file);
    return place.has_key
               ? CIniFile::CommentRecord(character, place.key, place.section,
                                         file)
               : CIniFile::CommentSection(character, place.section, file);
  });
}

ExitStatus Comment(const Arguments& arguments, const Output& output) {
  const Place place = PlaceOf(arguments);
  std::string text = CommentLines(arguments.Text(kText));
  // The store puts an LF behind the text, unless that is a single character.
  if (!text.empty()) text.pop_back();
  if (text.size() == 1) text += ' ';
  return Edit(arguments, output, Missing::kFail, [&](const std::string& file) {
    Require(place, file);
    if (place.has_key)
      return CIniFile::SetRecordComments(text, place.key, place.section, file);
    RequireHeader(place.section, file);
    return CIniFile::SetSectionComments(text, place.section, file);
  });
}

ExitStatus Rename(const Arguments& arguments, const Output& output) {
  const Place place = PlaceOf(arguments);
  Place to = place;
  if (place.has_key)
    to.key = Trimmed(arguments.Text(kTo));
  else
    to.section = arguments.Text(kTo);
  CheckNames(to);
  return Edit(arguments, output, Missing::kFail, [&](const std::string& file) {
    Require(place, file);
    if (to.IsIn(file)) FailForAlready(Spelled(to));
    if (place.has_key) return RenameKey(place, to.key, file);
    RequireHeader(place.section, file);
    return CIniFile::RenameSection(place.section, to.section, file);
  });
}

ExitStatus Create(const Arguments& arguments, const Output& output) {
  const std::string file = arguments.Text(kFile);
  Apply(arguments, output, [&file](const std::optional<std::string>& text) {
    if (text) FailForAlready(Quoted(file));
    return std::string();
  });
  return kDone;
}

}  // namespace fairlead::tool::ini
