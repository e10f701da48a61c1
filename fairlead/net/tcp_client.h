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

/// One message and its endpoint: it can be passed to ConnectTo() and then to
/// SendMsg(). Plain value of 1.8 KB with its body inline; a new one has
/// length 0.
struct CTCPMessage : NetClient {
  // NOLINTNEXTLINE(modernize-avoid-c-arrays)
  unsigned char data[1800] = {};  ///< The body: the first `len` bytes count.
  std::int32_t len = 0;  ///< In bytes: 0..1800 to send, 1..1796 if received.
  TheTime time;          ///< When it was received; unused in one to send.

  /// The descriptor it was read from. To send: 0 for the client's own socket,
  /// any other as given. Set it to 0 before sending a received message back.
  std::int32_t sock = 0;
};

/// A client of one TCP server: connect, send, drain the queue, close.
///
/// There is no framing. What one `recv` of at most 1796 bytes returns becomes
/// one message; the caller reassembles. (A message to send holds up to 1800.)
/// The queue has no limit and takes 1.9 KB per message, however short.
/// ConnectTo() starts a receive thread, which ends when the peer closes, when
/// receiving fails, or in Terminate(). The first two are not reported:
/// IsNotTerminated() stays true. Use your own time limit, or send a message of
/// length 0, which reaches no peer and fails once the connection is gone.
/// @par Waiting
/// `messageCv` is notified after each message, when the thread ends, in
/// Terminate(), and every 3 seconds in which nothing came. To avoid a lost
/// wakeup, lock `queueMutex` before SendMsg(), wait with the same lock for a
/// short time, and re-check. (The peer may need to be read before it reads: the
/// send then fails after its 2 seconds.)
/// @par Thread safety
/// SendMsg(), MessagesCount(), PopMessage() and IsNotTerminated() may be called
/// from any thread; so may Terminate() and Close(), several at once, after
/// ConnectTo() has returned. The rest belongs to the thread that owns the
/// client. While holding `queueMutex`, call only SendMsg() and
/// IsNotTerminated(): the others lock it, or wait for the receive thread. That
/// thread blocks all signals; descriptors above FD_SETSIZE work.
/// @par fork()
/// A client that is not connected is copied like a plain value. A connection
/// stays the parent's. In a child, Terminate(), Close() and the destructor only
/// close the child's descriptor and discard its messages, at once. Call one of
/// these first: SendMsg() would use the parent's connection, other calls may
/// block forever. A child of `vfork()` must not use the client.
/// @par Errors
/// Failures are results. Besides std::bad_alloc, std::system_error is thrown:
/// for a mutex that cannot be locked, and by ConnectTo(). In the receive
/// thread, either exception ends the thread as a failed receive does; a message
/// that was received but could not be queued is lost.
/// @par Example
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
/// client.Close();
/// @endcode
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

  /// Creates the client's socket, which is closed on `exec` and never gets the
  /// number 0, 1 or 2. ConnectTo() calls it. A descriptor already held is
  /// forgotten, not closed; a terminated client counts as running again.
  /// @return false if the system has no socket to give
  bool CreateMainSock();

  /// Connects to `endpoint` (not null) and starts the receive thread.
  ///
  /// Blocks as long as the system tries to connect, which can be minutes. Sends
  /// and receives then time out after 2 seconds. Connect again only after
  /// Close(): while the receive thread runs, a second success ends the process
  /// (std::terminate), and a failure forgets the open socket.
  /// A failed connection keeps its descriptor until Close(), Terminate() or
  /// destruction: a loop that retries must call Close() after each failure.
  /// @return false if no socket can be created, and if the connection fails,
  ///     after printing "err=" and `errno`, such as 111, to standard output
  /// @throws std::system_error if the system refuses a thread; keeps the socket
  bool ConnectTo(const NetClient* endpoint);

  /// Sends the first `len` bytes of `message` (not null) with one `send`.
  /// Waits up to 2 seconds for room in the system's buffer; less (EINTR) if the
  /// thread handles a signal, even with SA_RESTART, or the process is stopped
  /// and continued. Raises no SIGPIPE and changes no signal setting. A send
  /// concurrent with Close() never reaches a file that reuses the socket's
  /// number; with its own `sock`, the caller must ensure that.
  /// @return true if the system took all bytes. If false, an unknown part was
  ///     sent; none if `len` is outside 0..1800 or there is no socket.
  /// @par Cost
  /// One `send` and two changes of the thread's signal mask.
  bool SendMsg(const CTCPMessage* message);

  std::int32_t MessagesCount() const;  ///< The number of messages in the queue.

  /// Removes the oldest message and returns it. The queue must not be empty
  /// (not checked): call MessagesCount() first, from the one thread that pops.
  CTCPMessage PopMessage();

  /// Returns false after Terminate(); true also after the peer has closed.
  bool IsNotTerminated() const;

  /// Ends the receive thread and closes the socket; keeps the queue.
  /// Repeatable; not during ConnectTo(). Waits for the thread, which it wakes:
  /// normally microseconds, at most 3 seconds.
  void Terminate();

  /// The same as Terminate(). Call it last, also after a failed ConnectTo().
  void Close();

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
