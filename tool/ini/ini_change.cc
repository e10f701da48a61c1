// The subcommands of `ini` that make one edit.

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tool/base/concat.h"
#include "tool/base/escapes.h"
#include "tool/base/failure.h"
#include "tool/command/command_table.h"
#include "tool/ini/ini.h"
#include "tool/ini/ini_edit.h"
#include "tool/ini/ini_parameters.h"
#include "tool/ini/ini_place.h"
#include "tool/ini/ini_source.h"
#include "tool/ini/ini_statuses.h"

namespace fairlead::tool::ini {
namespace {

constexpr auto kEditing = Uses(Optional(kRecords), kWritingUses);
constexpr auto kOneOrAll = Optional(kKey, Optional(kIndex));

constexpr auto kSetUses =
    Uses(kFile, OneOf(All(kSection, kKey, kValue, Optional(kIndex)), kStdin),
         kEditing);
constexpr auto kAddUses = Uses(kFile, kSection, Optional(kKey, kValue),
                               AtMostOne(kBefore, kAfter), kEditing);
constexpr auto kPlainUses = Uses(kFile, kSection, kOneOrAll, kEditing);
constexpr auto kDisableUses =
    Uses(kFile, kSection, kOneOrAll, Optional(kChar), kEditing);
constexpr auto kCommentUses = Uses(kFile, kSection, kOneOrAll, kText, kEditing);
constexpr auto kRenameUses = Uses(kFile, kSection, kOneOrAll, kTo, kEditing);

// Makes one edit of a place, which must exist.
template <const auto& kTable, typename Change>
ExitStatus EditPlace(const Arguments<kTable>& arguments, const Output& output,
                     Change change) {
  const std::string file = arguments.Text(kFile);
  const Place place = PlaceOf(arguments);
  return EditDocument(arguments, output, Missing::kFails,
                      [&](IniDocument& document) {
                        Require(change(document, place.Name()), file, place);
                      });
}

// ---- set, add

struct Setting {
  Place place;
  std::string value;
};

// Parses "section TAB key TAB value". The value may contain TABs.
std::optional<Setting> SettingOf(std::string_view line) {
  const std::size_t first = line.find('\t');
  if (first == std::string_view::npos) return std::nullopt;
  const std::size_t second = line.find('\t', first + 1);
  if (second == std::string_view::npos) return std::nullopt;
  return Setting{
      .place = {.section = std::string(line.substr(0, first)),
                .key = std::string(line.substr(first + 1, second - first - 1))},
      .value = std::string(line.substr(second + 1))};
}

// Sets what a line of standard input says.
void SetLine(IniDocument& document, std::string_view line, std::size_t number,
             const std::string& file) {
  const auto setting = SettingOf(line);
  if (!setting)
    FailMalformed("standard input", number,
                  "expected section TAB key TAB value");
  const IniResult result = document.Set(setting->place.Name(), setting->value);
  if (result.code == Code::kInvalid)
    FailMalformed("standard input", number, result.reason);
  Require(result, file, setting->place);
}

ExitStatus SetMany(const Arguments<kSetUses>& arguments, const Output& output) {
  const std::string input = StandardInput();
  const std::string file = arguments.Text(kFile);
  return EditDocument(
      arguments, output, Missing::kIsEmpty, [&](IniDocument& document) {
        std::size_t number = 0;
        for (std::string_view rest = input; !rest.empty();) {
          const std::string_view line = rest.substr(0, rest.find('\n'));
          SetLine(document, line, ++number, file);
          rest.remove_prefix(std::min(line.size() + 1, rest.size()));
        }
      });
}

ExitStatus Set(const Arguments<kSetUses>& arguments, const Output& output) {
  if (arguments.Has(kStdin)) return SetMany(arguments, output);
  const std::string file = arguments.Text(kFile);
  const Place place = PlaceOf(arguments);
  const std::string value = arguments.Text(kValue);
  return EditDocument(arguments, output, Missing::kIsEmpty,
                      [&](IniDocument& document) {
                        Require(document.Set(place.Name(), value), file, place);
                      });
}

// Throws if there is no key or section to add the other one beside.
void RequireNeighbour(const IniDocument& document, const Place& place,
                      const std::string& neighbour) {
  const Place there = place.key
                          ? Place{.section = place.section, .key = neighbour}
                          : Place{.section = neighbour};
  const IniFound found = document.Find(there.Name());
  if (!found) throw Failure(kAnswerIsNo, WhyNotFound(found.code, there));
}

ExitStatus Add(const Arguments<kAddUses>& arguments, const Output& output) {
  using Where = IniPlace::Where;
  const std::string file = arguments.Text(kFile);
  Place place = {.section = arguments.Text(kSection)};
  if (arguments.Has(kKey)) place.key = arguments.Text(kKey);
  const std::string value = arguments.Text(kValue);
  const bool is_beside = arguments.Has(kBefore) || arguments.Has(kAfter);
  const std::string neighbour =
      arguments.Has(kBefore) ? arguments.Text(kBefore) : arguments.Text(kAfter);
  const Where beside = arguments.Has(kBefore) ? Where::kBefore : Where::kAfter;
  return EditDocument(
      arguments, output, Missing::kIsEmpty, [&](IniDocument& document) {
        if (is_beside) RequireNeighbour(document, place, neighbour);
        const IniPlace where = {is_beside ? beside : Where::kDefault,
                                neighbour};
        Require(document.Add(place.Name(), value, where), file, place);
      });
}

// ---- delete, enable, disable, comment, rename

ExitStatus Delete(const Arguments<kPlainUses>& arguments,
                  const Output& output) {
  const bool only_checks = arguments.Has(kCheck);
  return EditPlace(
      arguments, output, [&](IniDocument& document, const IniName& name) {
        IniResult result = document.Delete(name);
        const bool is_gone =
            result.code == Code::kNoKey || result.code == Code::kNoSection;
        if (only_checks && is_gone) result = {};
        return result;
      });
}

[[noreturn]] void FailInDisabledSection(const std::string& section) {
  throw Failure(kAnswerIsNo, Concat("the key is in section ", Quoted(section),
                                    ", which is disabled: enable the section"));
}

ExitStatus Enable(const Arguments<kPlainUses>& arguments,
                  const Output& output) {
  return EditPlace(arguments, output,
                   [](IniDocument& document, const IniName& name) {
                     const IniResult result = document.Enable(name);
                     if (result.code == Code::kDisabled)
                       FailInDisabledSection(std::string(name.section));
                     return result;
                   });
}

ExitStatus Disable(const Arguments<kDisableUses>& arguments,
                   const Output& output) {
  const auto mark =
      static_cast<char>(arguments.Chosen<CommentCharacter>(kChar));
  return EditPlace(
      arguments, output, [&](IniDocument& document, const IniName& name) {
        const IniResult result = document.Disable(name, mark);
        if (result.code == Code::kExists)
          throw Failure(kAnswerIsNo,
                        Concat("line ", result.line, " is a disabled section ",
                               Quoted(name.section),
                               ", which 'enable' would turn on as well"));
        return result;
      });
}

ExitStatus Comment(const Arguments<kCommentUses>& arguments,
                   const Output& output) {
  const std::string text = arguments.Text(kText);
  return EditPlace(arguments, output,
                   [&text](IniDocument& document, const IniName& name) {
                     return document.Comment(name, text);
                   });
}

ExitStatus Rename(const Arguments<kRenameUses>& arguments,
                  const Output& output) {
  const std::string file = arguments.Text(kFile);
  const Place place = PlaceOf(arguments);
  Place to = place;
  (place.key ? *to.key : to.section) = arguments.Text(kTo);
  return EditDocument(
      arguments, output, Missing::kFails, [&](IniDocument& document) {
        Require(document.Rename(place.Name(), arguments.Text(kTo)), file, place,
                to);
      });
}

// ---- What the help says of them

constexpr auto kSetStatuses = EditStatuses(
    "with -index: there is no such key; with -check: the edit "
    "would change the file");
constexpr auto kPlaceStatuses = EditStatuses(
    "the section or the key does not exist, or is disabled; with -check: the "
    "edit would change the file");
constexpr auto kDeleteStatuses = EditStatuses(
    "the section or the key does not exist, or is disabled; with -check, which "
    "accepts one that does not exist: the edit would change the file");
constexpr auto kEnableStatuses = EditStatuses(
    "the section or the key does not exist, or the key is in a disabled "
    "section; with -check: the edit would change the file");
constexpr auto kDisableStatuses = EditStatuses(
    "the section or the key does not exist, or there is also a disabled "
    "section of the name; with -check: the edit would change the file");
constexpr auto kAddStatuses = EditStatuses(
    "the section or the key exists already, or the one that -before or -after "
    "names does not; with -check: the edit would change the file");
constexpr auto kRenameStatuses = EditStatuses(
    "the old name does not exist, or the new one does; with -check: the edit "
    "would change the file");

constexpr auto kSetExamples = std::to_array<Example>({
    {"fairlead ini set -file box.ini -section server -key port -value 7000",
     "Writes port=7000 under [server]; creates what does not exist."},
    {"fairlead ini set -file box.ini -stdin",
     "Sets the keys that the lines of standard input name."},
});
constexpr auto kAddExamples = std::to_array<Example>({
    {"fairlead ini add -file box.ini -section server",
     "Adds the section [server]."},
    {"fairlead ini add -file box.ini -section server -key port -value 7000",
     "Adds the key port, unless it exists."},
});
constexpr auto kDeleteExamples = std::to_array<Example>({
    {"fairlead ini delete -file box.ini -section server -key port",
     "Deletes the key port."},
});
constexpr auto kEnableExamples = std::to_array<Example>({
    {"fairlead ini enable -file box.ini -section server -key port",
     "Turns the line #port=7000 into port=7000."},
});
constexpr auto kDisableExamples = std::to_array<Example>({
    {"fairlead ini disable -file box.ini -section server -key port -dryrun",
     "Shows what the edit would change, and writes nothing."},
});
constexpr auto kCommentExamples = std::to_array<Example>({
    {"fairlead ini comment -file box.ini -section server -text Listener",
     "Writes the line '# Listener' above [server]."},
});
constexpr auto kRenameExamples = std::to_array<Example>({
    {"fairlead ini rename -file box.ini -section server -to backup",
     "Turns [server] into [backup]."},
});

}  // namespace

constinit const Command kSet = {
    .name = "set",
    .parent = &kIniCommand,
    .summary = "set the value of a key",
    .description =
        "Sets the value. Creates the file, the section and the key if they do "
        "not exist. A new key is the last of its section, but a key that is "
        "disabled stays so and an active line is added below it. With "
        "-records, a new key is the first of its section, and a disabled key "
        "gets the value and stays disabled.",
    .action = ActionOf<kSetUses, Set>(),
    .examples = kSetExamples,
    .statuses = kSetStatuses,
};
constinit const Command kAdd = {
    .name = "add",
    .parent = &kIniCommand,
    .summary = "add a section or a key that does not exist",
    .description =
        "Adds the section, or with -key and -value the key. Without -before or "
        "-after, a section goes to the end of the file, and a key where 'set' "
        "puts a new one. Creates the file if it does not exist.",
    .action = ActionOf<kAddUses, Add>(),
    .examples = kAddExamples,
    .statuses = kAddStatuses,
};
constinit const Command kDelete = {
    .name = "delete",
    .parent = &kIniCommand,
    .summary = "delete a section or a key",
    .description =
        "Deletes the section, or with -key the key, and the comments right "
        "above it. Without -index, every key of that name is deleted (with "
        "-records, the first).",
    .action = ActionOf<kPlainUses, Delete>(),
    .examples = kDeleteExamples,
    .statuses = kDeleteStatuses,
};
constinit const Command kEnable = {
    .name = "enable",
    .parent = &kIniCommand,
    .summary = "turn on a section or a key that is disabled",
    .description =
        "Removes the comment character from the line of the key, or from the "
        "lines of a disabled section: the file is then as it was before "
        "'disable'. Does nothing if there is an active one. -index counts the "
        "disabled keys.",
    .action = ActionOf<kPlainUses, Enable>(),
    .examples = kEnableExamples,
    .statuses = kEnableStatuses,
};
constinit const Command kDisable = {
    .name = "disable",
    .parent = &kIniCommand,
    .summary = "put a comment character before a section or a key",
    .description =
        "Puts the comment character before the line of the key, or before the "
        "lines of the section, and the other one too before a key of several "
        "words. In a section, a line that is disabled already gets one more, "
        "so that 'enable' leaves it disabled. Without -index, every key of "
        "that name is disabled (with -records, the first).",
    .action = ActionOf<kDisableUses, Disable>(),
    .examples = kDisableExamples,
    .statuses = kDisableStatuses,
};
constinit const Command kComment = {
    .name = "comment",
    .parent = &kIniCommand,
    .summary = "set the comment above a section or a key",
    .description =
        "Writes comment lines above the header of the section, or with -key "
        "above the key. They replace those right above it.",
    .action = ActionOf<kCommentUses, Comment>(),
    .examples = kCommentExamples,
    .statuses = kPlaceStatuses,
};
constinit const Command kRename = {
    .name = "rename",
    .parent = &kIniCommand,
    .summary = "rename a section or a key",
    .description =
        "Renames the section, or with -key the key. The new name must not "
        "exist. Without -index, every key of that name is renamed (with "
        "-records, the first).",
    .action = ActionOf<kRenameUses, Rename>(),
    .examples = kRenameExamples,
    .statuses = kRenameStatuses,
};

}  // namespace fairlead::tool::ini
