// The parameters that more than one command or file asks for.

#ifndef FAIRLEAD_TOOL_COMMAND_PARAMETERS_H_
#define FAIRLEAD_TOOL_COMMAND_PARAMETERS_H_

#include <climits>
#include <span>

#include "tool/command/commands.h"

namespace fairlead::tool {

inline constexpr int kLongestTime = 86400;  // A day, in seconds.

inline constexpr Parameter kHost = {
    .name = "host",
    .word = "NAME",
    .kind = Kind::kWord,
    .group = "Where",
    .help = "the server's name or dotted IPv4 address"};
inline constexpr Parameter kPort = {.name = "port",
                                    .word = "N",
                                    .kind = Kind::kNumber,
                                    .group = "Where",
                                    .help = "the server's port",
                                    .least = 1,
                                    .most = 65535};
inline constexpr Parameter kDemo = {
    .name = "demo",
    .word = "",
    .kind = Kind::kSwitch,
    .group = "Where",
    .help =
        "instead of -host and -port: a server inside the process, on a free "
        "loopback port"};

inline constexpr Parameter kTimeout = {
    .name = "timeout",
    .word = "SECONDS",
    .kind = Kind::kNumber,
    .group = "How long",
    .help = "the bound on all that is done, resolving the name included",
    .least = 1,
    .most = kLongestTime,
    .fallback = "30"};
inline constexpr Parameter kIdle = {
    .name = "idle",
    .word = "SECONDS",
    .kind = Kind::kNumber,
    .group = "How long",
    .help = "the silence after which no more is awaited",
    .least = 1,
    .most = kLongestTime,
    .fallback = "5"};
inline constexpr Parameter kMessages = {.name = "messages",
                                        .word = "N",
                                        .kind = Kind::kNumber,
                                        .group = "How long",
                                        .help = "end after N received messages",
                                        .least = 1,
                                        .most = INT_MAX};
inline constexpr Parameter kBytes = {
    .name = "bytes",
    .word = "N",
    .kind = Kind::kNumber,
    .group = "How long",
    .help = "end with the message that holds the Nth byte",
    .least = 1,
    .most = INT_MAX};
inline constexpr Parameter kLines = {
    .name = "lines",
    .word = "N",
    .kind = Kind::kNumber,
    .group = "How long",
    .help = "end with the message that holds the Nth line feed",
    .least = 1,
    .most = INT_MAX};
inline constexpr Parameter kUntil = {
    .name = "until",
    .word = "TEXT",
    .kind = Kind::kWord,
    .group = "How long",
    .help =
        "end with the message that completes TEXT (\\r \\n \\t \\\\ \\xHH); "
        "status 1 where it does not come"};

inline constexpr Parameter kView = {
    .name = "view",
    .word = "raw|text|hex|dump|json",
    .kind = Kind::kChoice,
    .group = "Output",
    .help =
        "the bytes as they came, or one entry with a time stamp for each "
        "message",
    .fallback = "raw"};
inline constexpr Parameter kQuiet = {
    .name = "quiet",
    .word = "",
    .kind = Kind::kSwitch,
    .group = "Output",
    .help =
        "say nothing but errors, without a progress bar; a name that is not "
        "resolved prints -33 first and ends with status 255"};
inline constexpr Parameter kHelp = {.name = "help",
                                    .word = "",
                                    .kind = Kind::kSwitch,
                                    .group = "Output",
                                    .help = "print this help"};

/// The word behind a command that has several, such as the `get` of `ini get`.
constexpr Parameter WordOf(std::span<const Verb> verbs) {
  return {.name = "",
          .word = "WORD",
          .kind = Kind::kChoice,
          .group = "Words",
          .help = "what to do, with the parameters it takes",
          .verbs = verbs};
}

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_COMMAND_PARAMETERS_H_
