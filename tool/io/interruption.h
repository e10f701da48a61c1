// A signal that ends the process, as a descriptor to poll.

#ifndef FAIRLEAD_TOOL_IO_INTERRUPTION_H_
#define FAIRLEAD_TOOL_IO_INTERRUPTION_H_

namespace fairlead::tool {

/// Lets a command finish its work after SIGINT (Ctrl-C), SIGTERM or SIGHUP.
/// A signal that the process was started to ignore stays ignored.
///
/// The process ends two seconds after the signal even if the command has not
/// finished, for example because its output blocks.
///
/// Create at most one per process; the handlers are never removed.
class Interruption {
 public:
  Interruption();
  Interruption(const Interruption&) = delete;
  Interruption& operator=(const Interruption&) = delete;

  /// Returns a descriptor that becomes readable when a signal arrives.
  int descriptor() const { return descriptor_; }

  /// Returns whether a signal has arrived.
  static bool HasCome();

  /// Ends the process by the signal that arrived, as its default action does.
  [[noreturn]] static void End();

 private:
  int descriptor_ = -1;
};

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_IO_INTERRUPTION_H_
