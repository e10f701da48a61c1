// The parameters of the subcommands of `ini`.

#ifndef FAIRLEAD_TOOL_INI_INI_PARAMETERS_H_
#define FAIRLEAD_TOOL_INI_INI_PARAMETERS_H_

#include <array>
#include <climits>

#include "tool/command/parameters.h"
#include "tool/command/uses.h"
#include "tool/ini/listing.h"

namespace fairlead::tool::ini {

inline constexpr Parameter kFile = {.name = "file",
                                    .placeholder = "FILE",
                                    .kind = Kind::kFile,
                                    .group = Group::kWhere,
                                    .help = "the INI file"};
inline constexpr Parameter kSection = {
    .name = "section",
    .placeholder = "S",
    .kind = Kind::kText,
    .group = Group::kWhere,
    .help =
        "the section's name, case-sensitive, with its spaces; '' is the "
        "section of the keys before the first header"};
inline constexpr Parameter kKey = {
    .name = "key",
    .placeholder = "K",
    .kind = Kind::kNonEmptyText,
    .group = Group::kWhere,
    .help = "the key, case-sensitive, without surrounding whitespace",
    .remedy = kLeadWithSpace};
inline constexpr Parameter kIndex = {
    .name = "index",
    .placeholder = "N",
    .kind = Kind::kNumber,
    .group = Group::kWhere,
    .help =
        "the Nth of several keys of this name; the default is the one that "
        "counts",
    .range = {.least = 1, .most = INT_MAX}};
inline constexpr Parameter kRecords = {
    .name = "records",
    .kind = Kind::kSwitch,
    .group = Group::kWhere,
    .help =
        "read the file as the library's CIniFile does: disabled keys and "
        "headers count like active ones, and of several keys of one name the "
        "first one counts"};
inline constexpr Parameter kDisabled = {
    .name = "disabled",
    .kind = Kind::kSwitch,
    .group = Group::kWhere,
    .help = "also find what is disabled by a comment character"};

inline constexpr Parameter kValue = {
    .name = "value",
    .placeholder = "V",
    .kind = Kind::kText,
    .group = Group::kWhat,
    .help =
        "the value; surrounding whitespace is trimmed (write ' -5' for a value "
        "that begins with '-')",
    .remedy = kLeadWithSpace};
inline constexpr Parameter kStdin = {
    .name = "stdin",
    .kind = Kind::kSwitch,
    .group = Group::kWhat,
    .help =
        "read lines of section, TAB, key, TAB, value from standard input and "
        "set all or none"};
inline constexpr Parameter kTo = {.name = "to",
                                  .placeholder = "NEW",
                                  .kind = Kind::kNonEmptyText,
                                  .group = Group::kWhat,
                                  .help = "the new name"};
inline constexpr Parameter kText = {
    .name = "text",
    .placeholder = "COMMENT",
    .kind = Kind::kText,
    .group = Group::kWhat,
    .help =
        "the comment lines, '' for none; '# ' is added to a line without a "
        "comment character"};

/// The values are the characters.
enum class CommentCharacter : char { kHash = '#', kSemicolon = ';' };

// A shell takes the characters themselves as its own, so they have names too.
inline constexpr auto kCommentCharacters = std::to_array<Choice>({
    {CommentCharacter::kHash, "#"},
    {CommentCharacter::kSemicolon, ";"},
    {CommentCharacter::kHash, "hash"},
    {CommentCharacter::kSemicolon, "semicolon"},
});
inline constexpr Parameter kChar = {.name = "char",
                                    .kind = Kind::kChoice,
                                    .group = Group::kWhat,
                                    .help = "the comment character",
                                    .choices = kCommentCharacters,
                                    .fallback = "#"};

inline constexpr Parameter kDefault = {
    .name = "default",
    .placeholder = "TEXT",
    .kind = Kind::kText,
    .group = Group::kWhat,
    .help = "the value to print if the key or the file does not exist"};
inline constexpr Parameter kBefore = {
    .name = "before",
    .placeholder = "NAME",
    .kind = Kind::kText,
    .group = Group::kWhat,
    .help = "add it above this key or section"};
inline constexpr Parameter kAfter = {
    .name = "after",
    .placeholder = "NAME",
    .kind = Kind::kText,
    .group = Group::kWhat,
    .help = "add it below this key or section"};
inline constexpr Parameter kScript = {
    .name = "script",
    .placeholder = "SCRIPT",
    .kind = Kind::kFile,
    .group = Group::kWhat,
    .help = "a file with an edit in each line"};
inline constexpr Parameter kScriptStdin = {
    .name = "stdin",
    .kind = Kind::kSwitch,
    .group = Group::kWhat,
    .help = "read the script from standard input"};
inline constexpr Parameter kWith = {.name = "with",
                                    .placeholder = "OTHER",
                                    .kind = Kind::kFile,
                                    .group = Group::kWhat,
                                    .help = "the INI file to compare with"};
inline constexpr Parameter kFrom = {.name = "from",
                                    .placeholder = "OTHER",
                                    .kind = Kind::kFile,
                                    .group = Group::kWhat,
                                    .help = "the INI file to take keys from"};

enum class Type { kInt, kBool, kSize };

inline constexpr auto kTypes = std::to_array<Choice>({
    {Type::kInt, "int", "a whole number, printed in decimal digits"},
    {Type::kBool, "bool",
     "1, yes, true or on, printed as true; 0, no, false or off, as false"},
    {Type::kSize, "size",
     "a number of bytes, with k, M, G or T for powers of 1024, printed in "
     "decimal digits"},
});
inline constexpr Parameter kType = {.name = "type",
                                    .kind = Kind::kChoice,
                                    .group = Group::kOutput,
                                    .help =
                                        "check the value, and print it in "
                                        "one form",
                                    .choices = kTypes};

inline constexpr Parameter kFormat = {
    .name = "format",
    .kind = Kind::kChoice,
    .group = Group::kOutput,
    .help =
        "lines with TABs, words quoted for a shell, JSON, or a zero byte after "
        "each text",
    .choices = kFormats,
    .fallback = "text"};
inline constexpr Parameter kAssignFormat = {
    .name = "format",
    .kind = Kind::kChoice,
    .group = Group::kOutput,
    .help =
        "lines with TABs, words quoted for a shell, JSON, a zero byte after "
        "each text, or assignments for the eval of sh or bash",
    .choices = kFormatsAndAssign,
    .fallback = "text"};

inline constexpr Parameter kDryrun = {
    .name = "dryrun",
    .kind = Kind::kSwitch,
    .group = Group::kOutput,
    .help = "print the changes as a diff; write nothing"};
inline constexpr Parameter kCheck = {
    .name = "check",
    .kind = Kind::kSwitch,
    .group = Group::kOutput,
    .help =
        "write nothing; exit with 0 if there is nothing to change, and with 1 "
        "if the edit would change the file"};
inline constexpr Parameter kInplace = {
    .name = "inplace",
    .kind = Kind::kSwitch,
    .group = Group::kOutput,
    .help =
        "overwrite the file in place instead of replacing it, for a file with "
        "several names or in a folder that cannot be written; not atomic: a "
        "killed edit leaves a mixture of old and new"};
inline constexpr Parameter kBackup = {
    .name = "backup",
    .placeholder = "SUFFIX",
    .kind = Kind::kNonEmptyText,
    .group = Group::kOutput,
    .help =
        "keep the old file as FILE with SUFFIX appended, if the edit "
        "changes it; if FILE is a symbolic link, beside its target; an edit "
        "that is killed at that moment may leave a hard link of FILE there, in "
        "place of an older backup"};

// What the shared code of several subcommands reads.

inline constexpr auto kSourceUses = Uses(kFile, kRecords);
inline constexpr auto kPlaceUses = Uses(kSection, kKey, kIndex);
inline constexpr auto kWritingUses = Uses(
    Optional(kDryrun), Optional(kCheck), Optional(kInplace), Optional(kBackup));
inline constexpr auto kWritingFileUses = Uses(kFile, kWritingUses);
inline constexpr auto kEditingUses = Uses(kRecords, kWritingFileUses);

}  // namespace fairlead::tool::ini

#endif  // FAIRLEAD_TOOL_INI_INI_PARAMETERS_H_
