// What the words of the command `ini` share: their parameters, and where each
// is done.

#ifndef FAIRLEAD_TOOL_INI_INI_H_
#define FAIRLEAD_TOOL_INI_INI_H_

#include <string>
#include <string_view>

#include "tool/command/arguments.h"
#include "tool/io/output.h"

namespace fairlead::tool::ini {

inline constexpr Parameter kFile = {.name = "file",
                                    .word = "FILE",
                                    .kind = Kind::kFile,
                                    .group = "Where",
                                    .help = "the INI file"};
inline constexpr Parameter kSection = {
    .name = "section",
    .word = "S",
    .kind = Kind::kText,
    .group = "Where",
    .help =
        "the section, letter by letter with its blanks; '' is that of the "
        "keys before the first header"};
inline constexpr Parameter kKey = {.name = "key",
                                   .word = "K",
                                   .kind = Kind::kWord,
                                   .group = "Where",
                                   .help = "the key, without blanks around it"};

inline constexpr Parameter kValue = {
    .name = "value",
    .word = "V",
    .kind = Kind::kText,
    .group = "What",
    .help =
        "the value; blanks around it do not count, so that one before a '-' "
        "lets it begin the value"};
inline constexpr Parameter kStdin = {
    .name = "stdin",
    .word = "",
    .kind = Kind::kSwitch,
    .group = "What",
    .help =
        "set what the lines of standard input say, all or nothing: section, "
        "TAB, key, TAB, value"};
inline constexpr Parameter kTo = {.name = "to",
                                  .word = "NEW",
                                  .kind = Kind::kText,
                                  .group = "What",
                                  .help = "the new name"};
inline constexpr Parameter kText = {
    .name = "text",
    .word = "COMMENT",
    .kind = Kind::kText,
    .group = "What",
    .help =
        "the comment lines to stand above, in place of those there; '# ' is "
        "put before a line without a comment character"};
inline constexpr Parameter kChar = {
    .name = "char",
    .word = "C",
    .kind = Kind::kWord,
    .group = "What",
    .help = "the comment character: # or ;, also as hash or semicolon",
    .fallback = "#"};
inline constexpr Parameter kDefault = {
    .name = "default",
    .word = "TEXT",
    .kind = Kind::kText,
    .group = "What",
    .help = "the value where the key or the file is not there"};

inline constexpr Parameter kFormat = {
    .name = "format",
    .word = "text|sh|json|nul",
    .kind = Kind::kChoice,
    .group = "Output",
    .help =
        "lines with TABs, words quoted for a shell, JSON, or a zero byte after "
        "each text",
    .fallback = "text"};
inline constexpr Parameter kDryrun = {
    .name = "dryrun",
    .word = "",
    .kind = Kind::kSwitch,
    .group = "Output",
    .help = "print the difference that the edit would make; write nothing"};
inline constexpr Parameter kInplace = {
    .name = "inplace",
    .word = "",
    .kind = Kind::kSwitch,
    .group = "Output",
    .help =
        "rewrite the file itself, where another cannot take its place; killed "
        "meanwhile, it leaves half"};

/// Prints; on a terminal, control bytes in the format "text" are made visible.
void Print(const Output& output, std::string_view format,
           const std::string& text);

// Each does what the word of its name says. They expect that the parameters
// which the word needs were given, and no others.

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
