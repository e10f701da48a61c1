// How a received message is shown.

#ifndef FAIRLEAD_TOOL_EXCHANGE_VIEW_H_
#define FAIRLEAD_TOOL_EXCHANGE_VIEW_H_

#include <string>
#include <string_view>

#include "fairlead/net/tcp_client.h"
#include "fairlead/time/the_time.h"
#include "tool/io/output.h"

namespace fairlead::tool {

/// Returns the bytes of a message.
std::string_view BodyOf(const CTCPMessage& message);

/// Returns the bytes received at that time, formatted for a view.
///
/// @param view "raw" for the bytes themselves, with control bytes made visible
///     on a terminal. The others are one entry with the time of receipt: "text"
///     a line with the escapes of -text, "hex" a line of digits, "dump" rows of
///     sixteen bytes with their characters, "json" an object on one line, in
///     whose text every byte is one character.
std::string Rendered(std::string_view bytes, const TheTime& time,
                     std::string_view view, Screen screen);

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_EXCHANGE_VIEW_H_
