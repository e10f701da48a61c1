// Tests of a server whose system calls fail: accept4, recv, send and pread are
// this program's own.

#include "tool/listen/listener.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <cerrno>
#include <deque>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "fairlead/export.h"
#include "tool/base/descriptor.h"
#include "tool/base/failure.h"
#include "tool/testing.h"

namespace fairlead::tool::listener_test {
namespace {

// The errors of the next calls; 0 for none.
using Errors = std::deque<int>;
Errors accept_errors;
Errors receive_errors;
Errors send_errors;
Errors read_errors;

bool Fails(Errors& errors) {
  if (errors.empty()) return false;
  errno = errors.front();
  errors.pop_front();
  return errno != 0;
}

}  // namespace
}  // namespace fairlead::tool::listener_test

using namespace fairlead::tool::listener_test;

extern "C" {

FAIRLEAD_EXPORT int accept4(int socket, sockaddr* address, socklen_t* size,
                            int flags) {
  if (Fails(accept_errors)) return -1;
  return static_cast<int>(syscall(SYS_accept4, socket, address, size, flags));
}

FAIRLEAD_EXPORT ssize_t OwnRecv(int socket, void* data, std::size_t size,
                                int flags) asm("recv");

ssize_t OwnRecv(int socket, void* data, std::size_t size, int flags) {
  if (Fails(receive_errors)) return -1;
  return syscall(SYS_recvfrom, socket, data, size, flags, nullptr, nullptr);
}

FAIRLEAD_EXPORT ssize_t send(int socket, const void* data, std::size_t size,
                             int flags) {
  if (Fails(send_errors)) return -1;
  return syscall(SYS_sendto, socket, data, size, flags, nullptr, 0);
}

FAIRLEAD_EXPORT ssize_t OwnPread(int file, void* data, std::size_t size,
                                 off_t offset) asm("pread");

ssize_t OwnPread(int file, void* data, std::size_t size, off_t offset) {
  if (Fails(read_errors)) return -1;
  return syscall(SYS_pread64, file, data, size, offset);
}

}  // extern "C"

namespace fairlead::tool::listener_test {
namespace {

using testing::ElementsAre;

constexpr in_addr kLoopback = {.s_addr = 0x0100007F};  // In network order.

// Notes how connections end, and what makes the listener pause.
class NotedEvents : public ListenerEvents {
 public:
  void Ended(const PeerAccount& peer, int error) override {
    ends_.push_back(error);
    received_ += peer.received;
  }
  void Exhausted(int error) override { exhausted_.push_back(error); }

  std::vector<int> ends_;
  std::vector<int> exhausted_;
  std::size_t received_ = 0;
};

// A peer that has connected, sent a text and no more.
class Peer {
 public:
  Peer(int port, std::string_view text) : socket_(ConnectToPort(port)) {
    EXPECT_EQ(write(socket_, text.data(), text.size()),
              static_cast<ssize_t>(text.size()));
    shutdown(socket_, SHUT_WR);
  }
  Peer(const Peer&) = delete;
  Peer& operator=(const Peer&) = delete;
  ~Peer() { close(socket_); }

  std::string Reply() const { return ReceiveAll(socket_); }

  // Returns whether the connection ends with a reset.
  bool MeetsReset() const {
    char byte = 0;
    ssize_t count = 0;
    do {
      count = recv(socket_, &byte, 1, 0);
    } while (count > 0);
    return count == -1 && errno == ECONNRESET;
  }

