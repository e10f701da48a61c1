// Reads the plan of an exchange from the arguments and the profile.

#include "tool/exchange/exchange_plan.h"

#include "tool/base/concat.h"
#include "tool/base/failure.h"
#include "tool/command/command.h"
#include "tool/command/same_file.h"

namespace fairlead::tool {
namespace {

std::string Needed(const Profile& profile, Profile::Listed parameter) {
  if (profile.Has(parameter)) return profile.Text(parameter);
  throw Failure(kWrongUsage, Concat("missing ", Spelling(*parameter),
                                    " (or -demo, for a built-in server)"));
}

void TakeFromProfile(const Profile& profile, bool demo,
                     ConversationSettings& settings) {
  settings.timeout = profile.Duration(kTimeout);
  settings.limits.idle = profile.Duration(kIdle);
  settings.view = profile.Chosen<View>(kView);
  settings.host = demo ? "127.0.0.1" : Needed(profile, kHost);
  settings.port = demo ? 0 : static_cast<int>(NumberIn(Needed(profile, kPort)));
}

}  // namespace

ExchangePlan::ExchangePlan(const Arguments<kPlanUses>& arguments)
    : profile(arguments),
      settings(ReadSettings(arguments)),
      cipher(arguments.parsed()),
      demo(arguments.Has(kDemo)),
      log(arguments.Text(kLog)),
      crlf(arguments.Has(kLogCrlf)),
      log_data(arguments.Has(kLogdata)
                   ? std::optional(arguments.Chosen<DataForm>(kLogdata))
                   : std::nullopt),
      retries(arguments.Number(kRetry)),
      retry_delay(*arguments.Duration(kRetrydelay)),
      repeats(arguments.Has(kRepeat)),
      runs(repeats ? arguments.Number(kRepeat) : 1),
      interval(*arguments.Duration(kInterval)),
      changes(arguments.Has(kChanges)) {
  TakeFromProfile(profile, demo, settings);
  CheckIsOnlyRead(kKeyfile, arguments.Text(kKeyfile));
  CheckIsOnlyRead(kSettings, arguments.Text(kSettings));
}

void ExchangePlan::CheckIsOnlyRead(const Parameter& parameter,
                                   const std::string& path) const {
  CheckDistinct(kLog, log, parameter, path);
  CheckDistinct(kOut, settings.out.path, parameter, path);
}

void ExchangePlan::CheckInputIsOnlyRead(const Parameter& parameter) const {
  CheckIsNotInput(kLog, log, parameter);
  CheckIsNotInput(kOut, settings.out.path, parameter);
}

void ExchangePlan::Reconnect() {
  reconnects = true;
  if (!profile.Has(kTimeout)) settings.timeout = std::nullopt;
  if (!profile.Has(kIdle)) settings.limits.idle = std::nullopt;
}

void ExchangePlan::AwaitUser() {
  if (!profile.Has(kTimeout)) settings.timeout = std::nullopt;
}

bool ExchangePlan::MayReconnect() const {
  return retries > 0 || repeats || reconnects;
}

}  // namespace fairlead::tool
