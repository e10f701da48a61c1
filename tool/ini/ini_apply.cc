// The subcommands of `ini` that compare files, or make many edits at once.

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tool/base/concat.h"
#include "tool/command/command_table.h"
#include "tool/ini/edit_script.h"
#include "tool/ini/ini.h"
#include "tool/ini/ini_edit.h"
#include "tool/ini/ini_output.h"
#include "tool/ini/ini_parameters.h"
#include "tool/ini/ini_place.h"
#include "tool/ini/ini_source.h"
#include "tool/ini/ini_statuses.h"
#include "tool/io/read_file.h"

namespace fairlead::tool::ini {
namespace {

enum class DiffFormat { kAsText, kAsScript };

constexpr auto kDiffFormats = std::to_array<Choice>({
    {DiffFormat::kAsText, "text",
     "lines of - or +, section, key and value with TABs between"},
    {DiffFormat::kAsScript, "script",
     "edits for 'ini apply' that give FILE the keys of OTHER"},
});
constexpr Parameter kDiffFormat = {.name = "format",
                                   .kind = Kind::kChoice,
                                   .group = Group::kOutput,
                                   .help = "the keys that differ, or a script",
                                   .choices = kDiffFormats,
                                   .fallback = "text"};

constexpr auto kApplyUses =
    Uses(kFile, OneOf(kScript, kScriptStdin), Optional(kRecords), kWritingUses);
constexpr auto kDiffUses =
    Uses(kFile, kWith, Optional(kRecords), Optional(kDiffFormat));
constexpr auto kMergeUses =
    Uses(kFile, kFrom, Optional(kRecords), kWritingUses);

ExitStatus Apply(const Arguments<kApplyUses>& arguments, const Output& output) {
  const bool from_stdin = arguments.Has(kScriptStdin);
  const std::string name =
      from_stdin ? "standard input" : arguments.Text(kScript);
  const std::string text = from_stdin ? StandardInput() : ReadFile(name);
  const std::vector<ScriptLine> script = ParseScript(text, name);
  const std::string file = arguments.Text(kFile);
  return EditDocument(
      arguments, output, Missing::kIsEmpty,
      [&](IniDocument& document) { RunScript(script, name, document, file); });
}

struct Setting {
  std::string value;
  std::string continuation;  // The rest of the value, on further lines.
  std::size_t line = 0;
  std::size_t deletions = 0;  // That it takes to delete the key.

  bool HasValueOf(const Setting& other) const {
    return value == other.value && continuation == other.continuation;
  }
};

// The keys of a document that count, in the order of the first of each name.
class Settings {
 public:
  using Key = std::pair<std::string, std::string>;  // Section and key.

  Settings(const IniDocument& document, IniReading reading) {
    const bool last_counts = reading == IniReading::kLive;
    for (const IniEntry& entry : document) {
      if (entry.IsHeader() || (last_counts && entry.IsDisabled())) continue;
      Key key(entry.section, entry.key);
      const auto [place, is_new] = settings_.try_emplace(std::move(key));
      Setting& setting = place->second;
      if (is_new) order_.push_back(&place->first);
      if (is_new || last_counts) {
        setting.value = entry.value;
        setting.continuation = document.Continuation(entry);
        setting.line = entry.line;
      }
      if (is_new || !last_counts) ++setting.deletions;
    }
  }

  const std::vector<const Key*>& order() const { return order_; }

  const Setting* Find(const Key& key) const {
    const auto place = settings_.find(key);
    return place == settings_.end() ? nullptr : &place->second;
  }

