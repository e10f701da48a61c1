// Whole files, read and written with system calls.

#include "fairlead/ini/open_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace fairlead::internal {
namespace {

// The first buffer for a pipe or a file that reports no size.
constexpr std::size_t kInitialBuffer = 4096;

// The largest buffer allocated because of a reported size; beyond it, the
// buffer grows with what is read.
constexpr std::size_t kMaxInitialBuffer = std::size_t{1} << 30;

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
  // The buffer has one spare byte: a read that stops at the expected size has
  // reached the end of the file.
  const std::size_t expected = ExpectedSize();
  const std::size_t buffer = std::min(expected + 1, kMaxInitialBuffer);
  std::string text(expected > 0 ? buffer : kInitialBuffer, '\0');
  std::size_t size = 0;
  while (true) {
    if (size == text.size()) text.resize(2 * size);
    const ssize_t count = Uninterrupted([&] {
      return read(descriptor_.number(), text.data() + size, text.size() - size);
    });
    if (count == 0) break;
    if (count < 0) {
      // Drops the partial line.
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
