// The parameters that several commands take.

#ifndef FAIRLEAD_TOOL_COMMAND_PARAMETERS_H_
#define FAIRLEAD_TOOL_COMMAND_PARAMETERS_H_

#include "tool/command/parameter.h"

namespace fairlead::tool {

/// Remedies of a value that begins with '-'.
inline constexpr std::string_view kEscapeDash = R"(write \x2d for it)";
inline constexpr std::string_view kLeadWithSpace = "write a space before it";

/// In milliseconds, up to a year.
inline constexpr Range kTimeRange = {.least = 1, .most = 31'536'000'000};

// The bytes that a command works on.

inline constexpr Parameter kText = {
    .name = "text",
    .placeholder = "TEXT",
    .kind = Kind::kText,
    .group = Group::kWhat,
    .help = R"(the bytes of TEXT, with the escapes \r \n \t \\ \xHH)",
    .remedy = kEscapeDash};
inline constexpr Parameter kHex = {.name = "hex",
                                   .placeholder = "DIGITS",
                                   .kind = Kind::kText,
                                   .group = Group::kWhat,
                                   .help = "the bytes of hexadecimal DIGITS"};
inline constexpr Parameter kFile = {.name = "file",
                                    .placeholder = "FILE",
                                    .kind = Kind::kFile,
                                    .group = Group::kWhat,
                                    .help = "the bytes of FILE"};
inline constexpr Parameter kStdin = {
    .name = "stdin",
    .kind = Kind::kSwitch,
    .group = Group::kWhat,
    .help = "the bytes of standard input, up to its end"};

// What every command takes.

inline constexpr Parameter kHelp = {.name = "help",
                                    .kind = Kind::kSwitch,
                                    .group = Group::kOutput,
                                    .help = "print this help"};

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_COMMAND_PARAMETERS_H_
