// Splits the input into lines and adds timestamps.

#include "tool/log/line_logger.h"

#include <cstdint>
#include <utility>

#include "fairlead/time/the_time.h"
#include "tool/base/concat.h"

namespace fairlead::tool {
namespace {

std::string Stamp(StampForm form) {
  switch (form) {
    case StampForm::kBracket:
      return TheTime().GetStr(true);
    case StampForm::kPlain:
      return TheTime().GetStr(false) + " ";
    case StampForm::kNone:
      return "";
  }
  return {};
}

}  // namespace

LineLogger::LineLogger(StampForm stamp, std::optional<double> interval,
                       Write write)
    : stamp_(stamp), write_(std::move(write)) {
  if (interval)
    repeats_.emplace(*interval,
                     [this](std::string_view line, std::int64_t count) {
                       Log(Concat("repeated ", count,
                                  count == 1 ? " time: " : " times: ", line));
                     });
}

void LineLogger::Take(std::string_view piece) {
  for (std::size_t newline = 0;
       (newline = piece.find('\n')) != std::string_view::npos;
       piece.remove_prefix(newline + 1))
    Complete(piece.substr(0, newline));
  begun_ += piece;
}

void LineLogger::End() {
  if (!begun_.empty()) Complete("");
  if (repeats_) repeats_->ReportAll();
}

void LineLogger::ReportEnded() {
  if (repeats_) repeats_->ReportEnded();
}

int LineLogger::Wait() const { return repeats_ ? repeats_->Wait() : -1; }

void LineLogger::Complete(std::string_view rest) {
  if (begun_.empty()) return LogUnlessRepeated(rest);
  begun_ += rest;
  LogUnlessRepeated(begun_);
  begun_.clear();
}

void LineLogger::LogUnlessRepeated(std::string_view line) {
  if (!repeats_ || repeats_->Passes(line)) Log(line);
}

// Writes in one piece, so that lines of several programs do not mix.
void LineLogger::Log(std::string_view line) {
  write_(Concat(Stamp(stamp_), line, "\n"));
}

}  // namespace fairlead::tool