 private:
  std::map<Key, Setting> settings_;
  std::vector<const Key*> order_;
};

Settings SettingsIn(const std::string& file, IniReading reading) {
  return {Parsed(ReadFile(file), file, reading), reading};
}

// Throws if no edit can set or delete the key.
void RequireOneLine(const Setting& setting, const std::string& file) {
  if (!setting.continuation.empty())
    FailMalformed(file, setting.line,
                  "the value continues below this line, so no edit can set it");
}

std::string Row(std::string_view sign, const Settings::Key& key,
                const Setting& setting) {
  const bool continues = !setting.continuation.empty();
  return Concat(sign, "\t", key.first, "\t", key.second, "\t", setting.value,
                continues ? " ..." : "", "\n");
}

// Returns the lines of a script that change the key.
std::string EditsFor(const Settings::Key& key, const Setting* before,
                     const Setting* after) {
  if (after != nullptr)
    return LineOfScript({"set", key.first, key.second, after->value});
  std::string lines;
  for (std::size_t i = 0; i < before->deletions; ++i)
    lines += LineOfScript({"delete", key.first, key.second});
  return lines;
}

// Returns the lines for a key whose value changes; either may be missing.
std::string RowsFor(const Settings::Key& key, const Setting* before,
                    const Setting* after) {
  return Concat(before == nullptr ? "" : Row("-", key, *before),
                after == nullptr ? "" : Row("+", key, *after));
}

// Returns the keys whose values differ, those of `after` alone at the end.
std::vector<const Settings::Key*> Differing(const Settings& before,
                                            const Settings& after) {
  std::vector<const Settings::Key*> keys;
  for (const Settings::Key* key : before.order()) {
    const Setting* const now = after.Find(*key);
    if (now == nullptr || !now->HasValueOf(*before.Find(*key)))
      keys.push_back(key);
  }
  for (const Settings::Key* key : after.order())
    if (before.Find(*key) == nullptr) keys.push_back(key);
  return keys;
}

ExitStatus Diff(const Arguments<kDiffUses>& arguments, const Output& output) {
  const IniReading reading = ReadingOf(arguments.Has(kRecords));
  const std::string file = arguments.Text(kFile);
  const std::string other = arguments.Text(kWith);
  const Settings before = SettingsIn(file, reading);
  const Settings after = SettingsIn(other, reading);
  const bool script =
      arguments.Chosen<DiffFormat>(kDiffFormat) == DiffFormat::kAsScript;
  std::string lines;
  for (const Settings::Key* key : Differing(before, after)) {
    const Setting* const old = before.Find(*key);
    const Setting* const now = after.Find(*key);
    if (script && old != nullptr) RequireOneLine(*old, file);
    if (script && now != nullptr) RequireOneLine(*now, other);
    lines += script ? EditsFor(*key, old, now) : RowsFor(*key, old, now);
  }
  Print(output, Format::kTextLines, lines);
  return lines.empty() ? kDone : kAnswerIsNo;
}

// Sets a key as the other file has it.
void MergeKey(IniDocument& document, const std::string& file,
              const Settings::Key& key, const Setting& setting,
              const std::string& other) {
  const Place place = {.section = key.first, .key = key.second};
  const IniFound found = document.Find(place.Name());
  if (found && setting.value == found.entry.value &&
      setting.continuation == document.Continuation(found.entry))
    return;
  RequireOneLine(setting, other);
  const IniResult result = document.Set(place.Name(), setting.value);
  if (result.code == IniResult::Code::kInvalid)
    FailMalformed(other, setting.line, result.reason);
  Require(result, file, place);
}

ExitStatus Merge(const Arguments<kMergeUses>& arguments, const Output& output) {
  const IniReading reading = ReadingOf(arguments.Has(kRecords));
  const std::string other = arguments.Text(kFrom);
  const Settings from = SettingsIn(other, reading);
  const std::string file = arguments.Text(kFile);
  return EditDocument(
      arguments, output, Missing::kIsEmpty, [&](IniDocument& document) {
        for (const Settings::Key* key : from.order())
          MergeKey(document, file, *key, *from.Find(*key), other);
      });
}

constexpr auto kApplyStatuses = std::to_array<Status>(
    {kSuccess,
     {kAnswerIsNo,
      "a section or key does not exist, or does already; with -check: the "
      "script would change the file"},
     kUsage,
     {kMalformedInput, "the file or the script is malformed"},
     kUnwritten,
     {kCannotRead, "the file or the script cannot be read"},
     kLocked});
constexpr auto kDiffStatuses =
    std::to_array<Status>({{kDone, "the files have the same keys and values"},
                           {kAnswerIsNo, "they differ"},
                           kUsage,
                           {kMalformedInput, "a file is malformed"},
                           kUnprinted,
                           {kCannotRead, "a file cannot be read"}});
constexpr auto kMergeStatuses =
    EditStatuses("with -check: the edit would change the file");

constexpr auto kApplyExamples = std::to_array<Example>({
    {"fairlead ini apply -file box.ini -script edits.txt",
     "Makes the edits of edits.txt, or none."},
    {"fairlead ini apply -file box.ini -stdin -dryrun",
     "Shows what the edits on standard input would change."},
});
constexpr auto kDiffExamples = std::to_array<Example>({
    {"fairlead ini diff -file box.ini -with new.ini",
     "Prints the keys that differ, whatever their order and layout."},
    {"fairlead ini diff -file box.ini -with new.ini -format script",
     "Prints a script that gives box.ini the keys of new.ini."},
});
constexpr auto kMergeExamples = std::to_array<Example>({
    {"fairlead ini merge -file box.ini -from local.ini",
     "Sets every key of local.ini in box.ini."},
});

}  // namespace

constinit const Command kApply = {
    .name = "apply",
    .parent = &kIniCommand,
    .summary = "make all edits of a script in one step",
    .description =
        "Each line of the script is an edit, as the subcommands of these "
        "names make it: set SECTION KEY VALUE, add SECTION [KEY VALUE], delete "
        "SECTION [KEY], enable SECTION [KEY], disable SECTION [KEY], comment "
        "SECTION [KEY] TEXT, rename SECTION [KEY] NEW. A name or text that is "
        "empty or contains spaces is put in single or double quotes; in double "
        "quotes, \\\" \\\\ \\n and \\t are escapes. Empty lines and lines that "
        "begin with '#' or ';' are skipped. If an edit fails, none is made, "
        "and its line is reported. Creates the file if it does not exist.",
    .action = ActionOf<kApplyUses, Apply>(),
    .examples = kApplyExamples,
    .statuses = kApplyStatuses,
};
constinit const Command kDiff = {
    .name = "diff",
    .parent = &kIniCommand,
    .summary = "print the keys that differ between two files",
    .description =
        "Compares the keys that count, and their values. Order, comments, "
        "layout and sections without keys do not matter.",
    .action = ActionOf<kDiffUses, Diff>(),
    .examples = kDiffExamples,
    .statuses = kDiffStatuses,
};
constinit const Command kMerge = {
    .name = "merge",
    .parent = &kIniCommand,
    .summary = "set the keys of another file",
    .description =
        "Sets every key that counts in the other file, as 'set' does. Other "
        "keys stay. Creates the file if it does not exist.",
    .action = ActionOf<kMergeUses, Merge>(),
    .examples = kMergeExamples,
    .statuses = kMergeStatuses,
};

}  // namespace fairlead::tool::ini
