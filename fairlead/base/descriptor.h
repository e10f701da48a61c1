// Descriptors as the library opens them: never under the number of a standard
// stream, and closed at the end of their scope. Not installed.

#ifndef FAIRLEAD_BASE_DESCRIPTOR_H_
#define FAIRLEAD_BASE_DESCRIPTOR_H_

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <string_view>
#include <utility>

namespace fairlead::internal {

// Repeats a system call for as long as signals interrupt it.
template <typename Call>
auto Uninterrupted(Call call) {
  for (;;) {
    const auto result = call();
    if (result != -1 || errno != EINTR) return result;
  }
}

// Moves a file to a number above those of the standard streams, closed on
// `exec`. The system gives out the lowest free number, which is that of a
// standard stream where the program has closed it: what is printed later would
// then go into the file, or to the peer of a socket.
//
// Takes -1 too. Returns the new number, or -1 with errno set; the old number
// is closed either way.
inline int MoveAboveStandardStreams(int descriptor) {
  if (descriptor < 0 || descriptor > STDERR_FILENO) return descriptor;
  const int moved = fcntl(descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  const int error = errno;
  close(descriptor);
  errno = error;
  return moved;
}

// Writes to the file until it takes no more; returns how many bytes it took.
// Fewer than all: errno tells why.
inline std::size_t WriteAll(int descriptor, std::string_view text) {
  std::size_t written = 0;
  while (written < text.size()) {
    const ssize_t count = Uninterrupted([&] {
      return write(descriptor, text.data() + written, text.size() - written);
    });
    if (count <= 0) break;
    written += static_cast<std::size_t>(count);
  }
  return written;
}

// Owns what `open` and its like return, -1 included.
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

  // Closes the file and takes another, or none.
  void Reset(int number = -1) {
    if (IsOpen()) close(number_);
    number_ = number;
  }

 private:
  int number_ = -1;
};

}  // namespace fairlead::internal

#endif  // FAIRLEAD_BASE_DESCRIPTOR_H_
