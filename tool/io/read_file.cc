// Reads files and standard input.

#include "tool/io/read_file.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <utility>
#include <vector>

#include "tool/base/concat.h"
#include "tool/base/descriptor.h"
#include "tool/base/escapes.h"
#include "tool/base/failure.h"
#include "tool/base/reason.h"

namespace fairlead::tool {
namespace {

constexpr std::size_t kPieceSize = 65536;

[[noreturn]] void FailToRead(const std::string& name, int error) {
  throw Failure(kCannotRead, Concat("cannot read ", name, ": ", Reason(error)));
}

// The descriptor may be non-blocking: it is shared with other processes.
void AwaitInput(int descriptor, const std::string& name) {
  pollfd input{.fd = descriptor, .events = POLLIN, .revents = 0};
  if (poll(&input, 1, -1) == -1 && errno != EINTR) FailToRead(name, errno);
}

[[noreturn]] void FailToOpen(const std::string& path, int error) {
  throw Failure(kCannotRead,
                Concat("cannot open ", Quoted(path), ": ", Reason(error)));
}

// The system reports a page for a file of /sys, which has less.
bool HasByteAt(int descriptor, off_t offset) {
  char byte = 0;
  return pread(descriptor, &byte, 1, offset) != 0;
}

}  // namespace

Input::Input(const std::string& path)
    : name_(path.empty() ? "standard input" : Quoted(path)),
      file_(path.empty() ? -1 : OpenUninterrupted(path.c_str(), O_RDONLY)) {
  if (path.empty()) return;
  struct stat status = {};
  if (!file_.IsOpen()) FailToOpen(path, errno);
  if (fstat(file_.number(), &status) == -1) FailToRead(name_, errno);
  if (S_ISDIR(status.st_mode)) FailToRead(name_, EISDIR);
  if (S_ISREG(status.st_mode) && status.st_size > 0 &&
      HasByteAt(file_.number(), status.st_size - 1))
    size_ = static_cast<std::uint64_t>(status.st_size);
}

int Input::descriptor() const {
  return file_.IsOpen() ? file_.number() : STDIN_FILENO;
}

void ReadPieces(int descriptor, const std::string& name, const TakePiece& take,
                const std::function<void()>& await) {
  std::vector<char> piece(kPieceSize);
  while (true) {
    await();
    const ssize_t count = read(descriptor, piece.data(), kPieceSize);
    if (count == 0) return;
    if (count > 0)
      take({piece.data(), static_cast<std::size_t>(count)});
    else if (errno == EAGAIN)
      AwaitInput(descriptor, name);
    else if (errno != EINTR)
      FailToRead(name, errno);
  }
}

void ReadFilePieces(const std::string& path, const TakePiece& take) {
  const Descriptor file(OpenUninterrupted(path.c_str(), O_RDONLY));
  if (!file.IsOpen()) FailToOpen(path, errno);
  ReadPieces(file.number(), Quoted(path), take);
}

std::string ReadAll(int descriptor, const std::string& name) {
  std::string bytes;
  ReadPieces(descriptor, name,
             [&bytes](std::string_view piece) { bytes += piece; });
  return bytes;
}

std::string ReadFile(const std::string& path) {
  std::optional<std::string> bytes = ReadFileIfAny(path);
  if (!bytes) FailToOpen(path, ENOENT);
  return *std::move(bytes);
}

std::optional<std::string> ReadFileIfAny(const std::string& path) {
  const Descriptor file(OpenUninterrupted(path.c_str(), O_RDONLY));
  if (file.IsOpen()) return ReadAll(file.number(), Quoted(path));
  if (errno == ENOENT) return std::nullopt;
  FailToOpen(path, errno);
}

}  // namespace fairlead::tool
