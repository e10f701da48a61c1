// The subcommands of `ini` that list a file.

#include <array>
#include <optional>
#include <string>
#include <string_view>

#include "fairlead/ini/ini_keys.h"
#include "tool/base/concat.h"
#include "tool/base/escapes.h"
#include "tool/base/failure.h"
#include "tool/command/command_table.h"
#include "tool/ini/assignments.h"
#include "tool/ini/ini.h"
#include "tool/ini/ini_output.h"
#include "tool/ini/ini_parameters.h"
#include "tool/ini/ini_place.h"
#include "tool/ini/ini_search.h"
#include "tool/ini/ini_source.h"
#include "tool/ini/ini_statuses.h"
#include "tool/ini/listing.h"

namespace fairlead::tool::ini {
namespace {

constexpr auto kListUses =
    Uses(kFile, Optional(kSection), kReading, Optional(kAssignFormat));
constexpr auto kSectionsUses = Uses(kFile, kReading, Optional(kFormat));
constexpr auto kKeysUses = Uses(kFile, kSection, kReading, Optional(kFormat));
constexpr auto kShowFormats = std::to_array<Choice>(
    {{Format::kTextLines, "text"}, {Format::kJson, "json"}});
constexpr Parameter kShowFormat = {.name = kFormat.name,
                                   .kind = Kind::kChoice,
                                   .group = Group::kOutput,
                                   .help = "the lines, or JSON",
                                   .choices = kShowFormats,
                                   .fallback = kFormat.fallback};
constexpr auto kShowUses =
    Uses(kFile, Optional(kSection, Optional(kKey, Optional(kIndex))),
         Optional(kRecords), Optional(kShowFormat));

ExitStatus Sections(const Arguments<kSectionsUses>& arguments,
                    const Output& output) {
  const IniDocument document = ReadDocument(arguments);
  ListPrinter names(output, arguments.Chosen<Format>(kFormat));
  ForEach(document, arguments, std::nullopt, [&names](const IniEntry& entry) {
    if (entry.IsHeader()) names.AddName("section", entry.section, entry.line);
  });
  names.End();
  return kDone;
}

ExitStatus Keys(const Arguments<kKeysUses>& arguments, const Output& output) {
  const IniDocument document = ReadDocument(arguments);
  ListPrinter keys(output, arguments.Chosen<Format>(kFormat));
  ForEach(document, arguments, arguments.Text(kSection),
          [&keys](const IniEntry& entry) {
            if (!entry.IsHeader()) keys.AddName("key", entry.key, entry.line);
          });
  keys.End();
  return kDone;
}

std::optional<std::string> SectionOf(const Arguments<kListUses>& arguments) {
  if (!arguments.Has(kSection)) return std::nullopt;
  return arguments.Text(kSection);
}

// The listed keys as assignments. Keeps the references.
class Assignments {
 public:
  Assignments(const IniDocument& document,
              const Arguments<kListUses>& arguments)
      : document_(document),
        arguments_(arguments),
        section_(SectionOf(arguments)),
        keys_(document, arguments.Has(kDisabled) ? IniKeys::Which::kDisabledToo
                                                 : IniKeys::Which::kCounting) {}

  // Throws if one of them is not safe.
  void Check() const {
    SharedVariables variables(keys_.size());
    ForEach(document_, arguments_, section_, [&](const IniEntry& entry) {
      if (entry.IsHeader()) return;
      CheckAssignment(Prefix(entry), entry.key, entry.value);
      if (keys_.IsFirst(entry)) variables.Add(Prefix(entry), entry.key);
    });
    ForEachName([&](const IniEntry& entry) {
      variables.Check(Prefix(entry), entry.key);
    });
  }

  void Print(const Output& output) const {
    Printer lines(output, Format::kAssign);
    ForEachName([&](const IniEntry& entry) {
      lines.Add(Assignment(Prefix(entry), entry.key,
                           keys_.Find(entry.section, entry.key)->value));
    });
    lines.Flush();
  }

 private:
  std::string_view Prefix(const IniEntry& entry) const {
    return section_ ? "" : entry.section;
  }

  template <typename Use>
  void ForEachName(Use use) const {
    ForEach(document_, arguments_, section_, [&](const IniEntry& entry) {
      if (keys_.IsFirst(entry)) use(entry);
    });
  }

