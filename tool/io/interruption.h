// A signal that asks the command to end, as something to wait for.

#ifndef FAIRLEAD_TOOL_IO_INTERRUPTION_H_
#define FAIRLEAD_TOOL_IO_INTERRUPTION_H_

namespace fairlead::tool {

/// Lets a command finish what it has begun when SIGINT (Ctrl-C), SIGTERM or
/// SIGHUP comes. A signal that the process was started to ignore stays ignored.
///
/// A command that has not finished two seconds after the signal, because
/// something it writes to does not take it, is ended all the same.
///
/// One object in the life of the process, for it lasts: it has no end of its
/// own.
class Interruption {
 public:
  Interruption();
  Interruption(const Interruption&) = delete;
  Interruption& operator=(const Interruption&) = delete;

  /// Becomes readable when a signal comes.
  int descriptor() const { return descriptor_; }

  static bool HasCome();

  /// Ends the process by the signal that has come, as it would have ended
  /// without the object.
  [[noreturn]] static void End();

 private:
  int descriptor_ = -1;
};

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_IO_INTERRUPTION_H_
