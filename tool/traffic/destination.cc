// Writes data to standard output or a file.

#include "tool/traffic/destination.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <utility>

#include "tool/base/concat.h"
#include "tool/base/descriptor.h"
#include "tool/base/escapes.h"
#include "tool/base/failure.h"
#include "tool/base/reason.h"

namespace fairlead::tool {
namespace {

// Of what is written, before the rest is moved to the front.
constexpr std::size_t kMaxKept = std::size_t{64} << 10;

}  // namespace

Destination::Destination(const Output& output, OutFile file)
    : output_(output),
      file_(std::move(file)),
      stage_(Concat("writing ",
                    IsFile() ? Quoted(file_.path) : "standard output")),
      screen_(IsFile() ? Screen{} : output.screen()) {}

Destination::~Destination() {
  if (descriptor_ != -1) close(descriptor_);
}

void Destination::Fail(std::string_view action, int error) const {
  throw Failure(kCannotWrite, Concat("cannot ", action, " ", Quoted(file_.path),
                                     ": ", Reason(error)));
}

void Destination::Open() { OpenWith(0); }

void Destination::OpenWith(int flags) {
  if (!IsFile() || descriptor_ != -1) return;
  const int how = file_.append ? O_APPEND : O_TRUNC;
  descriptor_ = OpenUninterrupted(
      file_.path.c_str(), O_WRONLY | O_CREAT | how | flags, kNewFileMode);
  if (descriptor_ == -1) Fail("open", errno);
  screen_.terminal = isatty(descriptor_) == 1;
}

void Destination::Add(std::string_view bytes) {
  waiting_ += bytes;
  added_ += bytes.size();
}

void Destination::Flush() {
  if (waiting() == 0) return;
  Open();
  Write(waiting());
}

void Destination::FlushAtOnce() {
  if (waiting() == 0) return;
  OpenWith(O_NONBLOCK);
  for (std::size_t room = 0; waiting() > 0 && (room = Room()) > 0;)
    Write(WholeLines(std::min(room, waiting())));
}

// Returns how much of the next bytes is whole lines, or all if none is.
std::size_t Destination::WholeLines(std::size_t size) const {
  const char* const bytes = waiting_.data() + done_;
  const void* const newline =
      size == waiting() ? nullptr : memrchr(bytes, '\n', size);
  if (newline == nullptr) return size;
  return static_cast<std::size_t>(static_cast<const char*>(newline) - bytes) +
         1;
}

// What could not be written is not tried again: a part of it may have been.
void Destination::Write(std::size_t size) {
  const std::string_view bytes = std::string_view(waiting_).substr(done_, size);
  try {
    if (!IsFile())
      output_.Write(bytes);
    else if (!WriteAll(descriptor_, bytes))
      Fail("write", errno);
    done_ += size;
  } catch (...) {
    done_ = waiting_.size();
    throw;
  }
  if (done_ < waiting_.size() && done_ < kMaxKept) return;
  waiting_.erase(0, done_);
  done_ = 0;
}

std::size_t Destination::Room() const {
  return IsFile() ? RoomIn(descriptor_) : output_.Room();
}

void Destination::End() const {
  if (!IsFile()) output_.End();
}

// Closing any descriptor of a file reports what writing it back met. That of a
// second one leaves the first open. The descriptor is closed even if a signal
// interrupts the call.
void Destination::Close() {
  Flush();
  if (descriptor_ == -1) return;
  const int second = fcntl(descriptor_, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  if (second != -1 && close(second) == -1 && errno != EINTR)
    Fail("write", errno);
  if (close(std::exchange(descriptor_, -1)) == -1 && errno != EINTR)
    Fail("write", errno);
}

}  // namespace fairlead::tool
