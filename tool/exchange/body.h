// What `send` sends.

#ifndef FAIRLEAD_TOOL_EXCHANGE_BODY_H_
#define FAIRLEAD_TOOL_EXCHANGE_BODY_H_

#include <string>
#include <string_view>

#include "tool/command/arguments.h"

namespace fairlead::tool {

inline constexpr Parameter kText = {
    .name = "text",
    .word = "WORDS",
    .kind = Kind::kText,
    .group = "What",
    .help = R"(these words, with \r \n \t \\ \xHH in them)"};
inline constexpr Parameter kHex = {
    .name = "hex",
    .word = "DIGITS",
    .kind = Kind::kText,
    .group = "What",
    .help = "the bytes that pairs of hexadecimal digits spell"};
inline constexpr Parameter kFile = {.name = "file",
                                    .word = "PATH",
                                    .kind = Kind::kFile,
                                    .group = "What",
                                    .help = "the bytes of a file"};
inline constexpr Parameter kStdin = {
    .name = "stdin",
    .word = "",
    .kind = Kind::kSwitch,
    .group = "What",
    .help = "the bytes of standard input, up to its end"};
inline constexpr Parameter kSum = {
    .name = "sum",
    .word = "ROTATION",
    .kind = Kind::kNumber,
    .group = "What",
    .help =
        "put 8 bytes behind the body, the highest first: the 64 bits that "
        "'fairlead sum' prints for a -file of these bytes, with ROTATION; for "
        "one of -N give 32 - N",
    .least = 0,
    .most = 32};
inline constexpr Parameter kEol = {.name = "eol",
                                   .word = "none|lf|crlf",
                                   .kind = Kind::kChoice,
                                   .group = "What",
                                   .help = "the line end put behind all that",
                                   .fallback = "none"};
inline constexpr Parameter kPascal = {
    .name = "pascal",
    .word = "",
    .kind = Kind::kSwitch,
    .group = "What",
    .help = "put a byte with the length of all that before it (255 at most)"};

/// Checks that the body has exactly one door: -text, -hex, -file or -stdin.
///
/// @throws Failure with kWrongUsage
void CheckDoors(const Arguments& arguments);

/// The body, from its door, with -sum, the line end that `eol` names, and
/// -pascal.
///
/// @throws Failure with kCannotRead, or with kWrongUsage for a malformed text
///     and for a body too long for -pascal
std::string ReadBody(const Arguments& arguments, std::string_view eol);

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_EXCHANGE_BODY_H_
