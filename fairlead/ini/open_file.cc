#include "fairlead/ini/open_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace fairlead::internal {
namespace {

// Room for what comes from a pipe, or from a file that does not know its size.
constexpr std::size_t kFirstRoom = 4096;

// A size that a file claims is believed up to here; beyond, room is made as
// bytes come.
constexpr std::size_t kMostRoomAtOnce = std::size_t{1} << 30;

}  // namespace

OpenFile::OpenFile(const std::string& name, int flags)
    : descriptor_(MoveAboveStandardStreams(Uninterrupted([&name, flags] {
        return open(name.c_str(), flags | O_CLOEXEC, 0666);
      }))) {}

bool OpenFile::Truncate() const {
  if (Uninterrupted([this] { return ftruncate(descriptor_.number(), 0); }) == 0)
    return true;
  struct stat status = {};
  return errno == EINVAL && fstat(descriptor_.number(), &status) == 0 &&
         !S_ISREG(status.st_mode);
}

std::size_t OpenFile::ExpectedSize() const {
  struct stat status = {};
  if (fstat(descriptor_.number(), &status) == -1) return 0;
  return static_cast<std::size_t>(std::max<off_t>(status.st_size, 0));
}

std::string OpenFile::ReadAll() const {
  // With room for one byte more than it asks for, a read that ends at the
  // expected size has met the end of the file.
  const std::size_t expected = ExpectedSize();
  const std::size_t room = std::min(expected + 1, kMostRoomAtOnce);
  std::string text(expected > 0 ? room : kFirstRoom, '\0');
  std::size_t size = 0;
  while (true) {
    if (size == text.size()) text.resize(2 * size);
    const ssize_t count = Uninterrupted([&] {
      return read(descriptor_.number(), text.data() + size, text.size() - size);
    });
    if (count == 0) break;
    if (count < 0) {
      // What was read of the line that failed is no line.
      size = size == 0 ? 0 : text.rfind('\n', size - 1) + 1;
      break;
    }
    size += static_cast<std::size_t>(count);
    if (size == expected) break;
  }
  text.resize(size);
  return text;
}

bool OpenFile::WriteAll(std::string_view text) const {
  return internal::WriteAll(descriptor_.number(), text) == text.size();
}

}  // namespace fairlead::internal
