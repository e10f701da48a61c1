// Descriptors: never 0, 1 or 2, and closed at the end of their scope. Not
// installed.

#ifndef FAIRLEAD_BASE_DESCRIPTOR_H_
#define FAIRLEAD_BASE_DESCRIPTOR_H_

#include <fcntl.h>
#include <sys/types.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <string_view>
#include <utility>

namespace fairlead::internal {

// Repeats a system call while signals interrupt it; returns its result.
template <typename Call>
auto Uninterrupted(Call call) {
  for (;;) {
    const auto result = call();
    if (result != -1 || errno != EINTR) return result;
  }
}

// Moves a descriptor that is 0, 1 or 2 to a higher one, with close-on-exec, and
// closes the old one. A new file gets such a number if the program has closed a
// standard stream; later output would then go into the file or to a socket's
// peer.
//
// Returns the new descriptor, or -1 with errno set. Returns all others, -1
// included, unchanged.
inline int MoveAboveStandardStreams(int descriptor) {
  if (descriptor < 0 || descriptor > STDERR_FILENO) return descriptor;
  const int moved = fcntl(descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  const int error = errno;
  close(descriptor);
  errno = error;
  return moved;
}

// Passes the rest of the text to `write` until everything is written or an
// error occurs; returns the number of bytes written. If it is less than the
// size, errno has the cause.
template <typename Write>
std::size_t WriteRepeatedly(std::string_view text, Write write) {
  std::size_t written = 0;
  while (written < text.size()) {
    const ssize_t count =
        Uninterrupted([&] { return write(text.substr(written), written); });
    if (count == 0) errno = EIO;
    if (count <= 0) break;
    written += static_cast<std::size_t>(count);
  }
  return written;
}

// Writes the text at the descriptor's position, as WriteRepeatedly() does.
inline std::size_t WriteAll(int descriptor, std::string_view text) {
  return WriteRepeatedly(text, [=](std::string_view rest, std::size_t) {
    return write(descriptor, rest.data(), rest.size());
  });
}

// Writes the text at an offset and leaves the position. Returns 0 or the error.
inline int WriteAllAt(int descriptor, std::string_view text, off_t offset) {
  const std::size_t written =
      WriteRepeatedly(text, [=](std::string_view rest, std::size_t done) {
        return pwrite(descriptor, rest.data(), rest.size(),
                      offset + static_cast<off_t>(done));
      });
  return written == text.size() ? 0 : errno;
}

// Owns a descriptor; -1 means none.
class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int number) : number_(number) {}
  Descriptor(Descriptor&& other) noexcept
      : number_(std::exchange(other.number_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    if (this != &other) Reset(std::exchange(other.number_, -1));
    return *this;
  }
  ~Descriptor() { Reset(); }

  bool IsOpen() const { return number_ != -1; }
  int number() const { return number_; }

  // Closes the descriptor and takes ownership of another, or of none.
  void Reset(int number = -1) {
    if (IsOpen()) close(number_);
    number_ = number;
  }

 private:
  int number_ = -1;
};

// Opens a file as open(2) does, with close-on-exec. If it fails, errno has the
// cause. Do not pass O_TRUNC or O_EXCL: the file may be opened, and then not be
// moved above 2.
inline Descriptor OpenAboveStandardStreams(const char* path, int flags,
                                           mode_t mode = 0) {
  return Descriptor(MoveAboveStandardStreams(
      Uninterrupted([=] { return open(path, flags | O_CLOEXEC, mode); })));
}

}  // namespace fairlead::internal

#endif  // FAIRLEAD_BASE_DESCRIPTOR_H_
