// Opens files, and closes descriptors at the end of their scope.

#ifndef FAIRLEAD_TOOL_BASE_DESCRIPTOR_H_
#define FAIRLEAD_TOOL_BASE_DESCRIPTOR_H_

#include <fcntl.h>
#include <sys/types.h>
#include <unistd.h>

#include <cerrno>

namespace fairlead::tool {

/// Owns what open() and its like return, -1 included.
class Descriptor {
 public:
  explicit Descriptor(int number) : number_(number) {}
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() {
    if (IsOpen()) close(number_);
  }

  bool IsOpen() const { return number_ != -1; }
  int number() const { return number_; }

 private:
  const int number_;
};

/// The mode of a file that is created, before the umask.
inline constexpr mode_t kNewFileMode = 0666;

/// Opens a file as open() does, again if a signal interrupts the call.
inline int OpenUninterrupted(const char* path, int flags, mode_t mode = 0) {
  int descriptor = -1;
  do {
    descriptor = open(path, flags | O_CLOEXEC, mode);
  } while (descriptor == -1 && errno == EINTR);
  return descriptor;
}

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_BASE_DESCRIPTOR_H_
