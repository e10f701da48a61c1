// What the command answers to the shell.

#ifndef FAIRLEAD_TOOL_BASE_EXIT_STATUS_H_
#define FAIRLEAD_TOOL_BASE_EXIT_STATUS_H_

#include <string_view>

namespace fairlead::tool {

/// The same number means the same thing for every command.
enum ExitStatus : int {
  kDone = 0,
  kAnswerIsNo = 1,
  kWrongUsage = 2,
  kMalformedInput = 3,
  kNotResolved = 6,
  kNotConnected = 7,
  kCannotWrite = 23,
  kCannotRead = 26,
  kTimeIsOver = 28,
  kNothingAnswered = 52,
  kSendingFailed = 55,
  kReceivingFailed = 56,
  kSilentlyNotResolved = 255,
};

/// What the status means, for help and the man page.
constexpr std::string_view Meaning(ExitStatus status) {
  switch (status) {
    case kDone:
      return "done";
    case kAnswerIsNo:
      return "the answer is no: the text of -until was not seen, or a section "
             "or "
             "key is not there (with add, rename and create: is there already)";
    case kWrongUsage:
      return "wrong usage";
    case kMalformedInput:
      return "malformed input";
    case kNotResolved:
      return "the name was not resolved";
    case kNotConnected:
      return "no connection could be made";
    case kCannotWrite:
      return "standard output or a file cannot be written";
    case kCannotRead:
      return "standard input or a file cannot be read";
    case kTimeIsOver:
      return "the time of -timeout is over";
    case kNothingAnswered:
      return "connected, and nothing was answered";
    case kSendingFailed:
      return "sending failed";
    case kReceivingFailed:
      return "receiving failed, or the peer was seen to reset the connection";
    case kSilentlyNotResolved:
      return "the name was not resolved, with -quiet";
  }
  return {};
}

/// What 130 means, the number that a shell gives to the signal of Ctrl-C.
inline constexpr std::string_view kInterrupt =
    "interrupted: the signal SIGINT ended it, which a shell calls 130";

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_BASE_EXIT_STATUS_H_
