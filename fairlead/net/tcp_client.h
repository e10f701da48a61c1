// A client of one TCP server: sends messages whole, and queues what comes back.

#ifndef FAIRLEAD_NET_TCP_CLIENT_H_
#define FAIRLEAD_NET_TCP_CLIENT_H_

#include <netinet/in.h>
#include <sys/types.h>

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <mutex>
#include <thread>

#include "fairlead/export.h"
#include "fairlead/time/the_time.h"

namespace fairlead {

namespace internal {
class ExchangeConnection;
class ReceiveBuffer;
}  // namespace internal

/// An IPv4 endpoint: where a server listens. Plain value.
struct NetClient {
  /// POSIX <netinet/in.h>: `AF_INET`; port and address in network byte order.
  sockaddr_in addr = {AF_INET, 0, {INADDR_ANY}, {}};
};

/// One message and its endpoint, for SendMsg() and ConnectTo(). Plain value of
/// 1.8 KB with its body inline; a new one has length 0.
struct CTCPMessage : NetClient {
  // NOLINTNEXTLINE(modernize-avoid-c-arrays)
  unsigned char data[1800] = {};  ///< The body: the first `len` bytes count.
  std::int32_t len = 0;  ///< In bytes: 0..1800 to send, 1..1796 if received.
  TheTime time;          ///< When it was received; unused in one to send.

  /// The descriptor to send to, 0 for the client's own socket; or the one it
  /// was read from. Set it to 0 before sending a received message back.
  std::int32_t sock = 0;
};

/// A client of one TCP server: connect, send, drain the queue, close.
///
/// There is no framing: what one `recv` of at most 1796 bytes returns becomes
/// one message, of 1.9 KB, in a queue without limit. ConnectTo() starts a
/// receive thread, which ends when the peer closes, when receiving fails, or in
/// Terminate(). The first two are not reported: use your own time limit, or
/// send a message of length 0, which fails once the connection is gone.
/// @code
/// fairlead::CTCPMessage request;
/// request.addr.sin_port = htons(7000);
/// request.addr.sin_addr.s_addr = inet_addr("127.0.0.1");
/// request.len = fairlead::WritePascalString(request.data, "hello");
/// fairlead::CTCPClient client;
/// if (!client.ConnectTo(&request) || !client.SendMsg(&request)) return;
/// int received = 0;  // The server echoes the request.
/// for (int waits = 0; received < request.len && waits < 50; ++waits) {
///   while (client.MessagesCount() > 0) received += client.PopMessage().len;
///   std::unique_lock<std::mutex> lock(client.queueMutex);
///   client.messageCv.wait_for(lock, std::chrono::milliseconds(100));
/// }
/// @endcode
/// @par Waiting
/// `messageCv` is notified after each message, when the thread ends, in
/// Terminate(), and every 3 seconds in which nothing came. To avoid a lost
/// wakeup, lock `queueMutex` before SendMsg(), wait with the same lock for a
/// short time, and re-check.
/// @par Thread safety
/// Any threads may call SendMsg(), MessagesCount(), PopMessage() and
/// IsNotTerminated() and, after ConnectTo(), Terminate() and Close(). The rest
/// belongs to one thread. While holding `queueMutex`, call only SendMsg() and
/// IsNotTerminated(). The receive thread blocks all signals.
/// @par fork()
/// A connection stays the parent's. A child must first call Terminate(),
/// Close() or the destructor, which only close its descriptor and discard its
/// messages: SendMsg() would use the parent's connection, other calls may block
/// forever. A child of `vfork()` must not use the client.
/// @par Errors
/// Failures are results. Throws std::bad_alloc, and std::system_error if a lock
/// fails. Either ends the receive thread; a message not queued yet is lost.
class FAIRLEAD_EXPORT CTCPClient {
 private:
  // The order of all members is kept for compatibility.
  std::mutex mutex_;               // Kept for compatibility; nothing locks it.
  mutable std::mutex stateMutex_;  // Guards running_ and recvThread_.

 public:
  mutable std::mutex queueMutex;  ///< Guards the queue.

  CTCPClient();   ///< Creates a client without socket, thread or message.
  ~CTCPClient();  ///< Calls Terminate() and discards the messages.
  CTCPClient(const CTCPClient&) = delete;
  CTCPClient& operator=(const CTCPClient&) = delete;

