// How a received message is shown.

#ifndef FAIRLEAD_TOOL_TRAFFIC_VIEW_H_
#define FAIRLEAD_TOOL_TRAFFIC_VIEW_H_

#include <string>
#include <string_view>

#include "fairlead/time/the_time.h"
#include "tool/io/output.h"
#include "tool/traffic/parameters.h"

namespace fairlead::tool {

/// Returns the bytes as pairs of hexadecimal digits with spaces between them.
std::string HexPairs(std::string_view bytes);

/// What was received, when, and the sender's address: "127.0.0.1:7000".
struct ReceivedMessage {
  std::string_view bytes;
  TheTime time;
  std::string_view peer;
};

/// Returns the message formatted for a view.
///
/// @param view kRaw for the bytes themselves, with control bytes made visible
///     on a terminal. The others are one entry with the time of receipt:
///     kTextLine a line with the escapes of -text, kHexLine a line of digits,
///     kDump rows of sixteen bytes with their characters, kJson the event of
///     its receipt.
std::string Rendered(const ReceivedMessage& message, View view, Screen screen);

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_TRAFFIC_VIEW_H_
