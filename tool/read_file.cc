#include "tool/read_file.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <vector>

#include "tool/concat.h"
#include "tool/descriptor.h"
#include "tool/failure.h"

namespace fairlead::tool {
namespace {

constexpr std::size_t kPiece = 65536;

// Somebody may have made the descriptor one that does not wait by itself.
void AwaitInput(int descriptor) {
  pollfd input{.fd = descriptor, .events = POLLIN, .revents = 0};
  poll(&input, 1, -1);
}

}  // namespace

std::string ReadAll(int descriptor, const std::string& name) {
  std::string bytes;
  std::vector<char> piece(kPiece);
  while (true) {
    const ssize_t count = read(descriptor, piece.data(), kPiece);
    if (count == 0) return bytes;
    if (count > 0)
      bytes.append(piece.data(), static_cast<std::size_t>(count));
    else if (errno == EAGAIN)
      AwaitInput(descriptor);
    else if (errno != EINTR)
      throw Failure(kCannotRead,
                    Concat("cannot read ", name, ": ", ErrorText(errno)));
  }
}

std::string ReadFile(const std::string& path) {
  const std::string name = Concat("'", path, "'");
  const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (!file.IsOpen())
    throw Failure(kCannotRead,
                  Concat("cannot open ", name, ": ", ErrorText(errno)));
  return ReadAll(file.number(), name);
}

}  // namespace fairlead::tool
