// The TCP client, and the handshake between its receive thread and its users.

#include "fairlead/net/tcp_client.h"

#include <pthread.h>
#include <sys/ioctl.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "fairlead/base/blocked_signals.h"
#include "fairlead/base/descriptor.h"
#include "fairlead/net/peer_label.h"
#include "fairlead/net/receive_buffer.h"

namespace fairlead {
namespace {

// Deliberately four bytes less than the body of a message holds.
constexpr std::int32_t kMaxReceived = 1796;
constexpr std::size_t kMaxSent = sizeof(CTCPMessage::data);
constexpr timeval kInputTimeout = {3, 0};
constexpr timeval kSocketTimeout = {2, 0};

// Counts one use of something for as long as it lives.
class Use {
 public:
  explicit Use(std::atomic<std::int32_t>& uses) : uses_(uses) { ++uses_; }
  ~Use() {
    if (--uses_ == 0) uses_.notify_all();
  }
  Use(const Use&) = delete;
  Use& operator=(const Use&) = delete;

 private:
  std::atomic<std::int32_t>& uses_;
};

// One send with flags 0, without the SIGPIPE that it raises if the peer is
// gone.
ssize_t SendWithoutSigpipe(int sock, const CTCPMessage& message) {
  const internal::BlockedSignal sigpipe(SIGPIPE);
  const ssize_t sent =
      send(sock, message.data, static_cast<std::size_t>(message.len), 0);
  if (sent == -1 && errno == EPIPE) sigpipe.Discard();
  return sent;
}

}  // namespace

// The input of a socket, as far as the receive thread knows it.
class CTCPClient::Input {
 public:
  // Waits up to 3 seconds until `sock` has input. Returns what select does, and
  // -1 without a socket. A select would also find input that is known to be
  // there, and costs more than a look once per many receives.
  int Await(int sock) {
    if (sock == 0) return -1;
    return waiting_ > 0 || Look(sock) ? 1 : Select(sock);
  }

  // Counts what a receive has returned.
  void Take(ssize_t count) {
    waiting_ -= std::min(waiting_, static_cast<int>(count));
    may_have_more_ = count == kMaxReceived;
  }

 private:
  // Returns whether there is more input, after a receive that was full.
  bool Look(int sock) {
    if (!may_have_more_ || ioctl(sock, FIONREAD, &waiting_) == -1) waiting_ = 0;
    return waiting_ > 0;
  }

  // The set is as long as the descriptor requires: select accepts consecutive
  // fd_sets as one long set.
  int Select(int sock) {
    const int last = sock / FD_SETSIZE;
    set_.assign(static_cast<std::size_t>(last) + 1, fd_set{});
    FD_SET(sock % FD_SETSIZE, &set_.back());
    timeval wait = kInputTimeout;
    return select(sock + 1, set_.data(), nullptr, nullptr, &wait);
  }

