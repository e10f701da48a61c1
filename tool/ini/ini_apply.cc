// The subcommands of `ini` that compare files, or make many edits at once.

#include <algorithm>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "fairlead/ini/ini_keys.h"
#include "fairlead/text/strings.h"
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
     "edits for 'ini apply' that give FILE the keys of OTHER; status 3 if it "
     "would refuse them"},
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
  const std::string text =
      from_stdin ? StandardInput() : WithoutByteOrderMark(ReadFile(name));
  const std::vector<ScriptLine> script = ParseScript(text, name);
  const std::string file = arguments.Text(kFile);
  return EditDocument(
      arguments, output, Missing::kIsEmpty,
      [&](IniDocument& document) { RunScript(script, name, document, file); });
}

IniDocument ReadOther(const std::string& file, IniReading reading) {
  return ParsedWithWarning(ReadFile(file), file, reading);
}

// Throws if no edit can set or delete the key.
void RequireOneLine(const IniDocument& document, const IniEntry& key,
                    const std::string& file) {
  if (!document.Continuation(key).empty())
    FailMalformed(file, key.line,
                  "the value continues below this line, so no edit can set it");
}

// One of the files that are compared. Keeps the references.
struct Side {
  Side(const std::string& name, const IniDocument& text)
      : file(name), document(text), keys(text) {}

  std::optional<IniEntry> Find(const IniEntry& key) const {
    return keys.Find(key.section, key.key);
  }

  const std::string& file;
  const IniDocument& document;
  const IniKeys keys;
};

// Returns the lines that continue a value, trimmed and without comments.
std::string PlainContinuation(const IniDocument& document,
                              const IniEntry& key) {
  const std::string lines = document.Continuation(key);
  std::string plain;
  for (std::string_view rest = lines; !rest.empty();) {
    const std::string_view whole = rest.substr(0, rest.find('\n'));
    rest.remove_prefix(std::min(whole.size() + 1, rest.size()));
    const std::string line = TrimStr(whole, " \t\r", 0);
    if (!line.starts_with('#') && !line.starts_with(';'))
      plain.append(line).append("\n");
  }
  return plain;
}

bool HaveSameValue(const IniDocument& a, const IniEntry& in_a,
                   const IniDocument& b, const IniEntry& in_b) {
  return in_a.value == in_b.value &&
         PlainContinuation(a, in_a) == PlainContinuation(b, in_b);
}

// A key whose value differs, as each side has it.
struct Differing {
  std::optional<IniEntry> before;
  std::optional<IniEntry> after;
};

// Calls `use` for each key that differs, those of `after` alone at the end.
template <typename Use>
void ForEachDifference(const Side& before, const Side& after, Use use) {
  for (const IniEntry& entry : before.document) {
    if (!before.keys.IsFirst(entry)) continue;
    const auto old = before.Find(entry);
    const auto now = after.Find(entry);
    if (!now || !HaveSameValue(before.document, *old, after.document, *now))
      use(Differing{old, now});
  }
  for (const IniEntry& entry : after.document)
    if (after.keys.IsFirst(entry) && !before.Find(entry))
      use(Differing{{}, after.Find(entry)});
}

std::string Row(std::string_view sign, const IniDocument& document,
                const IniEntry& key) {
  const bool continues = !document.Continuation(key).empty();
  return Concat(sign, "\t", key.section, "\t", key.key, "\t", key.value,
                continues ? " ..." : "", "\n");
}

bool PrintRows(const Side& before, const Side& after, const Output& output) {
  Printer rows(output, Format::kTextLines);
  bool differ = false;
  ForEachDifference(before, after, [&](const Differing& key) {
    differ = true;
    if (key.before) rows.Add(Row("-", before.document, *key.before));
    if (key.after) rows.Add(Row("+", after.document, *key.after));
  });
  rows.Flush();
  return differ;
}

// A key that a script sets or deletes, and the record that it is made for.
struct ScriptEdit {
  Place place;
  std::optional<std::string> value;  // None to delete the key.
  const std::string& file;
  std::size_t line;

  std::string Name() const { return value ? "set" : "delete"; }

  std::vector<std::string> Words() const {
    std::vector<std::string> words = {Name(), place.section, *place.key};
    if (value) words.push_back(*value);
    return words;
  }
};

Place KeyPlace(const IniEntry& key) {
  return {.section = std::string(key.section), .key = std::string(key.key)};
}

ScriptEdit DeleteEdit(const Side& before, const IniEntry& key) {
  return {KeyPlace(key), std::nullopt, before.file, key.line};
}

ScriptEdit SetEdit(const Side& after, const IniEntry& key) {
  return {KeyPlace(key), std::string(key.value), after.file, key.line};
}

