// The server of -demo, on a thread of this process.

#include "tool/exchange/demo_server.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <string_view>
#include <utility>

#include "tool/base/concat.h"
#include "tool/base/failure.h"

namespace fairlead::tool {
namespace {

[[noreturn]] void Fail(int listener) {
  const int error = errno;
  if (listener != -1) close(listener);
  throw Failure(kNotConnected,
                Concat("the demo server cannot listen: ", ErrorText(error)));
}

// The socket API takes every address family as this type.
sockaddr* Generic(sockaddr_in& address) {
  return reinterpret_cast<sockaddr*>(&address);
}

// Listens on a free port.
int Listen() {
  const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (listener == -1 ||
      bind(listener, Generic(address), sizeof address) == -1 ||
      listen(listener, 1) == -1)
    Fail(listener);
  return listener;
}

int PortOf(int listener) {
  sockaddr_in address{};
  socklen_t size = sizeof address;
  if (getsockname(listener, Generic(address), &size) == -1) Fail(listener);
  return ntohs(address.sin_port);
}

bool SendAll(int connection, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t sent =
        send(connection, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (sent == -1) return false;
    bytes.remove_prefix(static_cast<std::size_t>(sent));
  }
  return true;
}

// Echoes until the client sends no more.
void Echo(int connection) {
  std::array<char, 16384> buffer{};
  for (;;) {
    const ssize_t got = recv(connection, buffer.data(), buffer.size(), 0);
    if (got <= 0) return;
    if (!SendAll(connection, {buffer.data(), static_cast<std::size_t>(got)}))
      return;
  }
}

}  // namespace

DemoServer::DemoServer(std::string greeting, bool echoes)
    : greeting_(std::move(greeting)),
      echoes_(echoes),
      listener_(Listen()),
      port_(PortOf(listener_)),
      thread_([this] { Serve(); }) {}

// shutdown() wakes a thread that still waits in accept().
DemoServer::~DemoServer() {
  shutdown(listener_, SHUT_RDWR);
  thread_.join();
  close(listener_);
}

// If accept() fails, shutdown() resets the client, which would wait forever.
void DemoServer::Serve() const {
  const int connection = accept(listener_, nullptr, nullptr);
  if (connection == -1) {
    shutdown(listener_, SHUT_RDWR);
    return;
  }
  if (SendAll(connection, greeting_) && echoes_) Echo(connection);
  close(connection);
}

}  // namespace fairlead::tool
