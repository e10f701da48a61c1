// The events of an exchange as JSON, for -view json.

#ifndef FAIRLEAD_TOOL_TRAFFIC_EVENTS_H_
#define FAIRLEAD_TOOL_TRAFFIC_EVENTS_H_

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "fairlead/time/the_time.h"
#include "tool/base/exit_status.h"

// Each function but UtcTime() returns one object on a line of its own, with the
// members that docs/exchange-events.schema.json describes. A peer is
// "ADDRESS:PORT".
namespace fairlead::tool::event {

/// Returns the instant to the millisecond, rounded down, in UTC (RFC 3339):
/// "2026-01-31T12:00:00.123Z".
std::string UtcTime(const TheTime& time);

std::string Resolved(const TheTime& time, std::string_view host,
                     std::string_view address);

/// @param took how long connecting took, if that is known
std::string Connected(const TheTime& time, std::string_view peer,
                      std::optional<std::chrono::nanoseconds> took = {});

/// Returns the event of a message that was handed to the system.
std::string Sent(const TheTime& time, std::string_view peer,
                 std::string_view bytes);
std::string Received(const TheTime& time, std::string_view peer,
                     std::string_view bytes);

/// @param sent how many bytes passed the connection, likewise `received`
/// @param reason why the connection ended
std::string Closed(const TheTime& time, std::string_view peer,
                   std::uint64_t sent, std::uint64_t received,
                   std::string_view reason);

/// Returns the event of what ends the command.
std::string Error(const TheTime& time, ExitStatus status,
                  std::string_view message);

}  // namespace fairlead::tool::event

#endif  // FAIRLEAD_TOOL_TRAFFIC_EVENTS_H_
