// A library to preload: each call that reads or writes takes at most as many
// bytes as the environment variable SHORT_COUNT says.

#include <dlfcn.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>

namespace {

// An event descriptor is of no type of file, and takes eight bytes or none.
std::size_t Shortened(int fd, std::size_t size) {
  static const char* const text = std::getenv("SHORT_COUNT");
  struct stat status = {};
  if (text == nullptr || fstat(fd, &status) == -1 ||
      (status.st_mode & S_IFMT) == 0)
    return size;
  return std::min(size, static_cast<std::size_t>(std::atoi(text)));
}

// Returns the function of the system that this library hides.
template <typename Function>
Function* Hidden(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

extern "C" {

[[gnu::visibility("default")]] ssize_t read(int fd, void* data,
                                            std::size_t size) {
  static const auto next = Hidden<decltype(read)>("read");
  return next(fd, data, Shortened(fd, size));
}

[[gnu::visibility("default")]] ssize_t write(int fd, const void* data,
                                             std::size_t size) {
  static const auto next = Hidden<decltype(write)>("write");
  return next(fd, data, Shortened(fd, size));
}

[[gnu::visibility("default")]] ssize_t pread(int fd, void* data,
                                             std::size_t size, off_t at) {
  static const auto next = Hidden<decltype(pread)>("pread");
  return next(fd, data, Shortened(fd, size), at);
}

[[gnu::visibility("default")]] ssize_t pwrite(int fd, const void* data,
                                              std::size_t size, off_t at) {
  static const auto next = Hidden<decltype(pwrite)>("pwrite");
  return next(fd, data, Shortened(fd, size), at);
}

[[gnu::visibility("default")]] ssize_t send(int fd, const void* data,
                                            std::size_t size, int flags) {
  static const auto next = Hidden<decltype(send)>("send");
  return next(fd, data, Shortened(fd, size), flags);
}

[[gnu::visibility("default")]] ssize_t recv(int fd, void* data,
                                            std::size_t size, int flags) {
  static const auto next = Hidden<decltype(recv)>("recv");
  return next(fd, data, Shortened(fd, size), flags);
}

}  // extern "C"