 private:
  const int socket_;
};

class ListenerTest : public testing::Test {
 protected:
  ~ListenerTest() override {
    for (Errors* const errors :
         {&accept_errors, &receive_errors, &send_errors, &read_errors})
      errors->clear();
  }
};

// It is gone, and another one may come.
TEST_F(ListenerTest, AnErrorOfOneConnectionIsPassedOver) {
  for (const int error :
       {EAGAIN, EINTR, ECONNABORTED, EPROTO, ENETDOWN, EPERM, ENOPROTOOPT,
        ENONET, EHOSTDOWN, EHOSTUNREACH, ENETUNREACH, EOPNOTSUPP}) {
    SCOPED_TRACE(error);
    Listener listener(kLoopback, 0, {.count = 1});
    const Peer peer(listener.port(), "hello");
    NotedEvents events;
    accept_errors = {error};
    listener.Serve(events, -1);
    EXPECT_THAT(events.ends_, ElementsAre(0));
    EXPECT_EQ(events.received_, 5U);
  }
}

TEST_F(ListenerTest, WithoutAConnectionAnExhaustedSystemIsAnError) {
  for (const int error : {EMFILE, ENFILE, ENOBUFS, ENOMEM, EINVAL}) {
    Listener listener(kLoopback, 0, {.count = 1});
    const Peer peer(listener.port(), "");
    NotedEvents events;
    accept_errors = {error};
    try {
      listener.Serve(events, -1);
      ADD_FAILURE() << error;
    } catch (const std::system_error& thrown) {
      EXPECT_EQ(thrown.code().value(), error);
    }
    EXPECT_TRUE(events.exhausted_.empty());
  }
}

// The connection that waits is accepted once another one has ended.
TEST_F(ListenerTest, AnExhaustedSystemIsReportedOnce) {
  for (const int error : {EMFILE, ENFILE, ENOBUFS, ENOMEM}) {
    SCOPED_TRACE(error);
    Listener listener(kLoopback, 0, {.count = 3});
    const Peer first(listener.port(), "1");
    const Peer second(listener.port(), "22");
    const Peer third(listener.port(), "333");
    NotedEvents events;
    accept_errors = {0, error, 0, error};
    listener.Serve(events, -1);
    EXPECT_THAT(events.ends_, ElementsAre(0, 0, 0));
    EXPECT_EQ(events.received_, 6U);
    EXPECT_THAT(events.exhausted_, ElementsAre(error));
  }
}

TEST_F(ListenerTest, AnErrorThatIsNoExhaustionEndsItBesideAConnection) {
  Listener listener(kLoopback, 0, {.count = 2});
  const Peer first(listener.port(), "1");
  const Peer second(listener.port(), "2");
  NotedEvents events;
  accept_errors = {0, EINVAL};
  EXPECT_THROW(listener.Serve(events, -1), std::system_error);
}

// Their default is to do nothing.
TEST_F(ListenerTest, NoEventNeedsToBeTaken) {
  class Ready : public ListenerEvents {
   public:
    int Outlet() override { return outlet_; }

   private:
    const int outlet_ = open("/dev/null", O_WRONLY | O_CLOEXEC);
  };
  Listener listener(kLoopback, 0, {.reply = Reply("bye"), .count = 2});
  const Peer first(listener.port(), "1");
  const Peer second(listener.port(), "2");
  Ready events;
  accept_errors = {0, EMFILE};
  listener.Serve(events, -1);
  EXPECT_EQ(first.Reply(), "bye");
  EXPECT_EQ(second.Reply(), "bye");
  close(events.Outlet());
}

// What sending met first is not replaced by what receiving meets later.
TEST_F(ListenerTest, TheFirstErrorOfAConnectionIsReported) {
  struct Case {
    int sending, receiving, reported;
  };
  for (const Case& c :
       {Case{ETIMEDOUT, ECONNRESET, ETIMEDOUT},
        Case{EPIPE, ETIMEDOUT, ECONNRESET}, Case{EPIPE, 0, ECONNRESET},
        Case{EAGAIN, 0, 0}, Case{EINTR, ECONNRESET, ECONNRESET}}) {
    SCOPED_TRACE(c.sending);
    Listener listener(kLoopback, 0, {.echo = true, .count = 1});
    const Peer peer(listener.port(), "hello");
    NotedEvents events;
    send_errors = {c.sending};
    receive_errors = {0, c.receiving};
    listener.Serve(events, -1);
    EXPECT_THAT(events.ends_, ElementsAre(c.reported));
    EXPECT_EQ(events.received_, 5U);
  }
}

// It must not take for whole what it was sent.
TEST_F(ListenerTest, APeerThatIsNotSentEverythingMeetsAReset) {
  for (const bool sending : {false, true}) {
    Listener listener(kLoopback, 0, {.echo = true, .count = 1});
    const Peer peer(listener.port(), "hello");
    NotedEvents events;
    (sending ? send_errors : receive_errors) = {ENOBUFS};
    listener.Serve(events, -1);
    EXPECT_THAT(events.ends_, ElementsAre(ENOBUFS));
    EXPECT_TRUE(peer.MeetsReset()) << sending;
  }
}

TEST_F(ListenerTest, AReplyThatCannotBeReadEndsIt) {
  const TempFolder folder;
  const std::string path = folder.File("reply", "bye");
  for (const int error : {EINTR, EIO}) {
    Listener listener(kLoopback, 0, {.reply = Reply::OfFile(path), .count = 1});
    const Peer peer(listener.port(), "");
    NotedEvents events;
    read_errors = {error};
    try {
      listener.Serve(events, -1);
      EXPECT_EQ(error, EINTR);
      EXPECT_EQ(peer.Reply(), "bye");
    } catch (const Failure& failure) {
      EXPECT_EQ(failure.status(), kCannotRead);
      EXPECT_EQ(failure.what(),
                "cannot read '" + path + "': Input/output error");
    }
  }
}

// Ends serving once nothing has been received in two turns.
class Turns : public ListenerEvents {
 public:
  int stop() const { return stop_.number(); }
  std::size_t waiting() const { return waiting_; }

