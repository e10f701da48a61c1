// The command `ini`: the table of its subcommands.

#include "tool/ini/ini.h"

#include <array>

#include "tool/command/command_table.h"

namespace fairlead::tool {
namespace ini {
namespace {

constexpr auto kShowFormats = std::to_array<Choice>(
    {{Format::kTextLines, "text"}, {Format::kJson, "json"}});

constexpr Parameter kShowFormat = {.name = kFormat.name,
                                   .kind = Kind::kChoice,
                                   .group = Group::kOutput,
                                   .help = "the lines, or JSON",
                                   .choices = kShowFormats,
                                   .fallback = kFormat.fallback};

constexpr auto kEditing = Uses(Optional(kDryrun), Optional(kInplace));

constexpr auto kGetUses =
    Uses(kFile, kSection, kKey, Optional(kDefault), Optional(kFormat));
constexpr auto kSetUses =
    Uses(kFile, OneOf(All(kSection, kKey, kValue), kStdin), kEditing);
constexpr auto kAddUses =
    Uses(kFile, kSection, Optional(kKey, kValue), kEditing);
constexpr auto kPlaceUses = Uses(kFile, kSection, Optional(kKey), kEditing);
constexpr auto kDisableUses =
    Uses(kFile, kSection, Optional(kKey), Optional(kChar), kEditing);
constexpr auto kCommentUses =
    Uses(kFile, kSection, Optional(kKey), kText, kEditing);
constexpr auto kRenameUses =
    Uses(kFile, kSection, Optional(kKey), kTo, kEditing);
constexpr auto kListUses = Uses(kFile, Optional(kSection), Optional(kFormat));
constexpr auto kSectionsUses = Uses(kFile, Optional(kFormat));
constexpr auto kKeysUses = Uses(kFile, kSection, Optional(kFormat));
constexpr auto kHasUses = Uses(kFile, kSection, Optional(kKey));
constexpr auto kShowUses =
    Uses(kFile, Optional(kSection, Optional(kKey)), Optional(kShowFormat));
constexpr auto kCreateUses = Uses(kFile, Optional(kDryrun));

// Returns the action of a subcommand, whose function reads through the table
// that all of them share.
template <const auto& kTable,
          ExitStatus (*kRun)(const Arguments&, const Output&)>
constexpr Action SharedActionOf() noexcept {
  return {kTable, [](const ParsedArguments& arguments, const Output& output) {
            return kRun(Arguments(arguments), output);
          }};
}

constexpr Status kMalformed = {kMalformedInput,
                               "the file, or a line of it, is malformed"};
constexpr Status kUnwritten = {kCannotWrite, "the file cannot be written"};
constexpr Status kUnprinted = {kCannotWrite,
                               "standard output cannot be written"};
constexpr Status kUnread = {kCannotRead, "the file cannot be read"};
constexpr Status kLocked = {kTimeIsOver,
                            "another edit of the file lasted ten seconds"};

constexpr auto kReadStatuses = std::to_array<Status>(
    {{kDone, "success"},
     {kAnswerIsNo, "the section or the key does not exist"},
     {kWrongUsage, "wrong usage"},
     kMalformed,
     kUnprinted,
     kUnread});
constexpr auto kSectionsStatuses =
    std::to_array<Status>({{kDone, "success"},
                           {kWrongUsage, "wrong usage"},
                           kMalformed,
                           kUnprinted,
                           kUnread});
constexpr auto kHasStatuses = std::to_array<Status>(
    {{kDone, "the section or the key exists"},
     {kAnswerIsNo, "it does not exist, or the file does not"},
     {kWrongUsage, "wrong usage"},
     kMalformed,
     kUnread});
constexpr auto kSetStatuses = std::to_array<Status>(
    {{kDone, "success"},
     {kWrongUsage, "wrong usage"},
     {kMalformedInput, "the file or standard input is malformed"},
     kUnwritten,
     {kCannotRead, "the file or standard input cannot be read"},
     kLocked});
constexpr auto kEditStatuses = std::to_array<Status>(
    {{kDone, "success"},
     {kAnswerIsNo, "the section or the key does not exist"},
     {kWrongUsage, "wrong usage"},
     kMalformed,
     kUnwritten,
     kUnread,
     kLocked});
constexpr auto kAddStatuses = std::to_array<Status>(
    {{kDone, "success"},
     {kAnswerIsNo, "the section or the key exists already"},
     {kWrongUsage, "wrong usage"},
     kMalformed,
     kUnwritten,
     kUnread,
     kLocked});
constexpr auto kRenameStatuses = std::to_array<Status>(
    {{kDone, "success"},
     {kAnswerIsNo, "the old name does not exist, or the new one does"},
     {kWrongUsage, "wrong usage"},
     kMalformed,
     kUnwritten,
     kUnread,
     kLocked});
constexpr auto kCreateStatuses =
    std::to_array<Status>({{kDone, "success"},
                           {kAnswerIsNo, "the file exists already"},
                           {kWrongUsage, "wrong usage"},
                           kUnwritten});

constexpr auto kGetExamples = std::to_array<Example>({
    {"fairlead ini get -file box.ini -section server -key port",
     "Prints 7000."},
    {"fairlead ini get -file box.ini -section server -key port -default 80",
     "Prints 80 if there is no such key."},
});
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
constexpr auto kListExamples = std::to_array<Example>({
    {"fairlead ini list -file box.ini -format json",
     "Prints every key, its value, its comments and whether it is disabled."},
});
constexpr auto kSectionsExamples = std::to_array<Example>({
    {"fairlead ini sections -file box.ini", "Prints server."},
});
constexpr auto kKeysExamples = std::to_array<Example>({
    {"fairlead ini keys -file box.ini -section server", "Prints port."},
});
constexpr auto kHasExamples = std::to_array<Example>({
    {"fairlead ini has -file box.ini -section server -key port",
     "Exits with 0 if the key exists."},
});
constexpr auto kShowExamples = std::to_array<Example>({
    {"fairlead ini show -file box.ini -section server",
     "Prints the lines of the section."},
});
constexpr auto kCreateExamples = std::to_array<Example>({
    {"fairlead ini create -file box.ini", "Creates an empty box.ini."},
});

constexpr Command kGet = {
    .name = "get",
    .parent = &kIniCommand,
    .summary = "print the value of a key",
    .description = "Prints the value, disabled or not.",
    .action = SharedActionOf<kGetUses, Get>(),
    .examples = kGetExamples,
    .statuses = kReadStatuses,
};
constexpr Command kSet = {
    .name = "set",
    .parent = &kIniCommand,
    .summary = "set the value of a key",
    .description =
        "Sets the value. Creates the file, the section and the key if they do "
        "not exist; a new key is the first of its section. A disabled key "
        "stays disabled.",
    .action = SharedActionOf<kSetUses, Set>(),
    .examples = kSetExamples,
    .statuses = kSetStatuses,
};
constexpr Command kAdd = {
    .name = "add",
    .parent = &kIniCommand,
    .summary = "add a section or a key that does not exist",
    .description =
        "Adds the section, or with -key and -value the key. Creates the file "
        "if it does not exist.",
    .action = SharedActionOf<kAddUses, Add>(),
    .examples = kAddExamples,
    .statuses = kAddStatuses,
};
constexpr Command kDelete = {
    .name = "delete",
    .parent = &kIniCommand,
    .summary = "delete a section or a key",
    .description =
        "Deletes the section, or with -key the key, and the comments above it.",
    .action = SharedActionOf<kPlaceUses, Delete>(),
    .examples = kDeleteExamples,
    .statuses = kEditStatuses,
};
constexpr Command kEnable = {
    .name = "enable",
    .parent = &kIniCommand,
    .summary = "remove the comment character from a section or a key",
    .description =
        "Removes the comment character from the lines of the section, or with "
        "-key from the line of the key. In a section, a comment that contains "
        "'=' counts as a disabled key and is enabled too.",
    .action = SharedActionOf<kPlaceUses, Enable>(),
    .examples = kEnableExamples,
    .statuses = kEditStatuses,
};
constexpr Command kDisable = {
    .name = "disable",
    .parent = &kIniCommand,
    .summary = "put a comment character before a section or a key",
    .description =
        "Puts the comment character before the lines of the section, or with "
        "-key before the line of the key.",
    .action = SharedActionOf<kDisableUses, Disable>(),
    .examples = kDisableExamples,
    .statuses = kEditStatuses,
};
constexpr Command kComment = {
    .name = "comment",
    .parent = &kIniCommand,
    .summary = "set the comment above a section or a key",
    .description =
        "Writes comment lines above the header of the section, or with -key "
        "above the key. They replace existing ones.",
    .action = SharedActionOf<kCommentUses, Comment>(),
    .examples = kCommentExamples,
    .statuses = kEditStatuses,
};
constexpr Command kRename = {
    .name = "rename",
    .parent = &kIniCommand,
    .summary = "rename a section or a key",
    .description =
        "Renames the section, or with -key the key. The new name must not "
        "exist.",
    .action = SharedActionOf<kRenameUses, Rename>(),
    .examples = kRenameExamples,
    .statuses = kRenameStatuses,
};
constexpr Command kList = {
    .name = "list",
    .parent = &kIniCommand,
    .summary = "print the section, key and value of every key",
    .description =
        "Prints every key of the file, or of the section. JSON also has the "
        "comments and whether a key is disabled.",
    .action = SharedActionOf<kListUses, List>(),
    .examples = kListExamples,
    .statuses = kReadStatuses,
};
constexpr Command kSections = {
    .name = "sections",
    .parent = &kIniCommand,
    .summary = "print the names of the sections",
    .description = "Prints the names in the order of the file.",
    .action = SharedActionOf<kSectionsUses, Sections>(),
    .examples = kSectionsExamples,
    .statuses = kSectionsStatuses,
};
constexpr Command kKeys = {
    .name = "keys",
    .parent = &kIniCommand,
    .summary = "print the names of the keys of a section",
    .description = "Prints the names in the order of the file.",
    .action = SharedActionOf<kKeysUses, Keys>(),
    .examples = kKeysExamples,
    .statuses = kReadStatuses,
};
constexpr Command kHas = {
    .name = "has",
    .parent = &kIniCommand,
    .summary = "return by exit status whether a section or a key exists",
    .description = "Prints nothing.",
    .action = SharedActionOf<kHasUses, Has>(),
    .examples = kHasExamples,
    .statuses = kHasStatuses,
};
constexpr Command kShow = {
    .name = "show",
    .parent = &kIniCommand,
    .summary = "print the lines of a file, a section or a key",
    .description = "Prints the lines as an edit would write them.",
    .action = SharedActionOf<kShowUses, Show>(),
    .examples = kShowExamples,
    .statuses = kReadStatuses,
};
constexpr Command kCreate = {
    .name = "create",
    .parent = &kIniCommand,
    .summary = "create an empty file",
    .description = "The file must not exist.",
    .action = SharedActionOf<kCreateUses, Create>(),
    .examples = kCreateExamples,
    .statuses = kCreateStatuses,
};

constexpr std::array kSubcommands = {
    &kGet,    &kSet,  &kAdd,      &kDelete, &kEnable, &kDisable, &kComment,
    &kRename, &kList, &kSections, &kKeys,   &kHas,    &kShow,    &kCreate,
};

constexpr auto kExamples = std::to_array<Example>({
    kSetExamples[0],
    kGetExamples[0],
    kDisableExamples[0],
    kListExamples[0],
});

constexpr auto kStatuses = std::to_array<Status>(
    {{kDone, "success"},
     {kAnswerIsNo, "not found, or already exists"},
     {kWrongUsage, "wrong usage"},
     {kMalformedInput, "the file or standard input is malformed"},
     {kCannotWrite, "the file or standard output cannot be written"},
     {kCannotRead, "the file or standard input cannot be read"},
     kLocked});

}  // namespace
}  // namespace ini

constinit const Command kIniCommand = {
    .name = "ini",
    .summary = "read and edit INI files",
    .description =
        "An edit writes a new file and replaces the old one with it. Owner, "
        "mode, access control list and extended attributes are kept; a "
        "symbolic link is kept and its target edited. If the edit fails or is "
        "killed, the file is the old one or the new one. A killed edit may "
        "leave a file .fairlead.PID.N beside it, which a later edit deletes. "
        "An edit waits up to ten seconds for another one of the same file; "
        "none is lost. An edit normalises the file: it removes blank lines, "
        "spaces "
        "around '=' and the CR of CR LF, and moves comments right above their "
        "key. If it would lose other text, the file is left unchanged and the "
        "line is reported. Disabled keys and sections count as existing. A "
        "comment that contains '=' is a disabled key. Names are "
        "case-sensitive. If a key occurs twice, the first is used; sections of "
        "the same name are merged.",
    .examples = ini::kExamples,
    .statuses = ini::kStatuses,
    .subcommands = ini::kSubcommands,
};

}  // namespace fairlead::tool
