// Writes events as JSON.

#include "tool/traffic/events.h"

#include <array>
#include <cstddef>
#include <cstdio>
#include <ctime>
#include <utility>

#include "tool/base/base64.h"
#include "tool/base/concat.h"
#include "tool/base/escapes.h"
#include "tool/command/duration.h"

namespace fairlead::tool::event {
namespace {

// An object that is being written; its members are in the order of the calls.
class Object {
 public:
  Object(std::string_view name, const TheTime& time)
      : text_(Concat(R"({"event":")", name, R"(","time":")", UtcTime(time),
                     "\"")) {}

  Object& Add(std::string_view name, std::string_view value) {
    AddName(name);
    text_ += JsonString(value);
    return *this;
  }

  Object& Add(std::string_view name, std::uint64_t value) {
    AddName(name);
    text_ += std::to_string(value);
    return *this;
  }

  Object& AddMilliseconds(std::chrono::nanoseconds duration) {
    AddName("milliseconds");
    text_ += MillisecondsText(duration);
    return *this;
  }

  // The text is for readers; `data` is exact for any bytes.
  Object& AddBytes(std::string_view bytes) {
    Add("bytes", bytes.size());
    Add("data", Base64(bytes));
    return IsUtf8(bytes) ? Add("text", bytes) : *this;
  }

  std::string Line() {
    text_ += "}\n";
    return std::move(text_);
  }

 private:
  void AddName(std::string_view name) {
    text_.append(",\"").append(name).append("\":");
  }

  std::string text_;
};

}  // namespace

std::string UtcTime(const TheTime& time) {
  std::tm utc = {};
  gmtime_r(&time.ts.tv_sec, &utc);
  std::array<char, 40> text{};
  constexpr long kPerMillisecond = 1'000'000;  // NOLINT(google-runtime-int)
  const int size = std::snprintf(
      text.data(), text.size(), "%04d-%02d-%02dT%02d:%02d:%02d.%03ldZ",
      utc.tm_year + 1900, utc.tm_mon + 1, utc.tm_mday, utc.tm_hour, utc.tm_min,
      utc.tm_sec, time.ts.tv_nsec / kPerMillisecond);
  return {text.data(), static_cast<std::size_t>(size)};
}

std::string Resolved(const TheTime& time, std::string_view host,
                     std::string_view address) {
  return Object("resolved", time)
      .Add("host", host)
      .Add("address", address)
      .Line();
}

std::string Connected(const TheTime& time, std::string_view peer,
                      std::optional<std::chrono::nanoseconds> took) {
  Object object("connected", time);
  object.Add("peer", peer);
  if (took) object.AddMilliseconds(*took);
  return object.Line();
}

std::string Sent(const TheTime& time, std::string_view peer,
                 std::string_view bytes) {
  return Object("sent", time).Add("peer", peer).AddBytes(bytes).Line();
}

std::string Received(const TheTime& time, std::string_view peer,
                     std::string_view bytes) {
  return Object("received", time).Add("peer", peer).AddBytes(bytes).Line();
}

std::string Closed(const TheTime& time, std::string_view peer,
                   std::uint64_t sent, std::uint64_t received,
                   std::string_view reason) {
  return Object("closed", time)
      .Add("peer", peer)
      .Add("sent", sent)
      .Add("received", received)
      .Add("reason", reason)
      .Line();
}

std::string Error(const TheTime& time, ExitStatus status,
                  std::string_view message) {
  return Object("error", time)
      .Add("status", static_cast<std::uint64_t>(status))
      .Add("message", message)
      .Line();
}

}  // namespace fairlead::tool::event
