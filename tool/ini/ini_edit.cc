// The subcommands of `ini` that change a file.

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "fairlead/ini/file_edit.h"
#include "fairlead/ini/ini_file.h"
#include "tool/base/concat.h"
#include "tool/base/escapes.h"
#include "tool/base/failure.h"
#include "tool/ini/difference.h"
#include "tool/ini/ini.h"
#include "tool/ini/ini_names.h"
#include "tool/ini/ini_place.h"
#include "tool/ini/ini_store.h"
#include "tool/io/file_failure.h"
#include "tool/io/read_file.h"

namespace fairlead::tool::ini {
namespace {

// Returns the new text of the file, given the old one, if there is one.
using Change =
    std::function<std::string(const std::optional<std::string>& old_text)>;

// What an edit does if the file does not exist.
enum class Missing { kFail, kCreate };

[[noreturn]] void FailWrongUsage(std::string_view text) {
  throw Failure(kWrongUsage, std::string(text));
}

[[noreturn]] void FailAlreadyExists(std::string_view what) {
  throw Failure(kAnswerIsNo, Concat(what, " already exists"));
}

void Apply(const Arguments& arguments, const Output& output,
           const Change& change) {
  const std::string file = arguments.Text(kFile);
  if (arguments.Has(kDryrun)) {
    const std::optional<std::string> text = ReadFileIfAny(file);
    Print(output, Format::kTextLines,
          Difference(file, text.value_or(""), change(text)));
    return;
  }
  const FileEditOptions options = {
      .in_place = arguments.Has(kInplace), .on_wait = [&file] {
        PrintNote("ini", Concat("waiting for another edit of ", Quoted(file)));
      }};
  Check(EditFile(file, change, options),
        " (-inplace overwrites the file itself)");
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

void Require(const Place& place, const Records& records) {
  if (!place.IsIn(records)) FailNotFound(place);
}

void CheckNames(const Place& place) {
  std::string_view fault = SectionFault(place.section);
  if (fault.empty() && place.has_key) fault = KeyFault(place.key);
  if (!fault.empty()) FailWrongUsage(fault);
}

std::string CheckedValue(const Arguments& arguments) {
  std::string value(Trimmed(arguments.Text(kValue)));
  if (const std::string_view fault = ValueFault(value); !fault.empty())
    FailWrongUsage(fault);
  return value;
}

struct Setting {
  Place place;
  std::string value;
};

// Parses "section TAB key TAB value". The value may contain TABs.
Setting SettingOf(std::string_view line, std::size_t number) {
  const auto fail = [number](std::string_view what) {
    throw Failure(kMalformedInput,
                  Concat("standard input:", number, ": ", what));
  };
  const std::size_t first = line.find('\t');
  const std::size_t second =
      first == std::string_view::npos ? first : line.find('\t', first + 1);
  if (second == std::string_view::npos)
    fail("expected section TAB key TAB value");

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
  return Edit(arguments, output, Missing::kCreate, [&](Records& records) {
    for (const auto& [place, value] : settings)
      SetValue(records, place.section, place.key, value);
  });
}

// Returns the character that -char names.
CIniFile::CommentChar CommentCharacter(const Arguments& arguments) {
  const std::string name = arguments.Text(kChar);
  if (name == "#" || name == "hash") return CIniFile::Hash;
  if (name == ";" || name == "semicolon") return CIniFile::Semicolon;
  FailWrongUsage(Concat("-char: ", Quoted(name),
                        " is not valid; choose #, ;, hash or semicolon"));
}

// Returns the header of the section. Keys before the first header have none.
Record& HeaderOf(const std::string& section, Records& records) {
  Record* const header = Find(records, section, "");
  if (header == nullptr || (section.empty() && !records.front().Key.empty()))
    throw Failure(kAnswerIsNo,
                  "the keys before the first header have no header");
  return *header;
}

// Calls `change` for the key, or for every record of the section.
template <typename ChangeRecord>
void ForEach(const Place& place, Records& records, ChangeRecord change) {
  Require(place, records);
  if (place.has_key) return change(*Find(records, place.section, place.key));
  for (Record& record : records)
    if (record.Section == place.section) change(record);
}

}  // namespace

ExitStatus Set(const Arguments& arguments, const Output& output) {
  if (arguments.Has(kStdin)) return SetMany(arguments, output);
  const Place place = PlaceOf(arguments);
  const std::string value = CheckedValue(arguments);
  CheckNames(place);
  return Edit(arguments, output, Missing::kCreate, [&](Records& records) {
    SetValue(records, place.section, place.key, value);
  });
}

ExitStatus Add(const Arguments& arguments, const Output& output) {
  const Place place = PlaceOf(arguments);
  const std::string value = CheckedValue(arguments);
  CheckNames(place);
  return Edit(arguments, output, Missing::kCreate, [&](Records& records) {
    if (place.IsIn(records)) FailAlreadyExists(Spelled(place));
    if (place.has_key)
      SetValue(records, place.section, place.key, value);
    else
      AddSection(records, place.section);
  });
}

ExitStatus Delete(const Arguments& arguments, const Output& output) {
  const Place place = PlaceOf(arguments);
  return Edit(arguments, output, Missing::kFail, [&](Records& records) {
    Require(place, records);
    if (place.has_key)
      records.erase(records.begin() +
                    (Find(records, place.section, place.key) - records.data()));
    else
      std::erase_if(records, CIniFile::RecordSectionIs{place.section});
  });
}

ExitStatus Enable(const Arguments& arguments, const Output& output) {
  const Place place = PlaceOf(arguments);
  return Edit(arguments, output, Missing::kFail, [&](Records& records) {
    ForEach(place, records, [](Record& record) { record.Commented = ' '; });
  });
}

ExitStatus Disable(const Arguments& arguments, const Output& output) {
  const Place place = PlaceOf(arguments);
  const CIniFile::CommentChar character = CommentCharacter(arguments);
  return Edit(arguments, output, Missing::kFail, [&](Records& records) {
    ForEach(place, records,
            [character](Record& record) { record.Commented = character; });
  });
}

ExitStatus Comment(const Arguments& arguments, const Output& output) {
  const Place place = PlaceOf(arguments);
  const std::string text = CommentLines(arguments.Text(kText));
  return Edit(arguments, output, Missing::kFail, [&](Records& records) {
    Require(place, records);
    Record& record = place.has_key ? *Find(records, place.section, place.key)
                                   : HeaderOf(place.section, records);
    record.Comments = text;
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
  return Edit(arguments, output, Missing::kFail, [&](Records& records) {
    Require(place, records);
    if (to.IsIn(records)) FailAlreadyExists(Spelled(to));
    if (!place.has_key) HeaderOf(place.section, records);
    ForEach(place, records, [&to](Record& record) {
      record.Section = to.section;
      if (to.has_key) record.Key = to.key;
    });
  });
}

ExitStatus Create(const Arguments& arguments, const Output& output) {
  const std::string file = arguments.Text(kFile);
  Apply(arguments, output, [&file](const std::optional<std::string>& text) {
    if (text) FailAlreadyExists(Quoted(file));
    return std::string();
  });
  return kDone;
}

}  // namespace fairlead::tool::ini
