// A client of one TCP server: sends messages whole, and queues what comes back.

#ifndef FAIRLEAD_NET_TCP_CLIENT_H_
#define FAIRLEAD_NET_TCP_CLIENT_H_

#include <netinet/in.h>
#include <sys/select.h>

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <thread>
#include <vector>

#include "fairlead/export.h"
#include "fairlead/time/the_time.h"

namespace fairlead {

/// An IPv4 endpoint: where a server listens.
///
/// @par Thread safety
/// A plain value: one thread per object, or any number of readers.
/// @par Example
/// @code
/// fairlead::NetClient server;
/// server.addr.sin_port = htons(7000);
/// server.addr.sin_addr.s_addr = inet_addr("192.0.2.7");
/// @endcode
struct NetClient {
  /// The system's own form (16 bytes, POSIX <netinet/in.h>): the family is
  /// always `AF_INET`; port and address are in network byte order.
  sockaddr_in addr = {AF_INET, 0, {INADDR_ANY}, {}};
};

/// One message, sent or received; also the endpoint it goes to, so that one
/// message can be handed to ConnectTo() and then to SendMsg().
///
/// A plain value of 1.8 KB with its body inline, copied whole. A new one is
/// empty and its body all zero, so that no byte goes out that nobody wrote.
///
/// @par Thread safety
/// A plain value: one thread per object, or any number of readers.
struct CTCPMessage : NetClient {
  /// The body. Only the first `len` bytes have a meaning.
  unsigned char data[1800] = {};  // NOLINT(modernize-avoid-c-arrays)

  /// The number of bytes in the body: 0 to 1800 in a message to send, 1 to 1796
  /// in a received one.
  std::int32_t len = 0;

  /// When the message was received; no meaning in a message to send.
  TheTime time;

  /// A socket descriptor. In a received message, the one it was read from. In
  /// a message to send, 0 stands for the client's own and any other is used as
  /// it is: to answer with a received message, set this to 0 first.
  std::int32_t sock = 0;
};

/// A client of one TCP server: connect, send, drain the queue, close.
///
/// Bytes go out and come in as they are, without any framing. What one `recv`
/// of at most 1796 bytes returns becomes one message of the queue, so what the
/// peer sent at once may arrive as several messages, and what it sent in pieces
/// as one: the caller puts them together as its protocol says. (A message to
/// send holds up to 1800 bytes, four more than one received ever does.)
///
/// From ConnectTo() on, a thread of the client's own receives. It ends when the
/// peer closes, when receiving fails, or in Terminate(). The first two are not
/// reported: IsNotTerminated() stays true and what was received stays in the
/// queue. A caller notices by its own bound on waiting, or by sending a message
/// of length 0, which reaches no peer and fails once the connection is gone.
///
/// Messages stay in the queue, whose length has no limit, until PopMessage()
/// takes them or the client is destroyed.
///
/// @par Waiting
/// The client signals `messageCv` after each message, when the thread ends, in
/// Terminate(), and after every 3 seconds in which nothing came. As a message
/// may arrive just before the wait begins, and the last signal of a thread that
/// ends may too, wait for a short time and look again. Not to miss the answer
/// to a request, lock `queueMutex` before SendMsg(), which takes no lock, and
/// wait with that lock: nothing is queued and signalled in between. (A peer
/// that cannot go on sending meanwhile may not read either; the send then fails
/// after its 2 seconds.)
///
/// @par Thread safety
/// SendMsg(), MessagesCount(), PopMessage() and IsNotTerminated() may be called
/// from any thread at any time between construction and destruction. The rest
/// belongs to one thread, which makes the client, connects once, and closes.
/// Hold `queueMutex` while you call none but SendMsg() and IsNotTerminated():
/// the others wait for it, or for the receive thread, which may be waiting for
/// it.
///
/// The receive thread blocks all signals, so handlers run on the program's own
/// threads. It works for descriptors of any number, above FD_SETSIZE too.
///
/// @par Errors
/// Failures are results. Beside a failed allocation, the only exception is
/// std::system_error, from a mutex that cannot be locked (anywhere) or a thread
/// that the system refuses (in ConnectTo()).
///
/// @par Example
/// @code
/// fairlead::CTCPMessage request;
/// request.addr.sin_port = htons(7000);
/// request.addr.sin_addr.s_addr = inet_addr("127.0.0.1");
/// request.len = fairlead::WritePascalString(request.data, "hello");
///
/// fairlead::CTCPClient client;
/// if (!client.ConnectTo(&request)) {
///   client.Close();
///   return;  // No connection could be made.
/// }
/// client.SendMsg(&request);
/// const int expected = request.len;  // The server answers with the same.
/// int received = 0;
/// for (int waits = 0; client.IsNotTerminated() && waits < 50; ++waits) {
///   while (client.MessagesCount() > 0) received += client.PopMessage().len;
///   if (received >= expected) break;
///   std::unique_lock<std::mutex> lock(client.queueMutex);
///   client.messageCv.wait_for(lock, std::chrono::milliseconds(100));
/// }
/// client.Close();
/// @endcode
class FAIRLEAD_EXPORT CTCPClient {
 private:
  std::mutex mutex_;               // Stands first; nothing locks it.
  mutable std::mutex stateMutex_;  // Guards running_ and recvThread_.