// Returns the edits that make all differences. In the records reading, each of
// several keys of one name is deleted.
std::vector<ScriptEdit> EditsOf(const Side& before, const Side& after,
                                IniReading reading) {
  std::vector<ScriptEdit> edits;
  ForEachDifference(before, after, [&](const Differing& key) {
    if (key.before) RequireOneLine(before.document, *key.before, before.file);
    if (key.after) RequireOneLine(after.document, *key.after, after.file);
    edits.push_back(key.after ? SetEdit(after, *key.after)
                              : DeleteEdit(before, *key.before));
  });
  if (reading == IniReading::kRecords)
    for (const IniEntry& entry : before.document)
      if (!entry.IsHeader() && !before.keys.IsFirst(entry) &&
          !after.Find(entry))
        edits.push_back(DeleteEdit(before, entry));
  return edits;
}

// Throws if `apply` would refuse the edit.
void MakeEdit(const ScriptEdit& edit, IniDocument& document) {
  const IniName name = edit.place.Name();
  const IniResult result =
      edit.value ? document.Set(name, *edit.value) : document.Delete(name);
  if (!result.IsOk())
    FailMalformed(
        edit.file, edit.line,
        Concat("no script can ", edit.Name(), " this key: ",
               result.reason.empty() ? WhyNotFound(result.code, edit.place)
                                     : std::string(result.reason)));
}

// Makes the edits, and throws if a difference would stay: an edit may have
// given another key a meaning that it had not.
void RequireEdits(const std::vector<ScriptEdit>& edits, const Side& after,
                  const std::string& file, IniDocument document) {
  for (const ScriptEdit& edit : edits) MakeEdit(edit, document);
  const Side made(file, document);
  ForEachDifference(made, after, [&](const Differing& key) {
    FailMalformed(key.after ? after.file : file,
                  key.after ? key.after->line : key.before->line,
                  "no script can make this difference");
  });
}

// Prints a script of edits, if `apply` can make them all.
bool PrintScript(const std::string& file, IniDocument document,
                 const Side& after, IniReading reading, const Output& output) {
  const auto edits = EditsOf(Side(file, document), after, reading);
  RequireEdits(edits, after, file, std::move(document));
  Printer lines(output, Format::kTextLines);
  for (const ScriptEdit& edit : edits) lines.Add(LineOfScript(edit.Words()));
  lines.Flush();
  return !edits.empty();
}

ExitStatus Diff(const Arguments<kDiffUses>& arguments, const Output& output) {
  const IniReading reading = ReadingOf(arguments.Has(kRecords));
  const std::string file = arguments.Text(kFile);
  const std::string other = arguments.Text(kWith);
  IniDocument before = ReadOther(file, reading);
  const IniDocument after = ReadOther(other, reading);
  const Side wanted(other, after);
  const bool differ =
      arguments.Chosen<DiffFormat>(kDiffFormat) == DiffFormat::kAsScript
          ? PrintScript(file, std::move(before), wanted, reading, output)
          : PrintRows(Side(file, before), wanted, output);
  return differ ? kAnswerIsNo : kDone;
}

// Returns which of the keys that count in the other file, in their order, have
// another value there. Its index must be gone before the first edit.
std::vector<bool> DifferingKeys(const IniDocument& document,
                                const Side& other) {
  const IniKeys keys(document);
  std::vector<bool> differ;
  for (const IniEntry& entry : other.document) {
    if (!other.keys.IsFirst(entry)) continue;
    const auto here = keys.Find(entry.section, entry.key);
    differ.push_back(!here || !HaveSameValue(document, *here, other.document,
                                             *other.Find(entry)));
  }
  return differ;
}

// Sets a key as the other file has it.
void MergeKey(IniDocument& document, const std::string& file,
              const IniEntry& key, const Side& other) {
  const Place place = KeyPlace(key);
  RequireOneLine(other.document, key, other.file);
  const IniResult result = document.Set(place.Name(), key.value);
  if (result.code == IniResult::Code::kInvalid)
    FailMalformed(other.file, key.line, result.reason);
  Require(result, file, place);
}

ExitStatus Merge(const Arguments<kMergeUses>& arguments, const Output& output) {
  const IniReading reading = ReadingOf(arguments.Has(kRecords));
  const std::string from = arguments.Text(kFrom);
  const IniDocument text = ReadOther(from, reading);
  const Side other(from, text);
  const std::string file = arguments.Text(kFile);
  return EditDocument(
      arguments, output, Missing::kIsEmpty, [&](IniDocument& document) {
        const std::vector<bool> differ = DifferingKeys(document, other);
        auto differs = differ.begin();
        for (const IniEntry& entry : other.document)
          if (other.keys.IsFirst(entry) && *differs++)
            MergeKey(document, file, *other.Find(entry), other);
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
                           {kMalformedInput,
                            "a file is malformed, or no script can make a "
                            "difference"},
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
