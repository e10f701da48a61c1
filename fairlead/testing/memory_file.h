// A file without a disk, for tests and benchmarks that write many of them. Not
// installed.

#ifndef FAIRLEAD_TESTING_MEMORY_FILE_H_
#define FAIRLEAD_TESTING_MEMORY_FILE_H_

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdlib>
#include <string>
#include <string_view>

namespace fairlead::internal {

// Has a name, like any other file, for as long as the object lives.
class MemoryFile {
 public:
  MemoryFile() : descriptor_(memfd_create("ini", MFD_CLOEXEC)) {
    if (descriptor_ == -1) std::abort();
  }
  MemoryFile(const MemoryFile&) = delete;
  MemoryFile& operator=(const MemoryFile&) = delete;
  ~MemoryFile() { close(descriptor_); }

  int descriptor() const { return descriptor_; }

  std::string Path() const {
    return "/proc/self/fd/" + std::to_string(descriptor_);
  }

  void Write(std::string_view text) const {
    if (ftruncate(descriptor_, 0) == -1 ||
        pwrite(descriptor_, text.data(), text.size(), 0) !=
            static_cast<ssize_t>(text.size()))
      std::abort();
  }

  std::string Read() const {
    const off_t end = lseek(descriptor_, 0, SEEK_END);
    std::string text(static_cast<std::size_t>(end), '\0');
    if (pread(descriptor_, text.data(), text.size(), 0) != end) std::abort();
    return text;
  }

 private:
  const int descriptor_;
};

}  // namespace fairlead::internal

#endif  // FAIRLEAD_TESTING_MEMORY_FILE_H_
