// The parameters of an exchange with a server.

#ifndef FAIRLEAD_TOOL_TRAFFIC_PARAMETERS_H_
#define FAIRLEAD_TOOL_TRAFFIC_PARAMETERS_H_

#include <array>

#include "tool/command/duration.h"
#include "tool/command/parameters.h"
#include "tool/command/uses.h"

namespace fairlead::tool {

inline constexpr Range kCountRange = {.least = 1, .most = INT_MAX};

inline constexpr Parameter kHost = {
    .name = "host",
    .placeholder = "NAME",
    .kind = Kind::kNonEmptyText,
    .group = Group::kWhere,
    .help = "the server's name or dotted IPv4 address"};
inline constexpr Parameter kPort = {.name = "port",
                                    .placeholder = "N",
                                    .kind = Kind::kNumber,
                                    .group = Group::kWhere,
                                    .help = "the server's port",
                                    .range = {.least = 1, .most = 65535}};
inline constexpr Parameter kDemo = {
    .name = "demo",
    .kind = Kind::kSwitch,
    .group = Group::kWhere,
    .help = "use a built-in server, on a free loopback port"};

inline constexpr Parameter kTimeout = {
    .name = "timeout",
    .placeholder = "TIME",
    .kind = Kind::kDuration,
    .group = Group::kHowLong,
    .help =
        "time limit of each attempt, including name resolution and, which "
        "-idle does not count, waiting for a slow reader of the output",
    .range = kTimeRange,
    .unlimited = kNoLimit,
    .fallback = "30"};
inline constexpr Parameter kIdle = {.name = "idle",
                                    .placeholder = "TIME",
                                    .kind = Kind::kDuration,
                                    .group = Group::kHowLong,
                                    .help = "stop after TIME without data",
                                    .range = kTimeRange,
                                    .unlimited = kNoLimit,
                                    .fallback = "5"};
inline constexpr Parameter kConnecttimeout = {
    .name = "connecttimeout",
    .placeholder = "TIME",
    .kind = Kind::kDuration,
    .group = Group::kHowLong,
    .help =
        "give up on an address after TIME, and try the next; without it, the "
        "addresses of a host share the time of -timeout",
    .range = kTimeRange};
inline constexpr Parameter kMessages = {
    .name = "messages",
    .placeholder = "N",
    .kind = Kind::kNumber,
    .group = Group::kHowLong,
    .help =
        "stop after N received messages; status 18 if fewer come, 52 if none "
        "does",
    .range = kCountRange};
inline constexpr Parameter kBytes = {
    .name = "bytes",
    .placeholder = "N",
    .kind = Kind::kNumber,
    .group = Group::kHowLong,
    .help =
        "stop after the message that contains the Nth byte; status 18 "
        "if fewer come, 52 if none does",
    .range = kCountRange};
inline constexpr Parameter kLines = {
    .name = "lines",
    .placeholder = "N",
    .kind = Kind::kNumber,
    .group = Group::kHowLong,
    .help =
        "stop after the message that contains the Nth newline; status "
        "18 if fewer come, 52 if nothing does",
    .range = kCountRange};
inline constexpr Parameter kUntil = {
    .name = "until",
    .placeholder = "TEXT",
    .kind = Kind::kNonEmptyText,
    .group = Group::kHowLong,
    .help =
        "stop after the message that completes TEXT, with the escapes \\r \\n "
        "\\t \\\\ \\xHH; status 1 if it does not come, 52 if nothing does",
    .remedy = kEscapeDash};

inline constexpr Parameter kExpect = {
    .name = "expect",
    .placeholder = "TEXT",
    .kind = Kind::kNonEmptyText,
    .group = Group::kHowLong,
    .help =
        "end at once, with status 0, if a line contains TEXT, with the same "
        "escapes; status 1 if none does, 52 if nothing comes; -verbose reports "
        "the line",
    .remedy = kEscapeDash};
inline constexpr Parameter kReject = {
    .name = "reject",
    .placeholder = "TEXT",
    .kind = Kind::kNonEmptyText,
    .group = Group::kHowLong,
    .help =
        "end at once with status 1 if a line contains TEXT, and report that "
        "line; the first text of -expect and -reject decides",
    .remedy = kEscapeDash};

/// In milliseconds, up to a year; 0 does not wait.
inline constexpr Range kDelayRange = {.least = 0, .most = kTimeRange.most};

inline constexpr Parameter kRetry = {
    .name = "retry",
    .placeholder = "N",
    .kind = Kind::kNumber,
    .group = Group::kHowLong,
    .help =
        "try again up to N times, from looking up the name on, after the "
        "statuses 6 and 7, and 28 if nothing was received",
    .range = kCountRange};
inline constexpr Parameter kRetrydelay = {.name = "retrydelay",
                                          .placeholder = "TIME",
                                          .kind = Kind::kDuration,
                                          .group = Group::kHowLong,
                                          .help = "wait for TIME before that",
                                          .range = kDelayRange,
                                          .fallback = "1"};

/// What a user writes instead of a number of runs, for no end.
inline constexpr std::string_view kForever = "forever";

inline constexpr Parameter kRepeat = {
    .name = "repeat",
    .placeholder = "N|forever",
    .kind = Kind::kNumber,
    .group = Group::kHowLong,
    .help =
        "run the exchange N times, over a connection each; go on after one "
        "that fails or reaches -timeout, and end with the status of the last "
        "that failed; only where a file, a pipe or the output blocks, -timeout "
        "ends all runs",
    .range = kCountRange,
    .unlimited = kForever};
inline constexpr Parameter kInterval = {
    .name = "interval",
    .placeholder = "TIME",
    .kind = Kind::kDuration,
    .group = Group::kHowLong,
    .help = "with -repeat, the time from one start to the next",
    .range = kDelayRange,
    .fallback = "1"};
inline constexpr Parameter kChanges = {
    .name = "changes",
    .kind = Kind::kSwitch,
    .group = Group::kOutput,
    .help =
        "print and log what one connection receives at its end, and only if it "
        "differs from what was printed last; what a malformed frame cuts, and "
        "more than 1 MiB or 65,536 messages, are not compared, but printed; a "
        "signal drops what has no end yet"};

enum class View { kRaw, kTextLine, kHexLine, kDump, kJson };

inline constexpr auto kViews = std::to_array<Choice>({
    {View::kRaw, "raw", "the bytes as received"},
    {View::kTextLine, "text", "a line of text, with the escapes of -text"},
    {View::kHexLine, "hex", "a line of hexadecimal digits"},
    {View::kDump, "dump", "rows of 16 bytes, with their characters"},
    {View::kJson, "json",
     "an object on a line for each step, as exchange-events.schema.json in the "
     "documentation describes"},
});

inline constexpr Parameter kView = {
    .name = "view",
    .kind = Kind::kChoice,
    .group = Group::kOutput,
    .help =
        "how to print what is received; text, hex and dump have one "
        "timestamped entry per message",
    .choices = kViews,
    .fallback = "raw"};
inline constexpr Parameter kOut = {
    .name = "out",
    .placeholder = "FILE",
    .kind = Kind::kFile,
    .group = Group::kOutput,
    .help =
        "print to FILE instead of standard output; it is created, or "
        "truncated, once the connection is made, with -view json at the first "
        "step"};
inline constexpr Parameter kAppend = {
    .name = "append",
    .kind = Kind::kSwitch,
    .group = Group::kOutput,
    .help = "keep what is in FILE, and print after it"};
inline constexpr Parameter kQuiet = {
    .name = "quiet",
    .kind = Kind::kSwitch,
    .group = Group::kOutput,
    .help = "print no progress bar and no steps, only errors"};
inline constexpr Parameter kVerbose = {
    .name = "verbose",
    .kind = Kind::kSwitch,
    .group = Group::kOutput,
    .help = "report each step on standard error"};

/// What ReadSettings() reads.
inline constexpr auto kExchangeUses = Uses(
    Optional(kTimeout), Optional(kConnecttimeout), Optional(kIdle),
    Optional(kMessages), Optional(kBytes), Optional(kLines), Optional(kUntil),
    Optional(kExpect), Optional(kReject), Optional(kView),
    Optional(kOut, Optional(kAppend)), AtMostOne(kQuiet, kVerbose));

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_TRAFFIC_PARAMETERS_H_
