// Writes messages to a log.

#include "tool/exchange/data_log.h"

#include <algorithm>
#include <cstddef>

#include "tool/base/concat.h"
#include "tool/base/escapes.h"
#include "tool/exchange/view.h"

namespace fairlead::tool {
namespace {

constexpr std::size_t kMaxInLine = 1024;

// Returns how many of the bytes may be on one line, so that no line ends within
// a character of UTF-8.
std::size_t WholeCharacters(std::string_view bytes) {
  for (std::size_t back = 1; back <= std::min<std::size_t>(bytes.size(), 3);
       ++back) {
    const unsigned byte =
        static_cast<unsigned char>(bytes[bytes.size() - back]);
    const std::size_t length = byte >= 0xF0 ? 4 : byte >= 0xE0 ? 3 : 2;
    if (byte >= 0xC0) return bytes.size() - (length > back ? back : 0);
    if (byte < 0x80) break;
  }
  return bytes.size();
}

}  // namespace

void DataLog::Add(std::string_view bytes, bool ends_message) {
  const std::lock_guard lock(mutex_);
  while (!bytes.empty()) {
    if (line_.size() == kMaxInLine)
      WriteLine(form_ == DataForm::kEscaped ? WholeCharacters(line_)
                                            : line_.size());
    const std::size_t taken = std::min(bytes.size(), kMaxInLine - line_.size());
    line_ += bytes.substr(0, taken);
    bytes.remove_prefix(taken);
  }
  if (!ends_message) return;
  if (written_ == 0 && line_.empty()) WriteLine(0);
  FlushLocked();
}

void DataLog::Flush() {
  const std::lock_guard lock(mutex_);
  FlushLocked();
}

void DataLog::FlushAtOnce() {
  const std::unique_lock lock(mutex_, std::try_to_lock);
  if (lock && log_.IsReady()) FlushLocked();
}

void DataLog::FlushLocked() {
  if (!line_.empty()) WriteLine(line_.size());
  written_ = 0;
}

void DataLog::WriteLine(std::size_t size) {
  const std::string_view bytes = std::string_view(line_).substr(0, size);
  const std::string place =
      written_ == 0 ? "" : Concat(" from byte ", written_);
  log_.Add(
      Concat(direction_, " data", place, ": ",
             form_ == DataForm::kEscaped ? Escaped(bytes) : HexPairs(bytes)));
  written_ += size;
  line_.erase(0, size);
}

}  // namespace fairlead::tool
