// Reads the settings of a conversation from the arguments.

#include "tool/exchange/conversation_settings.h"

#include <optional>

#include "tool/base/escapes.h"
#include "tool/command/command.h"

namespace fairlead::tool {
namespace {

ExchangeLimits LimitsOf(const Arguments<kExchangeUses>& arguments) {
  return {.total = std::nullopt,
          .connect = arguments.Duration(kConnecttimeout),
          .idle = arguments.Duration(kIdle)};
}

StopLimits StopLimitsOf(const Arguments<kExchangeUses>& arguments) {
  return {.messages = arguments.Number(kMessages),
          .bytes = arguments.Number(kBytes),
          .lines = arguments.Number(kLines),
          .until = Unescaped(arguments.Text(kUntil), kUntil.name)};
}

}  // namespace

ConversationSettings ReadSettings(const Arguments<kExchangeUses>& arguments) {
  return {.command = std::string(TopName(arguments.parsed().command())),
          .host = {},
          .timeout = arguments.Duration(kTimeout),
          .limits = LimitsOf(arguments),
          .quiet = arguments.Has(kQuiet),
          .verbose = arguments.Has(kVerbose),
          .reception = {.stop = StopLimitsOf(arguments),
                        .expected =
                            Unescaped(arguments.Text(kExpect), kExpect.name),
                        .rejected =
                            Unescaped(arguments.Text(kReject), kReject.name)},
          .view = arguments.Chosen<View>(kView),
          .out = OutFileOf(arguments)};
}

}  // namespace fairlead::tool
