// For the test that makes system calls of exchanges fail. Defines those calls,
// so only one source of a program may include it. Not installed.

#ifndef FAIRLEAD_NET_EXCHANGE_FAULTS_TESTING_H_
#define FAIRLEAD_NET_EXCHANGE_FAULTS_TESTING_H_

#include <dlfcn.h>
#include <fcntl.h>
#include <netdb.h>
#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstddef>
#include <functional>
#include <utility>

#include "fairlead/export.h"

namespace fairlead::internal::exchange_faults_test {
namespace {

enum class Call {
  kNone,
  kSocket,
  kConnect,
  kPoll,
  kSend,
  kShutdown,
  kFcntl,
  kEventfd,
  kRecv,
  kSetsockopt,
  kGetsockopt,
  kIoctl,
  kThread,
  kRead,
};

// What fails, in every thread but those of the peers.
struct Fault {
  std::atomic<Call> call = Call::kNone;
  std::atomic<int> before = 0;  // Calls that succeed first.
  bool for_ever = false;        // Not only once.
  int error = 0;
  std::atomic<int> hits = 0;
};
Fault fault;
std::atomic<int> ioctls = 0;

// Is called before an exchange waits for a quiet input.
std::function<void()> before_wait;

// Is called after a wait for an input has met the failure of the connection.
std::function<void()> after_failure;

// Is called after the error of a socket was asked for.
std::function<void()> on_socket_error;
thread_local bool is_peer = false;

bool Fails(Call call) {
  if (is_peer || fault.call != call) return false;
  if (fault.before-- > 0) return false;
  if (fault.hits++ > 0 && !fault.for_ever) return false;
  errno = fault.error;
  return true;
}

template <typename Function>
Function* System(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

#define FAIRLEAD_SYSTEM(name) System<decltype(::name)>(#name)

}  // namespace
}  // namespace fairlead::internal::exchange_faults_test

using namespace fairlead::internal::exchange_faults_test;

// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name): the
// system's headers have no names of use to a reader.
extern "C" {

FAIRLEAD_EXPORT int socket(int domain, int type, int protocol) noexcept {
  if (Fails(Call::kSocket)) return -1;
  return FAIRLEAD_SYSTEM(socket)(domain, type, protocol);
}

// An interrupted one goes on by itself.
FAIRLEAD_EXPORT int connect(int sock, const sockaddr* peer, socklen_t size) {
  const bool fails = Fails(Call::kConnect);
  if (fails && fault.error != EINTR) return -1;
  const int result = FAIRLEAD_SYSTEM(connect)(sock, peer, size);
  if (fails) errno = EINTR;
  return fails ? -1 : result;
}

FAIRLEAD_EXPORT int poll(pollfd* files, nfds_t count, int timeout) {
  if (count == 3 && before_wait) std::exchange(before_wait, nullptr)();
  if (Fails(Call::kPoll)) return -1;
  const int ready = FAIRLEAD_SYSTEM(poll)(files, count, timeout);
  if (count == 3 && after_failure && (files[2].revents & POLLERR) != 0)
    std::exchange(after_failure, nullptr)();
  return ready;
}

FAIRLEAD_EXPORT ssize_t send(int sock, const void* data, std::size_t size,
                             int flags) {
  if (Fails(Call::kSend)) return -1;
  return FAIRLEAD_SYSTEM(send)(sock, data, size, flags);
}

// Not the one that wakes the receive thread, which would wait for its 3
// seconds.
FAIRLEAD_EXPORT int shutdown(int sock, int how) noexcept {
  if (how == SHUT_WR && Fails(Call::kShutdown)) return -1;
  return FAIRLEAD_SYSTEM(shutdown)(sock, how);
}

FAIRLEAD_EXPORT int fcntl(int descriptor, int command, ...) {
  std::va_list arguments;
  va_start(arguments, command);
  void* const argument = va_arg(arguments, void*);
  va_end(arguments);
  if (Fails(Call::kFcntl)) return -1;
  return FAIRLEAD_SYSTEM(fcntl)(descriptor, command, argument);
}

FAIRLEAD_EXPORT int eventfd(unsigned int count, int flags) noexcept {
  if (Fails(Call::kEventfd)) return -1;
  return FAIRLEAD_SYSTEM(eventfd)(count, flags);
}

// By another name in here: the headers may hold a checked recv of their own.
FAIRLEAD_EXPORT ssize_t OwnRecv(int sock, void* data, std::size_t size,
                                int flags) __asm__("recv");

ssize_t OwnRecv(int sock, void* data, std::size_t size, int flags) {
  if (Fails(Call::kRecv)) return -1;
  return FAIRLEAD_SYSTEM(recv)(sock, data, size, flags);
}

FAIRLEAD_EXPORT ssize_t OwnRead(int descriptor, void* data,
                                std::size_t size) __asm__("read");

ssize_t OwnRead(int descriptor, void* data, std::size_t size) {
  if (Fails(Call::kRead)) return -1;
  return FAIRLEAD_SYSTEM(read)(descriptor, data, size);
}

FAIRLEAD_EXPORT int setsockopt(int sock, int level, int name, const void* value,
                               socklen_t size) noexcept {
  if (Fails(Call::kSetsockopt)) return -1;
  return FAIRLEAD_SYSTEM(setsockopt)(sock, level, name, value, size);
}

FAIRLEAD_EXPORT int getsockopt(int sock, int level, int name, void* value,
                               socklen_t* size) noexcept {
  if (Fails(Call::kGetsockopt)) return -1;
  const int result =
      FAIRLEAD_SYSTEM(getsockopt)(sock, level, name, value, size);
  if (on_socket_error && name == SO_ERROR) on_socket_error();
  return result;
}

FAIRLEAD_EXPORT int ioctl(int descriptor, unsigned long request, ...) noexcept {
  std::va_list arguments;
  va_start(arguments, request);
  void* const argument = va_arg(arguments, void*);
  va_end(arguments);
  ++ioctls;
  if (Fails(Call::kIoctl)) return -1;
  return FAIRLEAD_SYSTEM(ioctl)(descriptor, request, argument);
}

FAIRLEAD_EXPORT int pthread_create(pthread_t* thread,
                                   const pthread_attr_t* attributes,
                                   void* (*start)(void*),
                                   void* argument) noexcept {
  if (Fails(Call::kThread)) return fault.error;
  return FAIRLEAD_SYSTEM(pthread_create)(thread, attributes, start, argument);
}

}  // extern "C"
// NOLINTEND(readability-inconsistent-declaration-parameter-name)

#endif  // FAIRLEAD_NET_EXCHANGE_FAULTS_TESTING_H_