  std::vector<fd_set> set_;
  int waiting_ = 0;  // At least so many bytes are there.
  bool may_have_more_ = false;
};

CTCPClient::CTCPClient() {
  threadCv_.notify_all();  // Kept for compatibility: nobody can wait yet.
  running_ = true;
}

CTCPClient::~CTCPClient() { Terminate(); }

bool CTCPClient::CreateMainSock() {
  const int sock = internal::MoveAboveStandardStreams(
      socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  if (sock == -1) {
    mainSock_ = 0;
    return false;
  }
  mainSock_ = sock;
  running_ = true;
  return true;
}

// The notifications after a failure are kept for compatibility: nobody waits
// for threadCv_ while no receive thread runs.
bool CTCPClient::ConnectTo(const NetClient* endpoint) {
  owner_ = getpid();
  peer_ = *endpoint;
  if (!CreateMainSock()) {
    threadCv_.notify_all();
    return false;
  }
  const int sock = mainSock_;
  if (connect(sock, reinterpret_cast<const sockaddr*>(&peer_.addr),
              sizeof(peer_.addr)) == -1) {
    std::printf("err=%d\n", errno);
    threadCv_.notify_all();
    return false;
  }
  for (const int option : {SO_RCVTIMEO, SO_SNDTIMEO})
    setsockopt(sock, SOL_SOCKET, option, &kSocketTimeout,
               sizeof(kSocketTimeout));
  StartRecvThread();
  return true;
}

// The thread inherits a mask that blocks every signal. It cannot end before its
// handle is stored: its end locks the same mutex.
void CTCPClient::StartRecvThread() {
  const internal::BlockedSignals blocked(internal::AllSignals());
  const std::lock_guard<std::mutex> lock(stateMutex_);
  recvThread_ = std::thread(&CTCPClient::RecvThread, this);
}

bool CTCPClient::SendMsg(const CTCPMessage* message) {
  const std::int32_t length = message->len;
  if (length < 0 || static_cast<std::size_t>(length) > kMaxSent) return false;
  if (message->sock != 0)
    return SendWithoutSigpipe(message->sock, *message) == length;

  // This early look keeps threads that send without pause from starving a
  // closing client, which waits until its socket is unused.
  if (mainSock_ == 0) return false;
  const Use use(mainSockUses_);
  const int sock = mainSock_;
  return sock != 0 && SendWithoutSigpipe(sock, *message) == length;
}

std::int32_t CTCPClient::MessagesCount() const {
  const std::lock_guard<std::mutex> lock(queueMutex);
  return static_cast<std::int32_t>(queue_.size());
}

CTCPMessage CTCPClient::PopMessage() {
  const std::lock_guard<std::mutex> lock(queueMutex);
  CTCPMessage message = queue_.front();
  queue_.pop_front();
  return message;
}

bool CTCPClient::IsNotTerminated() const {
  const std::lock_guard<std::mutex> lock(stateMutex_);
  return running_;
}

void CTCPClient::Terminate() {
  const pid_t owner = owner_;
  if (owner != 0 && owner != getpid()) {
    LeaveToParent();
    return;
  }
  {
    const std::lock_guard<std::mutex> lock(stateMutex_);
    running_ = false;
  }
  messageCv.notify_one();
  if (buffer_ != nullptr) buffer_->Stop();
  WakeRecvThread();
  {
    std::unique_lock<std::mutex> lock(stateMutex_);
    while (recvThread_.joinable()) threadCv_.wait(lock);
  }
  CloseMainSock();
  owner_ = 0;
}

void CTCPClient::Close() {
  Terminate();
  CloseMainSock();  // Kept for compatibility: Terminate() has closed it.
}

// Shutting down the reading half makes the socket readable at once and sends
// nothing to the peer.
void CTCPClient::WakeRecvThread() {
  const Use use(mainSockUses_);
  const int sock = mainSock_;
  if (sock != 0) shutdown(sock, SHUT_RD);
}

// Ends the client in a child of fork(), which has none of the threads that used
// it. A mutex that one of them held at the fork stays locked here, and a wait
// for one of them would never end: such members are constructed anew, and the
// copied ones are not destroyed.
void CTCPClient::LeaveToParent() {
  if (queueMutex.try_lock()) {
    queue_.clear();
    queueMutex.unlock();
  } else {  // The queue may be half changed: its memory is leaked.
    std::construct_at(&queue_);
    std::construct_at(&queueMutex);
  }
  std::construct_at(&stateMutex_);
  std::construct_at(&threadCv_);
  std::construct_at(&messageCv);
  std::construct_at(&recvThread_);
  running_ = false;
  mainSockUses_ = 0;
  CloseMainSock();  // No shutdown: nothing uses the socket here.
  owner_ = 0;
}

// Detaches its own handle as its last act: Terminate() waits for the empty
// handle, and the mutex that guards it is the last thing this thread touches.
std::int32_t CTCPClient::RecvThread() {
  try {
    if (buffer_ != nullptr)
      ReceiveInto(*buffer_);
    else
      Receive();
  } catch (...) {  // No memory, or no lock: as if a receive had failed.
    receiveError_ = ENOMEM;
    CloseMainSock();
  }
  messageCv.notify_one();
  if (buffer_ != nullptr) buffer_->Notify();

  const std::lock_guard<std::mutex> lock(stateMutex_);
  recvThread_.detach();
  threadCv_.notify_all();
  return 0;
}

// What fills the room has mostly left more, so the exchange's thread is woken
// when nothing is left, or no room: in a flood, it would wake for each receive.
//
// Needs no select before each receive: Terminate() stops the buffer and makes
// the socket readable. Should the system refuse that, the timeout of a receive
// ends the wait.
void CTCPClient::ReceiveInto(internal::ReceiveBuffer& buffer) {
  const int sock = mainSock_;
  setsockopt(sock, SOL_SOCKET, SO_RCVTIMEO, &kInputTimeout,
             sizeof(kInputTimeout));
  for (bool more = false;;) {
    const std::span<char> room = buffer.AwaitRoom();
    if (room.empty()) return;
    const ssize_t received =
        recv(sock, room.data(), room.size(), more ? MSG_DONTWAIT : 0);
    if (received > 0) {
      more = static_cast<std::size_t>(received) == room.size();
      buffer.Add(static_cast<std::size_t>(received), more);
    } else if (more && received == -1 && errno == EAGAIN) {
      more = false;
      buffer.Notify();
    } else if (received == 0 || (errno != EAGAIN && errno != EINTR)) {
      receiveError_ = received == 0 ? 0 : errno;
      return;  // Terminate() closes the socket.
    }
  }
}

void CTCPClient::Receive() {
  // Kept for compatibility: nothing reads it.
  [[maybe_unused]] const std::string label = internal::PeerLabel(peer_);
  CTCPMessage message;
  Input input;
  while (running_ && ReceiveOnce(message, input)) {
  }
}

// One pass of the receive thread; false if it was the last. `message` is its
// buffer.
bool CTCPClient::ReceiveOnce(CTCPMessage& message, Input& input) {
  const int sock = mainSock_;
  const int ready = input.Await(sock);
  if (ready == -1) {
    mainSock_ = 0;  // Kept for compatibility: abandoned, not closed.
    return false;
  }
  if (ready == 0) {
    messageCv.notify_one();
    return true;
  }
  const ssize_t received = recv(sock, message.data, kMaxReceived, 0);
  if (received <= 0) {
    CloseMainSock();
    return false;
  }
  input.Take(received);
  message.len = static_cast<std::int32_t>(received);
  message.sock = sock;
  Enqueue(message);
  return true;
}

// Timestamps and queues a message. Kept for compatibility: two notifications.
void CTCPClient::Enqueue(CTCPMessage& message) {
  {
    const std::lock_guard<std::mutex> lock(queueMutex);
    message.addr = peer_.addr;
    message.time = TheTime();
    queue_.push_back(message);
  }
  messageCv.notify_one();
  messageCv.notify_one();
}

// Closes the socket once no call in another thread uses its number, which the
// system may then give to another file. A use is counted before it reads
// mainSock_, so one that is not seen here finds no socket.
void CTCPClient::CloseMainSock() {
  const int sock = mainSock_.exchange(0);
  if (sock == 0) return;
  while (const std::int32_t uses = mainSockUses_) {
    shutdown(sock, SHUT_RDWR);  // Ends a send that waits for the peer.
    mainSockUses_.wait(uses);
  }
  close(sock);
}

}  // namespace fairlead
