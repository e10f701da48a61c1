// Writes the events of an exchange to the log.

#include "tool/traffic/exchange_log.h"

#include "fairlead/time/the_time.h"
#include "tool/base/concat.h"
#include "tool/base/failure.h"

namespace fairlead::tool {

std::string Failed(std::string_view why) { return Concat("failed: ", why); }

// Standard output carries data only, so CLog's copy is dropped.
ExchangeLog::ExchangeLog(const std::string& path, bool crlf)
    : file_(path, crlf, nullptr) {}

void ExchangeLog::Add(std::string_view event) {
  file_.Write(Concat(TheTime().GetStr(true), event, "\n"));
}

void ExchangeLog::AddAtOnce(std::string_view event) {
  if (IsReady()) Add(event);
}

void ExchangeLog::Check() const {
  const std::string missing = file_.Missing();
  if (!missing.empty()) throw Failure(kCannotWrite, missing);
}

}  // namespace fairlead::tool
