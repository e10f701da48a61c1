// Runs the exchange of a command: once, again after a failure, or repeatedly.

#ifndef FAIRLEAD_TOOL_EXCHANGE_EXCHANGE_RUNNER_H_
#define FAIRLEAD_TOOL_EXCHANGE_EXCHANGE_RUNNER_H_

#include <cstddef>
#include <functional>
#include <string>

#include "tool/base/exit_status.h"
#include "tool/exchange/conversation.h"
#include "tool/exchange/exchange_plan.h"
#include "tool/io/output.h"
#include "tool/traffic/time_limit.h"

namespace fairlead::tool {

/// What the server of -demo sends to each client.
struct DemoService {
  std::string greeting = {};
  std::size_t echoed = 0;  ///< Bytes of what the client sends.
};

/// Has one conversation, from Connect() to CheckOutcome(). Returns whether to
/// connect again, because the peer has left.
using Talk = std::function<bool(Conversation& conversation, TimeLimit& limit)>;

/// Has the conversations of a plan, with its log, its time limit and its
/// pauses.
///
/// @param plan gets the key, and the port of the demo server
/// @return the status of the last run that failed, or kDone if none did;
///     without -repeat, a failure is thrown
/// @throws Failure also for what another run cannot mend
ExitStatus RunExchange(ExchangePlan& plan, const Output& output,
                       const DemoService& service, const Talk& talk);

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_EXCHANGE_EXCHANGE_RUNNER_H_
