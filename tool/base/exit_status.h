// What the command returns to the shell.

#ifndef FAIRLEAD_TOOL_BASE_EXIT_STATUS_H_
#define FAIRLEAD_TOOL_BASE_EXIT_STATUS_H_

#include <string_view>

namespace fairlead::tool {

/// The same number means the same for every command.
enum ExitStatus : int {
  kDone = 0,
  kAnswerIsNo = 1,
  kWrongUsage = 2,
  kMalformedInput = 3,
  kNotResolved = 6,
  kNotConnected = 7,
  kCutShort = 18,
  kCannotWrite = 23,
  kCannotRead = 26,
  kTimeIsOver = 28,
  kAddressInUse = 48,
  kNothingAnswered = 52,
  kSendingFailed = 55,
  kReceivingFailed = 56,
  kInterrupted = 130,  ///< Set by a shell, when SIGINT has ended the process.
  kReaderGone = 141,   ///< As a shell shows the end by SIGPIPE.
};

/// What the status means in general; a command's own table says what it means
/// there.
constexpr std::string_view Meaning(ExitStatus status) {
  switch (status) {
    case kDone:
      return "success";
    case kAnswerIsNo:
      return "the answer is no";
    case kWrongUsage:
      return "wrong usage";
    case kMalformedInput:
      return "malformed input";
    case kNotResolved:
      return "the host name was not resolved";
    case kNotConnected:
      return "no connection could be made";
    case kCutShort:
      return "less was received than asked for";
    case kCannotWrite:
      return "standard output or a file cannot be written";
    case kCannotRead:
      return "standard input or a file cannot be read, or there is not enough "
             "memory";
    case kTimeIsOver:
      return "a time limit was reached";
    case kAddressInUse:
      return "the address is in use";
    case kNothingAnswered:
      return "connected, but received nothing";
    case kSendingFailed:
      return "sending failed";
    case kReceivingFailed:
      return "receiving failed";
    case kInterrupted:
      return "interrupted by Ctrl-C (SIGINT)";
    case kReaderGone:
      return "the reader of standard output has ended, as in '| head -1'; "
             "without a message";
  }
  return {};
}

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_BASE_EXIT_STATUS_H_