  void Received(const PeerAccount& /*peer*/, std::string_view bytes) override {
    waiting_ += bytes.size();
    idle_ = 0;
  }
  int Outlet() override { return outlet_.number(); }
  void OutletIsReady() override {
    if (++idle_ == 3) eventfd_write(stop_.number(), 1);
  }

  // Begins anew.
  void Resume() {
    eventfd_t count = 0;
    eventfd_read(stop_.number(), &count);
    idle_ = 0;
  }

 private:
  const Descriptor stop_{eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)};
  const Descriptor outlet_{open("/dev/null", O_WRONLY | O_CLOEXEC)};
  int idle_ = 0;
  std::size_t waiting_ = 0;
};

// No echo can be sent. The first peers take more than is left for the last.
TEST_F(ListenerTest, WhatWaitsHasALimitForAllPeersTogether) {
  constexpr std::size_t kPeers = 200;
  const std::string bytes(60'000, 'x');
  Listener listener(kLoopback, 0, {.echo = true});
  std::deque<Peer> peers;
  Turns turns;
  send_errors = Errors(1'000'000, EAGAIN);
  for (std::size_t i = 0; i < kPeers; ++i) {
    const std::size_t before = turns.waiting();
    peers.emplace_back(listener.port(), bytes);
    turns.Resume();
    EXPECT_FALSE(listener.Serve(turns, turns.stop()));
    EXPECT_GE(turns.waiting(), before + 1024) << i;
    ASSERT_LE(turns.waiting(), (3U << 20U) + (i + 1) * 1024);
  }
  listener.Abandon();
}

// Takes no bytes for 50 ms, and counts the turns.
class HeldBack : public ListenerEvents {
 public:
  HeldBack() {
    const itimerspec once = {.it_interval = {},
                             .it_value = {.tv_sec = 0, .tv_nsec = 50'000'000}};
    timerfd_settime(stop_.number(), 0, &once, nullptr);
  }

  int stop() const { return stop_.number(); }
  int turns() const { return turns_; }

  bool TakesPeers() override { return ++turns_ > 0; }
  bool TakesReceived(const PeerAccount& /*peer*/) override { return false; }

 private:
  const Descriptor stop_{timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC)};
  int turns_ = 0;
};

// poll() returns at once for a connection that is reset.
TEST_F(ListenerTest, APeerThatResetsWhileItIsHeldBackKeepsNoProcessorBusy) {
  Listener listener(kLoopback, 0, {});
  const linger at_once = {.l_onoff = 1, .l_linger = 0};
  const int peer = ConnectToPort(listener.port());
  setsockopt(peer, SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once);
  close(peer);
  HeldBack events;
  EXPECT_FALSE(listener.Serve(events, events.stop()));
  EXPECT_LE(events.turns(), 3);
  listener.Abandon();
}

TEST_F(ListenerTest, AReadThatIsInterruptedIsRepeated) {
  for (const int error : {EAGAIN, EINTR}) {
    Listener listener(kLoopback, 0, {.echo = true, .count = 1});
    const Peer peer(listener.port(), "hello");
    NotedEvents events;
    receive_errors = {error};
    listener.Serve(events, -1);
    EXPECT_THAT(events.ends_, ElementsAre(0));
    EXPECT_EQ(peer.Reply(), "hello");
  }
}

}  // namespace
}  // namespace fairlead::tool::listener_test
