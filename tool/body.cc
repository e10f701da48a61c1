#include "tool/body.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <string_view>
#include <vector>

#include "fairlead/text/strings.h"
#include "tool/concat.h"
#include "tool/escapes.h"
#include "tool/failure.h"

namespace fairlead::tool {
namespace {

constexpr std::size_t kPiece = 65536;
constexpr std::size_t kLongestPascal = 255;

// Somebody may have made the descriptor one that does not wait by itself.
void AwaitInput(int descriptor) {
  pollfd input{.fd = descriptor, .events = POLLIN, .revents = 0};
  poll(&input, 1, -1);
}

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
  const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (descriptor == -1)
    throw Failure(kCannotRead,
                  Concat("cannot open ", name, ": ", ErrorText(errno)));
  std::string bytes;
  try {
    bytes = ReadAll(descriptor, name);
  } catch (...) {
    close(descriptor);
    throw;
  }
  close(descriptor);
  return bytes;
}

std::string ReadDoor(const Arguments& arguments) {
  if (arguments.Has(kText)) return Unescaped(arguments.Text(kText), kText.name);
  if (arguments.Has(kHex)) return FromHex(arguments.Text(kHex), kHex.name);
  if (arguments.Has(kFile)) return ReadFile(arguments.Text(kFile));
  return ReadAll(STDIN_FILENO, "standard input");
}

std::string_view LineEnd(std::string_view eol) {
  if (eol == "crlf") return "\r\n";
  return eol == "lf" ? "\n" : "";
}

std::string AsPascalString(const std::string& body) {
  if (body.size() > kLongestPascal)
    throw Failure(kWrongUsage,
                  Concat("-pascal takes 255 bytes at most, and the body has ",
                         body.size()));
  std::array<unsigned char, kLongestPascal + 1> buffer{};
  const int length = WritePascalString(buffer.data(), body);
  return {buffer.begin(), buffer.begin() + length};
}

}  // namespace

void CheckDoors(const Arguments& arguments) {
  std::string given;
  int doors = 0;
  for (const Parameter& door : {kText, kHex, kFile, kStdin}) {
    if (!arguments.Has(door)) continue;
    given += Concat(given.empty() ? "-" : " and -", door.name);
    ++doors;
  }
  if (doors == 0)
    throw Failure(kWrongUsage,
                  "there is nothing to send: give one of -text, -hex, -file "
                  "and -stdin ('fairlead recv' only listens)");
  if (doors > 1)
    throw Failure(kWrongUsage,
                  Concat(given, " are given: a body comes from one"));
}

std::string ReadBody(const Arguments& arguments) {
  std::string body = ReadDoor(arguments);
  body += LineEnd(arguments.Text(kEol));
  return arguments.Has(kPascal) ? AsPascalString(body) : body;
}

}  // namespace fairlead::tool