 public:
  /// Guards the queue. Consumers lock it to wait on `messageCv`.
  mutable std::mutex queueMutex;

  /// A client without socket, thread or message.
  CTCPClient();

  /// Terminate(), then the messages are discarded.
  ~CTCPClient();

  /// Not copyable: a client owns its socket and its thread.
  CTCPClient(const CTCPClient&) = delete;
  CTCPClient& operator=(const CTCPClient&) = delete;

  /// Makes the socket of the client, an IPv4 stream socket that is closed on
  /// `exec` and never has the number 0. ConnectTo() does it by itself.
  ///
  /// A descriptor already held is forgotten, not closed. A client that was
  /// terminated counts as running again.
  ///
  /// @return false where the system has no socket to give; the client then has
  ///     none
  bool CreateMainSock();

  /// Connects to `endpoint` and starts the receive thread.
  ///
  /// Blocks as long as the system tries to connect, which can be minutes: there
  /// is no time-out. Sends and receives then have one of 2 seconds each.
  ///
  /// A client is connected once. While its receive thread runs, another
  /// successful ConnectTo() ends the process (std::terminate), and one that
  /// fails forgets the open socket. Once closed, it may be connected again.
  ///
  /// @param endpoint not null; also a CTCPMessage
  /// @return false where no socket could be made, and where the connection
  ///     failed, after the line "err=%d" with the number of the error (111 for
  ///     a closed port) on standard output. The socket of a failed connection
  ///     is kept until Close(), Terminate() or destruction.
  /// @throws std::system_error if the system refuses a thread. The connected
  ///     socket is kept, as after a failed connection.
  bool ConnectTo(const NetClient* endpoint);

  /// Sends the first `len` bytes of the body with one `send`, on the message's
  /// `sock` or, where that is 0, on the client's own socket.
  ///
  /// Waits up to 2 seconds for room in the system's buffer. Neither retries nor
  /// prints. A peer that is gone raises no SIGPIPE: the signal is held back
  /// from the calling thread meanwhile, and settings of the process stay as
  /// they are. A send on the client's own socket never reaches another file
  /// that gets the number of the socket once it is closed; for a `sock` of the
  /// message's own, that is the caller's care.
  ///
  /// @param message not null
  /// @return whether all bytes were taken by the system; false also for a `len`
  ///     outside 0..1800 and where there is no socket. After false, how many
  ///     bytes went out is not known.
  /// @par Cost
  /// One `send` and two changes of the thread's signal mask.
  bool SendMsg(const CTCPMessage* message);

  /// The number of messages in the queue.
  std::int32_t MessagesCount() const;

  /// Takes the oldest message off the queue.
  ///
  /// The queue must not be empty (not checked): ask MessagesCount() first, and
  /// let only one thread pop.
  CTCPMessage PopMessage();

  /// Whether Terminate() has not been called since the last socket was made:
  /// true from construction on, and also after the peer has closed.
  bool IsNotTerminated() const;

  /// Ends the receive thread and closes the socket. What was received stays in
  /// the queue. May be called at any time, again too.
  ///
  /// @par Cost
  /// Returns as soon as the receive thread has let go of the client, which is
  /// woken for it: microseconds. At worst 3 seconds.
  void Terminate();

  /// The same as Terminate(): the last call of every exchange, after a failed
  /// ConnectTo() too.
  void Close();

 private:
  FAIRLEAD_PRIVATE std::int32_t RecvThread();
  FAIRLEAD_PRIVATE void StartRecvThread();
  FAIRLEAD_PRIVATE void WakeRecvThread();
  FAIRLEAD_PRIVATE bool ReceiveOnce(CTCPMessage& message,
                                    std::vector<fd_set>& readSet);
  FAIRLEAD_PRIVATE void Enqueue(CTCPMessage& message);
  FAIRLEAD_PRIVATE void CloseMainSock();

  std::condition_variable threadCv_;  // With stateMutex_: the thread has ended.
  std::thread recvThread_;            // Empty when none runs.
  NetClient peer_;                    // Set before the thread starts.
  std::atomic<std::int32_t> mainSock_ = 0;  // 0: none.
  std::atomic<bool> running_ =
      false;                       // Written under stateMutex_, once it runs.
  std::deque<CTCPMessage> queue_;  // Guarded by queueMutex; oldest first.

 public:
  /// Signalled when consumers should look at the queue; wait on it with
  /// `queueMutex`.
  std::condition_variable messageCv;

 private:
  std::atomic<std::int32_t> mainSockUses_ = 0;  // See CloseMainSock().
};

}  // namespace fairlead

#endif  // FAIRLEAD_NET_TCP_CLIENT_H_
