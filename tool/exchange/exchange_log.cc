#include "tool/exchange/exchange_log.h"

#include "fairlead/time/the_time.h"
#include "tool/base/concat.h"
#include "tool/base/failure.h"

namespace fairlead::tool {
namespace {

constexpr int kOnceIn = 10;  // In seconds.

}  // namespace

void CheckLogUsage(const Arguments& arguments) {
  if (arguments.Has(kCrlf) && !arguments.Has(kLog))
    throw Failure(kWrongUsage, "-crlf is for the file of -log");
}

// Standard output carries data only, so that CLog's copy goes nowhere.
void ExchangeLog::Open(const Arguments& arguments) {
  if (arguments.Has(kLog))
    file_.emplace(arguments.Text(kLog), arguments.Has(kCrlf), nullptr);
}

void ExchangeLog::Add(std::string_view event) {
  if (file_) file_->Write(Concat(TheTime().GetStr(true), event, "\n"));
}

void ExchangeLog::Warn(std::string_view event) {
  if (once_.Start(event, kOnceIn)) Add(event);
}

void ExchangeLog::AddAtOnce(std::string_view event) {
  if (file_ && file_->IsReady()) Add(event);
}

void ExchangeLog::Check() const {
  const std::string missing = file_ ? file_->Missing() : "";
  if (!missing.empty()) throw Failure(kCannotWrite, missing);
}

}  // namespace fairlead::tool
