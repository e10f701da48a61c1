#include "tool/io/memory_copy.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>

#include "tool/base/concat.h"
#include "tool/base/failure.h"
#include "tool/io/read_file.h"

namespace fairlead::tool {
namespace {

[[noreturn]] void Fail(std::string_view what) {
  throw Failure(kCannotRead, Concat("cannot keep a copy in memory: ", what,
                                    ErrorText(errno)));
}

}  // namespace

MemoryCopy::MemoryCopy(std::string_view text)
    : file_(memfd_create("copy", MFD_CLOEXEC)) {
  if (!file_.IsOpen()) Fail("");
  while (!text.empty()) {
    const ssize_t count = write(file_.number(), text.data(), text.size());
    if (count == -1 && errno == EINTR) continue;
    if (count == -1) Fail("");
    text.remove_prefix(static_cast<std::size_t>(count));
  }
  if (access(path().c_str(), R_OK | W_OK) == -1) Fail("/proc: ");
}

std::string MemoryCopy::path() const {
  return Concat("/proc/self/fd/", file_.number());
}

std::string MemoryCopy::Text() const { return ReadFile(path()); }

}  // namespace fairlead::tool
