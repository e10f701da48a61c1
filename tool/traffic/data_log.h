// The bytes of an exchange in its log, for -logdata.

#ifndef FAIRLEAD_TOOL_TRAFFIC_DATA_LOG_H_
#define FAIRLEAD_TOOL_TRAFFIC_DATA_LOG_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>

#include "tool/command/parameter.h"
#include "tool/traffic/exchange_log.h"

namespace fairlead::tool {

enum class DataForm { kHexPairs, kEscaped };

inline constexpr auto kDataForms = std::to_array<Choice>(
    {{DataForm::kHexPairs, "hex"}, {DataForm::kEscaped, "text"}});

inline constexpr Parameter kLogdata = {
    .name = "logdata",
    .kind = Kind::kChoice,
    .group = Group::kLog,
    .help =
        "log the bytes of each message, too, passwords included: before "
        "encryption, after decryption, without -prefix; a line has 1024 bytes "
        "at most",
    .choices = kDataForms};

/// Writes the messages of one direction to a log, in lines of limited length.
class DataLog {
 public:
  /// @param log outlives the object
  /// @param direction begins each line: "sent" or "received"
  DataLog(ExchangeLog& log, DataForm form, std::string_view direction)
      : log_(log), form_(form), direction_(direction) {}

  /// Adds the next bytes of a message; fewer than a line holds may wait for the
  /// rest of it.
  void Add(std::string_view bytes, bool ends_message);

  /// Writes what waits of a message whose rest will not come.
  void Flush();

  /// Does the same at the end of a process that cannot wait. Does nothing while
  /// another thread adds, or if writing would block. Any thread.
  void FlushAtOnce();

 private:
  void FlushLocked();
  void WriteLine(std::size_t size);

  ExchangeLog& log_;
  const DataForm form_;
  const std::string_view direction_;
  std::mutex mutex_;
  std::string line_;           // Not written yet. Guarded by mutex_.
  std::uint64_t written_ = 0;  // Bytes of the message. Guarded by mutex_.
};

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_TRAFFIC_DATA_LOG_H_
