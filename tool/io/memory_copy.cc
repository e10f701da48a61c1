// A text as a file in memory.

#include "tool/io/memory_copy.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>

#include "tool/base/concat.h"
#include "tool/base/escapes.h"
#include "tool/base/failure.h"
#include "tool/base/reason.h"
#include "tool/io/read_file.h"

namespace fairlead::tool {
namespace {

[[noreturn]] void Fail(ExitStatus status, const std::string& name) {
  const std::string reason = Reason(errno);
  throw Failure(status,
                Concat(status == kCannotWrite ? "cannot write" : "cannot read",
                       " a copy of ", Quoted(name), " in memory: ", reason));
}

}  // namespace

MemoryCopy::MemoryCopy(std::string_view text, const std::string& name)
    : file_(memfd_create("copy", MFD_CLOEXEC)) {
  if (!file_.IsOpen()) Fail(kCannotWrite, name);
  while (!text.empty()) {
    const ssize_t count = write(file_.number(), text.data(), text.size());
    if (count == -1 && errno == EINTR) continue;
    if (count == -1) Fail(kCannotWrite, name);
    text.remove_prefix(static_cast<std::size_t>(count));
  }
  // The code that opens it by name may not report why that failed.
  const Descriptor again(open(path().c_str(), O_RDONLY | O_CLOEXEC));
  if (!again.IsOpen()) Fail(kCannotRead, name);
}

std::string MemoryCopy::path() const {
  return Concat("/proc/self/fd/", file_.number());
}

}  // namespace fairlead::tool