  /// Creates the client's socket, which is closed on `exec` and is none of 0, 1
  /// and 2; returns false if the system refuses. ConnectTo() calls it. Forgets
  /// a descriptor already held without closing it; counts as running again.
  bool CreateMainSock();

  /// Connects to `endpoint` (not null) and starts the receive thread. Blocks as
  /// long as the system tries, which can be minutes. Sends and receives then
  /// time out after 2 seconds. Call Close() before connecting again, also after
  /// a failure, which keeps its descriptor. While a receive thread runs,
  /// success ends the process (std::terminate), and a failure forgets the
  /// socket.
  /// @return false if no socket can be created, and if the connection fails,
  ///     after printing "err=" and `errno`, such as 111, to standard output
  /// @throws std::system_error if the system refuses a thread; keeps the socket
  bool ConnectTo(const NetClient* endpoint);

  /// Sends the first `len` bytes of `message` (not null) with one `send`,
  /// between two changes of the signal mask: raises no SIGPIPE. Waits up to 2
  /// seconds for room in the system's buffer; less (EINTR) if the thread
  /// handles a signal, even with SA_RESTART, or the process is stopped and
  /// continued. During Close(), reaches no file that reuses the socket's
  /// number; with its own `sock`, the caller must ensure that.
  /// @return true if the system took all bytes. If false, an unknown part was
  ///     sent; none if `len` is outside 0..1800 or there is no socket.
  bool SendMsg(const CTCPMessage* message);

  std::int32_t MessagesCount() const;  ///< Returns how many are in the queue.

  /// Removes the oldest message and returns it. The queue must not be empty
  /// (not checked): call MessagesCount() first, from the one thread that pops.
  CTCPMessage PopMessage();

  /// Returns false after Terminate(); true also after the peer has closed.
  bool IsNotTerminated() const;

  /// Ends the receive thread, which takes microseconds, at most 3 seconds, and
  /// closes the socket; keeps the queue. Repeatable; not during ConnectTo().
  void Terminate();

  void Close();  ///< Calls Terminate(), also needed if ConnectTo() fails.

 private:
  class FAIRLEAD_PRIVATE Input;

  FAIRLEAD_PRIVATE std::int32_t RecvThread();
  FAIRLEAD_PRIVATE void Receive();
  FAIRLEAD_PRIVATE void StartRecvThread();
  FAIRLEAD_PRIVATE void LeaveToParent();
  FAIRLEAD_PRIVATE void WakeRecvThread();
  FAIRLEAD_PRIVATE bool ReceiveOnce(CTCPMessage& message, Input& input);
  FAIRLEAD_PRIVATE void Enqueue(CTCPMessage& message);
  FAIRLEAD_PRIVATE void CloseMainSock();
  FAIRLEAD_PRIVATE void ReceiveInto(internal::ReceiveBuffer& buffer);

  std::condition_variable threadCv_;  // With stateMutex_: the thread has ended.
  std::thread recvThread_;  // Guarded by stateMutex_; empty if none runs.
  NetClient peer_;          // Set before the thread starts.
  std::atomic<std::int32_t> mainSock_ = 0;  // 0: none.
  std::atomic<bool> running_ =
      false;                       // Written under stateMutex_, once it runs.
  std::deque<CTCPMessage> queue_;  // Guarded by queueMutex; oldest first.

 public:
  std::condition_variable messageCv;  ///< Wait on it with queueMutex.

 private:
  std::atomic<std::int32_t> mainSockUses_ = 0;  // See CloseMainSock().
  std::atomic<pid_t> owner_ = 0;  // The process that connected; 0: closed.

  // Of an Exchange, which has a buffer of its own instead of the queue and asks
  // why receiving ended.
  friend class internal::ExchangeConnection;
  static constexpr int kReceiving = -1;
  internal::ReceiveBuffer* buffer_ = nullptr;   // Set before the thread starts.
  std::atomic<int> receiveError_ = kReceiving;  // 0: the peer has closed.
};

}  // namespace fairlead

#endif  // FAIRLEAD_NET_TCP_CLIENT_H_
