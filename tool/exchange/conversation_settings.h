// The settings of a conversation.

#ifndef FAIRLEAD_TOOL_EXCHANGE_CONVERSATION_SETTINGS_H_
#define FAIRLEAD_TOOL_EXCHANGE_CONVERSATION_SETTINGS_H_

#include <string>

#include "fairlead/net/exchange.h"
#include "tool/command/arguments.h"
#include "tool/exchange/reception.h"
#include "tool/traffic/display.h"
#include "tool/traffic/parameters.h"

namespace fairlead::tool {

/// With which server to converse, for how long, and how to show what comes.
struct ConversationSettings {
  std::string command;  ///< For messages.
  std::string host;
  int port = 0;  ///< Still 0 with -demo.
  ExchangeLimits::Limit timeout;
  ExchangeLimits limits;  ///< Without the total, which the TimeLimit has.
  bool half_close = false;
  bool quiet = false;
  bool verbose = false;
  ReceptionSettings reception;
  bool input_is_unique = false;  ///< What is sent cannot be read again.
  View view = View::kRaw;
  OutFile out;
};

/// Returns the settings that the arguments give, without a server.
///
/// @throws Failure with kWrongUsage for a malformed -until
ConversationSettings ReadSettings(const Arguments<kExchangeUses>& arguments);

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_EXCHANGE_CONVERSATION_SETTINGS_H_
