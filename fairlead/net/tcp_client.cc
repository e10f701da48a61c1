#include "fairlead/net/tcp_client.h"

#include <pthread.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <memory>
#include <string>

#include "fairlead/base/descriptor.h"
#include "fairlead/net/peer_label.h"

namespace fairlead {
namespace {

// Deliberately four bytes less than the body of a message holds.
constexpr std::size_t kMostReceived = 1796;
constexpr std::size_t kMostSent = sizeof(CTCPMessage::data);
constexpr timeval kWaitForInput = {3, 0};
constexpr timeval kSocketTimeout = {2, 0};

// Holds signals back from the calling thread for as long as it lives.
class SignalsHeld {
 public:
  explicit SignalsHeld(const sigset_t& signals) {
    pthread_sigmask(SIG_BLOCK, &signals, &before_);
  }
  ~SignalsHeld() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
  SignalsHeld(const SignalsHeld&) = delete;
  SignalsHeld& operator=(const SignalsHeld&) = delete;

  bool WasHeld(int signal) const { return sigismember(&before_, signal) == 1; }

 private:
  sigset_t before_;
};

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

bool IsPending(int signal) {
  sigset_t pending;
  return sigpending(&pending) == 0 && sigismember(&pending, signal) == 1;
}

// One send with flags 0, and without the SIGPIPE that it raises where the peer
// is gone. A SIGPIPE that was waiting before is the program's and stays: the
// one raised here has merged with it.
ssize_t SendQuietly(int sock, const CTCPMessage& message) {
  sigset_t pipe;
  sigemptyset(&pipe);
  sigaddset(&pipe, SIGPIPE);
  const SignalsHeld held(pipe);
  const bool waiting = held.WasHeld(SIGPIPE) && IsPending(SIGPIPE);
  const ssize_t sent =
      send(sock, message.data, static_cast<std::size_t>(message.len), 0);
  if (sent == -1 && errno == EPIPE && !waiting) {
    const timespec now = {};
    sigtimedwait(&pipe, nullptr, &now);
  }
  return sent;
}

// Waits until `sock` has input, 3 seconds at most; returns what select does.
// The set is as long as the descriptor needs: select takes fd_sets in a row for
// one long set.
int WaitForInput(int sock, std::vector<fd_set>& readSet) {
  const int last = sock / FD_SETSIZE;
  readSet.assign(static_cast<std::size_t>(last) + 1, fd_set{});
  FD_SET(sock % FD_SETSIZE, &readSet.back());
  timeval wait = kWaitForInput;
  return select(sock + 1, readSet.data(), nullptr, nullptr, &wait);
}

}  // namespace

CTCPClient::CTCPClient() : owner_(getpid()) {
  threadCv_.notify_all();
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

// Nobody waits for threadCv_ while no receive thread runs: a failure signals it
// for compatibility alone.
bool CTCPClient::ConnectTo(const NetClient* endpoint) {
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

// The thread inherits a mask that blocks every signal, and cannot end before
// its handle is in place: its end takes the same mutex.
void CTCPClient::StartRecvThread() {
  sigset_t all;
  sigfillset(&all);
  const SignalsHeld held(all);
  const std::lock_guard<std::mutex> lock(stateMutex_);
  owner_ = getpid();
  recvThread_ = std::thread(&CTCPClient::RecvThread, this);
}

bool CTCPClient::SendMsg(const CTCPMessage* message) {
  const std::int32_t length = message->len;
  if (length < 0 || static_cast<std::size_t>(length) > kMostSent) return false;
  if (message->sock != 0) return SendQuietly(message->sock, *message) == length;

  // Without this, threads that send on and on would keep a closing client from
  // ever finding its socket unused.
  if (mainSock_ == 0) return false;
  const Use use(mainSockUses_);
  const int sock = mainSock_;
  return sock != 0 && SendQuietly(sock, *message) == length;
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
  if (getpid() != owner_) {
    LeaveToParent();
    return;
  }
  {
    const std::lock_guard<std::mutex> lock(stateMutex_);
    running_ = false;
  }
  messageCv.notify_one();
  WakeRecvThread();
  {
    std::unique_lock<std::mutex> lock(stateMutex_);
    while (recvThread_.joinable()) threadCv_.wait(lock);
  }
  CloseMainSock();
}

void CTCPClient::Close() {
  Terminate();
  CloseMainSock();
}

// Closing the reading half makes the socket readable at once, and tells the
// peer nothing.
void CTCPClient::WakeRecvThread() {
  const Use use(mainSockUses_);
  const int sock = mainSock_;
  if (sock != 0) shutdown(sock, SHUT_RD);
}

// In a child of fork(), which has a copy of the client but none of the threads
// that used it. What they held at the fork is held here for ever, and a wait
// for one of them would not end: such a member is made anew, and the one that
// was copied is not destroyed.
void CTCPClient::LeaveToParent() {
  if (queueMutex.try_lock()) {
    queue_.clear();
    queueMutex.unlock();
  } else {  // The queue may be half changed: its memory is given up.
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
  owner_ = getpid();
}

// Lets go of the client in its last act: Terminate() waits for the empty
// handle, and the mutex that guards it is what this thread touches last.
std::int32_t CTCPClient::RecvThread() {
  try {
    Receive();
  } catch (...) {  // No memory, or no lock: as if a receive had failed.
    CloseMainSock();
  }
  messageCv.notify_one();

  const std::lock_guard<std::mutex> lock(stateMutex_);
  recvThread_.detach();
  threadCv_.notify_all();
  return 0;
}

void CTCPClient::Receive() {
  [[maybe_unused]] const std::string label = PeerLabel(peer_);
  CTCPMessage message;
  std::vector<fd_set> readSet;
  while (running_ && ReceiveOnce(message, readSet)) {
  }
}

// One pass of the receive thread; false where it was the last. `message` and
// `readSet` are its working space.
bool CTCPClient::ReceiveOnce(CTCPMessage& message,
                             std::vector<fd_set>& readSet) {
  const int sock = mainSock_;
  const int ready = sock == 0 ? -1 : WaitForInput(sock, readSet);
  if (ready == -1) {
    mainSock_ = 0;  // What cannot be waited for is abandoned, not closed.
    return false;
  }
  if (ready == 0) {
    messageCv.notify_one();
    return true;
  }
  const ssize_t received = recv(sock, message.data, kMostReceived, 0);
  if (received <= 0) {
    CloseMainSock();
    return false;
  }
  message.len = static_cast<std::int32_t>(received);
  message.sock = sock;
  Enqueue(message);
  return true;
}

// Stamps and queues a message, and wakes consumers, two signals for each.
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

// Closes the socket once no call in another thread is using its number, which
// the system may give to another file from then on. A use is counted before it
// reads mainSock_, so one that is not seen here finds no socket.
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
