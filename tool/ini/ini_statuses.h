// What the exit statuses of the subcommands of `ini` mean.

#ifndef FAIRLEAD_TOOL_INI_INI_STATUSES_H_
#define FAIRLEAD_TOOL_INI_INI_STATUSES_H_

#include <array>
#include <string_view>

#include "tool/command/command.h"

namespace fairlead::tool::ini {

inline constexpr Status kSuccess = {kDone, "success"};
inline constexpr Status kUsage = {kWrongUsage, "wrong usage"};
inline constexpr Status kMalformed = {
    kMalformedInput, "the file, or a line of it, is malformed"};
inline constexpr Status kUnprinted = {kCannotWrite,
                                      "standard output cannot be written"};
inline constexpr Status kUnwritten = {kCannotWrite,
                                      "the file cannot be written"};
inline constexpr Status kUnread = {kCannotRead, "the file cannot be read"};
inline constexpr Status kLocked = {kTimeIsOver,
                                   "another edit of the file lasted ten "
                                   "seconds"};

/// The statuses of a subcommand that edits.
///
/// @param no what kAnswerIsNo means
constexpr std::array<Status, 7> EditStatuses(std::string_view no) {
  return {kSuccess,   {kAnswerIsNo, no}, kUsage, kMalformed,
          kUnwritten, kUnread,           kLocked};
}

}  // namespace fairlead::tool::ini

#endif  // FAIRLEAD_TOOL_INI_INI_STATUSES_H_
