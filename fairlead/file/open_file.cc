// Whole files, read and written with system calls.

#include "fairlead/file/open_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <new>

namespace fairlead::internal {
namespace {

// The first buffer for a pipe or a file that reports no size.
constexpr std::size_t kInitialBuffer = 4096;

// Returns the size that the file reports, 0 if it is unknown.
std::size_t ExpectedSize(int descriptor) {
  struct stat status = {};
  if (fstat(descriptor, &status) == -1) return 0;
  return static_cast<std::size_t>(std::max<off_t>(status.st_size, 0));
}

}  // namespace

int ReadToEnd(int descriptor, std::string& text) {
  // The buffer has one spare byte: a read that stops at the expected size has
  // reached the end of the file.
  const std::size_t expected = ExpectedSize(descriptor);
  // No memory is enough for more, which std::string would report otherwise.
  if (expected >= text.max_size()) throw std::bad_alloc();
  text.assign(expected > 0 ? expected + 1 : kInitialBuffer, '\0');
  std::size_t size = 0;
  int error = 0;
  while (true) {
    if (size == text.size()) text.resize(2 * size);
    const ssize_t count = Uninterrupted([&] {
      return read(descriptor, text.data() + size, text.size() - size);
    });
    if (count < 0) error = errno;
    if (count <= 0) break;
    size += static_cast<std::size_t>(count);
    if (size == expected) break;
  }
  text.resize(size);
  return error;
}

OpenFile::OpenFile(const std::string& name, int flags)
    : descriptor_(OpenAboveStandardStreams(name.c_str(), flags, 0666)) {}

bool OpenFile::Truncate() const {
  if (Uninterrupted([this] { return ftruncate(descriptor_.number(), 0); }) == 0)
    return true;
  struct stat status = {};
  return errno == EINVAL && fstat(descriptor_.number(), &status) == 0 &&
         !S_ISREG(status.st_mode);
}

std::string OpenFile::ReadAll() const {
  std::string text;
  if (ReadToEnd(descriptor_.number(), text) != 0) {
    // Drops the partial line. An empty text has no last newline: npos + 1 is 0.
    text.resize(text.rfind('\n') + 1);
  }
  return text;
}

bool OpenFile::WriteAll(std::string_view text) const {
  return internal::WriteAll(descriptor_.number(), text) == text.size();
}

}  // namespace fairlead::internal
