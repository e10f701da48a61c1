// The plan of `send` and `recv`: what both take, with every argument checked.

#ifndef FAIRLEAD_TOOL_EXCHANGE_EXCHANGE_PLAN_H_
#define FAIRLEAD_TOOL_EXCHANGE_EXCHANGE_PLAN_H_

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "tool/command/arguments.h"
#include "tool/crypt/cipher.h"
#include "tool/exchange/conversation_settings.h"
#include "tool/exchange/send_profile.h"
#include "tool/traffic/data_log.h"
#include "tool/traffic/exchange_log.h"
#include "tool/traffic/parameters.h"

namespace fairlead::tool {

/// Which server, and where its address may come from.
inline constexpr auto kServerUses =
    Uses(OneOf(All(Expected(kHost), Expected(kPort)), kDemo),
         Optional(kSettings, kProfile, Optional(kSaveprofile)));
inline constexpr auto kLogUses =
    Uses(Optional(kLog, Optional(kLogCrlf), Optional(kLogdata)));
inline constexpr auto kOptionalCipherUses =
    Uses(AtMostOne(kAes, kRc4, kCipherWithKey), kAesBits);

/// What an ExchangePlan reads. How the last five go together is for the
/// commands to say.
inline constexpr auto kPlanUses =
    Uses(kServerUses, kOptionalCipherUses, kExchangeUses, kLogUses,
         Optional(kRetry), Optional(kRetrydelay), Optional(kRepeat),
         Optional(kInterval), Optional(kChanges));

/// What is common to `send` and `recv`. Making one reads the profile and
/// changes nothing.
struct ExchangePlan {
  /// @throws Failure with kWrongUsage, and as Profile does
  explicit ExchangePlan(const Arguments<kPlanUses>& arguments);

  /// Throws if the file of the parameter, which is read, is also written.
  ///
  /// @param path empty for no file
  /// @throws Failure with kWrongUsage
  void CheckIsOnlyRead(const Parameter& parameter,
                       const std::string& path) const;

  /// Does the same for standard input, which the parameter asks for.
  void CheckInputIsOnlyRead(const Parameter& parameter) const;

  /// Connects again whenever the peer leaves. Limits of time then have no
  /// defaults.
  void Reconnect();

  /// Waits for what a user types, for as long as that takes: -timeout then has
  /// no default.
  void AwaitUser();

  /// Returns whether there may be more than one connection.
  bool MayReconnect() const;

  const Profile profile;
  ConversationSettings settings;
  const Arguments<kCipherUses> cipher;
  const bool demo;
  const std::string log;  ///< The file of -log; empty for none.
  const bool crlf;
  const std::optional<DataForm> log_data;

  const int retries;
  const std::chrono::milliseconds retry_delay;
  const bool repeats;
  const int runs;  ///< 0 for ever.
  const std::chrono::milliseconds interval;
  const bool changes;
  bool reconnects = false;
};

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_EXCHANGE_EXCHANGE_PLAN_H_
