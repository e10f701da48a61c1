// The parameters and functions of the subcommands of `ini`.

#ifndef FAIRLEAD_TOOL_INI_INI_H_
#define FAIRLEAD_TOOL_INI_INI_H_

#include <string>
#include <string_view>

#include "tool/command/arguments.h"
#include "tool/command/command.h"
#include "tool/command/parameters.h"
#include "tool/ini/listing.h"
#include "tool/io/output.h"

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
    .help = "the key, case-sensitive, without surrounding whitespace"};

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
                                  .kind = Kind::kText,
                                  .group = Group::kWhat,
                                  .help = "the new name"};
inline constexpr Parameter kText = {
    .name = "text",
    .placeholder = "COMMENT",
    .kind = Kind::kText,
    .group = Group::kWhat,
    .help =
        "the comment lines, which replace existing ones; '# ' is added to a "
        "line without a comment character"};
inline constexpr Parameter kChar = {
    .name = "char",
    .placeholder = "C",
    .kind = Kind::kNonEmptyText,
    .group = Group::kWhat,
    .help = "the comment character: # or ;, also as hash or semicolon",
    .fallback = "#"};
inline constexpr Parameter kDefault = {
    .name = "default",
    .placeholder = "TEXT",
    .kind = Kind::kText,
    .group = Group::kWhat,
    .help = "the value to print if the key or the file does not exist"};

inline constexpr Parameter kFormat = {
    .name = "format",
    .kind = Kind::kChoice,
    .group = Group::kOutput,
    .help =
        "lines with TABs, words quoted for a shell, JSON, or a zero byte after "
        "each text",
    .choices = kFormats,
    .fallback = "text"};
inline constexpr Parameter kDryrun = {
    .name = "dryrun",
    .kind = Kind::kSwitch,
    .group = Group::kOutput,
    .help = "print the changes as a diff; write nothing"};
inline constexpr Parameter kInplace = {
    .name = "inplace",
    .kind = Kind::kSwitch,
    .group = Group::kOutput,
    .help =
        "overwrite the file in place instead of replacing it, for a file with "
        "several names or in a folder that cannot be written; not atomic: a "
        "killed edit leaves a mixture of old and new"};

/// The parameters that the shared code of the subcommands reads. The table of
/// each subcommand lists what it accepts; the others are never given.
inline constexpr auto kSharedUses =
    Uses(kFile, kSection, kKey, kValue, kStdin, kTo, kText, kChar, kDefault,
         kFormat, kDryrun, kInplace);

using Arguments = tool::Arguments<kSharedUses>;

/// Prints; on a terminal, control bytes in the format kTextLines are made
/// visible.
void Print(const Output& output, Format format, const std::string& text);

// The subcommands. Their usage has been checked.

ExitStatus Get(const Arguments& arguments, const Output& output);
ExitStatus List(const Arguments& arguments, const Output& output);
ExitStatus Sections(const Arguments& arguments, const Output& output);
ExitStatus Keys(const Arguments& arguments, const Output& output);
ExitStatus Has(const Arguments& arguments, const Output& output);
ExitStatus Show(const Arguments& arguments, const Output& output);

ExitStatus Set(const Arguments& arguments, const Output& output);
ExitStatus Add(const Arguments& arguments, const Output& output);
ExitStatus Delete(const Arguments& arguments, const Output& output);
ExitStatus Enable(const Arguments& arguments, const Output& output);
ExitStatus Disable(const Arguments& arguments, const Output& output);
ExitStatus Comment(const Arguments& arguments, const Output& output);
ExitStatus Rename(const Arguments& arguments, const Output& output);
ExitStatus Create(const Arguments& arguments, const Output& output);

}  // namespace fairlead::tool::ini

#endif  // FAIRLEAD_TOOL_INI_INI_H_
