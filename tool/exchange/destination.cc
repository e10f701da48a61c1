// Writes data to standard output or a file.

#include "tool/exchange/destination.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <utility>

#include "tool/base/concat.h"
#include "tool/base/descriptor.h"
#include "tool/base/escapes.h"
#include "tool/base/failure.h"
#include "tool/base/reason.h"

namespace fairlead::tool {
namespace {

constexpr mode_t kMode = 0666;  // Less the umask.
constexpr std::size_t kMostWaiting = std::size_t{64} << 10;

}  // namespace

Destination::Destination(const Output& output, OutFile file)
    : output_(output),
      file_(std::move(file)),
      screen_(IsFile() ? Screen{} : output.screen()) {}

Destination::~Destination() {
  if (descriptor_ != -1) close(descriptor_);
}

void Destination::Fail(std::string_view action, int error) const {
  throw Failure(kCannotWrite, Concat("cannot ", action, " ", Quoted(file_.path),
                                     ": ", Reason(error)));
}

void Destination::Open() {
  if (!IsFile() || descriptor_ != -1) return;
  const int how = file_.append ? O_APPEND : O_TRUNC;
  descriptor_ =
      OpenUninterrupted(file_.path.c_str(), O_WRONLY | O_CREAT | how, kMode);
  if (descriptor_ == -1) Fail("open", errno);
  screen_.terminal = isatty(descriptor_) == 1;
  Write(std::exchange(waiting_, {}));
}

void Destination::Write(std::string_view bytes) {
  if (!IsFile()) return output_.Write(bytes);
  if (descriptor_ != -1) {
    if (!WriteAll(descriptor_, bytes)) Fail("write", errno);
  } else if (waiting_.size() + bytes.size() <= kMostWaiting) {
    waiting_ += bytes;
  }
}

bool Destination::IsReady() const {
  return IsFile() ? descriptor_ == -1 || IsWritable(descriptor_)
                  : output_.IsReady();
}

void Destination::End() const {
  if (!IsFile()) output_.End();
}

// The descriptor is closed even if a signal interrupts the call.
void Destination::Close() {
  if (descriptor_ == -1) return;
  if (close(std::exchange(descriptor_, -1)) == -1 && errno != EINTR)
    Fail("write", errno);
}

}  // namespace fairlead::tool
