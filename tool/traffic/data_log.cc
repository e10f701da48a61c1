// Writes messages to a log.

#include "tool/traffic/data_log.h"

#include <algorithm>
#include <cstddef>

#include "tool/base/concat.h"
#include "tool/base/escapes.h"
#include "tool/traffic/view.h"

namespace fairlead::tool {
namespace {

constexpr std::size_t kMaxInLine = 1024;

}  // namespace

// No line ends within a character.
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
