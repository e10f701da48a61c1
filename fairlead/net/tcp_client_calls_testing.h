// The system calls of the client, answered by the test. The functions are this
// program's own and go on to the system's unless a test says otherwise. One
// source of a program includes this header. Not installed.

#ifndef FAIRLEAD_NET_TCP_CLIENT_CALLS_TESTING_H_
#define FAIRLEAD_NET_TCP_CLIENT_CALLS_TESTING_H_

#include <dlfcn.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstddef>
#include <functional>

#include "fairlead/net/loopback_testing.h"
#include "fairlead/net/tcp_client.h"

namespace fairlead::internal {

// What is called instead of the system; an empty function calls the system. Set
// them before a client connects, and clear them after it has closed.
struct Calls {
  std::function<int(int, int, int)> socket;
  std::function<int(int, const sockaddr*, socklen_t)> connect;
  std::function<int(int, int, int, const void*, socklen_t)> setsockopt;
  std::function<int(int, fd_set*, fd_set*, fd_set*, timeval*)> select;
  std::function<ssize_t(int, void*, std::size_t, int)> recv;
  std::function<ssize_t(int, const void*, std::size_t, int)> send;
  std::function<int(int, int)> shutdown;
  std::function<int(int, unsigned long, void*)> ioctl;
  std::function<int(int)> close;
};
inline Calls calls;

// The system's call of that name.
template <typename Function>
Function* System(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

#define FAIRLEAD_SYSTEM(name) \
  fairlead::internal::System<decltype(::name)>(#name)

inline int Fail(int error) {
  errno = error;
  return -1;
}

inline bool IsOpen(int descriptor) { return fcntl(descriptor, F_GETFD) != -1; }

}  // namespace fairlead::internal

// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name): the
// system's headers have no names of use to a reader.
extern "C" {

int socket(int domain, int type, int protocol) noexcept {
  using fairlead::internal::calls;
  if (calls.socket) return calls.socket(domain, type, protocol);
  return FAIRLEAD_SYSTEM(socket)(domain, type, protocol);
}

int connect(int sock, const sockaddr* peer, socklen_t size) {
  using fairlead::internal::calls;
  if (calls.connect) return calls.connect(sock, peer, size);
  return FAIRLEAD_SYSTEM(connect)(sock, peer, size);
}

int setsockopt(int sock, int level, int name, const void* value,
               socklen_t size) noexcept {
  using fairlead::internal::calls;
  if (calls.setsockopt) return calls.setsockopt(sock, level, name, value, size);
  return FAIRLEAD_SYSTEM(setsockopt)(sock, level, name, value, size);
}

int select(int end, fd_set* read, fd_set* write, fd_set* error,
           timeval* limit) {
  using fairlead::internal::calls;
  if (calls.select) return calls.select(end, read, write, error, limit);
  return FAIRLEAD_SYSTEM(select)(end, read, write, error, limit);
}

// By another name in here: the headers may hold a checked recv of their own.
ssize_t OwnRecv(int sock, void* data, std::size_t size,
                int flags) __asm__("recv");

ssize_t OwnRecv(int sock, void* data, std::size_t size, int flags) {
  using fairlead::internal::calls;
  if (calls.recv) return calls.recv(sock, data, size, flags);
  return FAIRLEAD_SYSTEM(recv)(sock, data, size, flags);
}

ssize_t send(int sock, const void* data, std::size_t size, int flags) {
  using fairlead::internal::calls;
  if (calls.send) return calls.send(sock, data, size, flags);
  return FAIRLEAD_SYSTEM(send)(sock, data, size, flags);
}

int shutdown(int sock, int how) noexcept {
  using fairlead::internal::calls;
  if (calls.shutdown) return calls.shutdown(sock, how);
  return FAIRLEAD_SYSTEM(shutdown)(sock, how);
}

int ioctl(int descriptor, unsigned long request, ...) noexcept {
  using fairlead::internal::calls;
  std::va_list arguments;
  va_start(arguments, request);
  void* const argument = va_arg(arguments, void*);
  va_end(arguments);
  if (calls.ioctl) return calls.ioctl(descriptor, request, argument);
  return FAIRLEAD_SYSTEM(ioctl)(descriptor, request, argument);
}

int close(int descriptor) {
  using fairlead::internal::calls;
  if (calls.close) return calls.close(descriptor);
  return FAIRLEAD_SYSTEM(close)(descriptor);
}

}  // extern "C"
// NOLINTEND(readability-inconsistent-declaration-parameter-name)

namespace fairlead::internal {

class InterposedCallsTest : public testing::Test {
 protected:
  ~InterposedCallsTest() override { calls = {}; }

  // Stores the number of the client's socket in sock_.
  void NoteSocket() {
    calls.connect = [this](int sock, const sockaddr* peer, socklen_t size) {
      sock_ = sock;
      return FAIRLEAD_SYSTEM(connect)(sock, peer, size);
    };
  }

  int sock_ = -1;
};

}  // namespace fairlead::internal

#endif  // FAIRLEAD_NET_TCP_CLIENT_CALLS_TESTING_H_
