// What `send` and `recv` show of an exchange.

#ifndef FAIRLEAD_TOOL_EXCHANGE_DISPLAY_H_
#define FAIRLEAD_TOOL_EXCHANGE_DISPLAY_H_

#include <string_view>

#include "fairlead/time/the_time.h"
#include "tool/command/arguments.h"
#include "tool/exchange/destination.h"
#include "tool/exchange/parameters.h"
#include "tool/io/output.h"

namespace fairlead::tool {

/// What OutFileOf() reads.
inline constexpr auto kOutUses = Uses(Optional(kOut, Optional(kAppend)));

OutFile OutFileOf(const Arguments<kOutUses>& arguments);

/// Shows what is received in a view, on standard output or in a file.
///
/// One display serves all exchanges of a command.
class Display {
 public:
  /// @param output outlives the object
  Display(const Output& output, View view, OutFile file);

  /// @throws Failure with kCannotWrite if the file cannot be opened
  void Connected() { destination_.Open(); }

  /// Shows a message received at that time.
  ///
  /// @throws Failure with kCannotWrite or kReaderGone
  void Received(std::string_view message, const TheTime& time);

  /// The peer sends no more, though there is input left to send.
  void PeerEnded() const { destination_.End(); }

  /// Closes the file.
  ///
  /// @throws Failure with kCannotWrite
  void Close() { destination_.Close(); }

 private:
  const View view_;
  Destination destination_;
};

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_EXCHANGE_DISPLAY_H_