  const IniDocument& document_;
  const Arguments<kListUses>& arguments_;
  const std::optional<std::string> section_;
  const IniKeys keys_;
};

void ListJson(const IniDocument& document,
              const Arguments<kListUses>& arguments, const Output& output) {
  ListPrinter json(output, Format::kJson);
  ForEach(document, arguments, SectionOf(arguments),
          [&](const IniEntry& entry) {
            if (!entry.IsHeader()) json.AddJson(Json(document, entry));
          });
  json.End();
}

void ListRows(const IniDocument& document,
              const Arguments<kListUses>& arguments, const Output& output) {
  const auto format = arguments.Chosen<Format>(kAssignFormat);
  Printer rows(output, format);
  std::string row;
  ForEach(document, arguments, SectionOf(arguments),
          [&](const IniEntry& entry) {
            if (entry.IsHeader()) return;
            const std::array texts = {entry.section, entry.key, entry.value};
            row.clear();
            AppendRow(format, texts, row);
            rows.Add(row);
          });
  rows.Flush();
}

ExitStatus List(const Arguments<kListUses>& arguments, const Output& output) {
  const IniDocument document = ReadDocument(arguments);
  const auto format = arguments.Chosen<Format>(kAssignFormat);
  if (format == Format::kAssign) {
    const Assignments assignments(document, arguments);
    assignments.Check();
    assignments.Print(output);
    return kDone;
  }
  if (format == Format::kJson)
    ListJson(document, arguments, output);
  else
    ListRows(document, arguments, output);
  return kDone;
}

// `line` is that of the key, if the place is one.
void ShowJson(const IniDocument& document, const std::optional<Place>& place,
              std::size_t line, const Output& output) {
  ListPrinter json(output, Format::kJson);
  for (const IniEntry& entry : document) {
    const bool is_in = !place || (place->key ? entry.line == line
                                             : entry.section == place->section);
    if (is_in) json.AddJson(Json(document, entry));
  }
  json.End();
}

ExitStatus Show(const Arguments<kShowUses>& arguments, const Output& output) {
  const IniDocument document = ReadDocument(arguments);
  std::optional<Place> place;
  if (arguments.Has(kSection)) place = PlaceOf(arguments);
  IniFound found;
  if (place) found = document.Find(place->Name());
  if (place && !found) FailNotFound(found, *place);
  const auto format = arguments.Chosen<Format>(kShowFormat);
  if (format == Format::kJson) {
    ShowJson(document, place, found.entry.line, output);
  } else if (place) {
    Printer lines(output, format);
    document.ForEachLineOf(
        place->Name(), [&lines](std::string_view line) { lines.Add(line); });
    lines.Flush();
  } else {
    document.ForEachPiece(
        [&](std::string_view piece) { Print(output, format, piece); });
  }
  return kDone;
}

constexpr auto kReadStatuses = std::to_array<Status>(
    {kSuccess,
     {kAnswerIsNo, "the section or the key does not exist, or is disabled"},
     kUsage,
     kMalformed,
     kUnprinted,
     kUnread});
constexpr auto kSectionsStatuses =
    std::to_array<Status>({kSuccess, kUsage, kMalformed, kUnprinted, kUnread});

constexpr auto kListExamples = std::to_array<Example>({
    {"fairlead ini list -file box.ini -format json",
     "Prints every key with its value, its comments and its line."},
    {"fairlead ini list -file box.ini -section server -format assign",
     "Prints port='7000': eval in a shell sets the variable $port."},
});
constexpr auto kSectionsExamples = std::to_array<Example>({
    {"fairlead ini sections -file box.ini", "Prints server."},
});
constexpr auto kKeysExamples = std::to_array<Example>({
    {"fairlead ini keys -file box.ini -section server", "Prints port."},
});
constexpr auto kShowExamples = std::to_array<Example>({
    {"fairlead ini show -file box.ini -section server",
     "Prints the lines of the section."},
});

}  // namespace

constinit const Command kList = {
    .name = "list",
    .parent = &kIniCommand,
    .summary = "print the section, key and value of every key",
    .description =
        "Prints every key of the file, or of the section, in the order of the "
        "file. JSON also has the comments, the line and whether a key is "
        "disabled. The format assign, for sh and bash, prints KEY='VALUE' for "
        "the keys of a -section, else SECTION_KEY='VALUE', with '_' for what a "
        "variable's name cannot contain. It prints nothing, status 3, if a key "
        "would set a variable that shells or other programs use, such as PATH "
        "or PAGER, or two keys the same variable.",
    .action = ActionOf<kListUses, List>(),
    .examples = kListExamples,
    .statuses = kReadStatuses,
};
constinit const Command kSections = {
    .name = "sections",
    .parent = &kIniCommand,
    .summary = "print the names of the sections",
    .description =
        "Prints the names of the headers, in the order of the file. JSON also "
        "has the line.",
    .action = ActionOf<kSectionsUses, Sections>(),
    .examples = kSectionsExamples,
    .statuses = kSectionsStatuses,
};
constinit const Command kKeys = {
    .name = "keys",
    .parent = &kIniCommand,
    .summary = "print the names of the keys of a section",
    .description =
        "Prints the names in the order of the file. JSON also has the line.",
    .action = ActionOf<kKeysUses, Keys>(),
    .examples = kKeysExamples,
    .statuses = kReadStatuses,
};
constinit const Command kShow = {
    .name = "show",
    .parent = &kIniCommand,
    .summary = "print the lines of a file, a section or a key",
    .description =
        "Prints the lines as they are, with the comments above. JSON has the "
        "headers too, and what is disabled.",
    .action = ActionOf<kShowUses, Show>(),
    .examples = kShowExamples,
    .statuses = kReadStatuses,
};

}  // namespace fairlead::tool::ini
