// Reads a reply as it is sent.

#include "tool/listen/reply.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "tool/base/bytes_text.h"
#include "tool/base/concat.h"
#include "tool/base/failure.h"
#include "tool/base/reason.h"

namespace fairlead::tool {
namespace {

std::string ReadHeld(const Input& file) {
  std::string bytes;
  ReadPieces(file.descriptor(), file.name(), [&](std::string_view piece) {
    if (piece.size() > Reply::kMaxHeld - bytes.size())
      throw Failure(kWrongUsage,
                    Concat(file.name(), " has more than ", Reply::kMaxHeld,
                           " bytes; a longer reply must be a regular file"));
    bytes += piece;
  });
  return bytes;
}

ssize_t ReadAt(std::uint64_t offset, std::span<char> buffer, int descriptor) {
  ssize_t count = -1;
  do {
    count = pread(descriptor, buffer.data(), buffer.size(),
                  static_cast<off_t>(offset));
  } while (count == -1 && errno == EINTR);
  return count;
}

}  // namespace

// The size of a regular file may also be unknown, as that of those in /proc.
Reply Reply::OfFile(const std::string& path) {
  auto file = std::make_unique<const Input>(path);
  if (file->size() == 0) return Reply(ReadHeld(*file));
  Reply reply;
  reply.file_ = std::move(file);
  return reply;
}

std::string_view Reply::From(std::uint64_t offset,
                             std::span<char> buffer) const {
  const auto most = static_cast<std::size_t>(
      std::min<std::uint64_t>(buffer.size(), size() - offset));
  if (!file_)
    return std::string_view(text_).substr(static_cast<std::size_t>(offset),
                                          most);
  const ssize_t count = ReadAt(offset, buffer.first(most), file_->descriptor());
  if (count > 0) return {buffer.data(), static_cast<std::size_t>(count)};
  throw Failure(kCannotRead,
                Concat("cannot read ", file_->name(), ": ",
                       count == -1 ? Reason(errno)
                                   : Concat("it had ", BytesText(size()),
                                            " at first, and now has fewer")));
}

}  // namespace fairlead::tool
