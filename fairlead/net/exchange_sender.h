// The sending half of an exchange: a body or an input, on a thread of its own
// if that must wait. Not installed.

#ifndef FAIRLEAD_NET_EXCHANGE_SENDER_H_
#define FAIRLEAD_NET_EXCHANGE_SENDER_H_

#include <atomic>
#include <cstdint>
#include <string_view>
#include <thread>

#include "fairlead/base/descriptor.h"
#include "fairlead/net/exchange.h"
#include "fairlead/net/exchange_connection.h"

namespace fairlead::internal {

class ExchangeSender {
 public:
  enum class Status {
    kSending,
    kWaitingForInput,
    kDone,
    kSendFailed,
    kInputFailed,
    kStopped,
  };

  struct Progress {
    Status status;
    int error;           // Of a failure.
    std::uint64_t sent;  // In bytes.
    std::uint32_t news;  // How often the status has changed.
  };

  // Sends the body; what the system does not take at once, a thread sends.
  ExchangeSender(ExchangeConnection& connection, std::string_view body,
                 bool half_close);

  // Sends what comes from the input, on a thread.
  ExchangeSender(ExchangeConnection& connection, const ExchangeInput& input,
                 bool half_close);

  ~ExchangeSender();  // Calls Stop().
  ExchangeSender(const ExchangeSender&) = delete;
  ExchangeSender& operator=(const ExchangeSender&) = delete;

  Progress progress() const;

  // Ends a wait for the input: what comes later stays there. Returns false if
  // something has come before.
  bool StopWaiting();

  // Ends the thread, wherever it is; progress() is final then.
  void Stop();

  // Returns whether the status has changed since. That wakes the exchange's
  // thread; to count what is sent, it must look.
  bool HasChanged(const Progress& since) const { return news_ != since.news; }

 private:
  template <typename Work>
  void StartThread(Work work);
  bool SendPiece(std::string_view& bytes);
  bool SendAll(std::string_view bytes);
  void SendInput(const ExchangeInput& input);
  bool AwaitInput(int descriptor);
  int AwaitInputOrReset(int descriptor, bool& is_reset);
  bool EndWaiting();
  void Finish();
  bool AwaitPeer();
  bool Fail(Status status, int error);
  void Set(Status status);
  void TellNews();

  ExchangeConnection& connection_;
  const bool half_close_;
  std::atomic<Status> status_ = Status::kSending;
  std::atomic<int> error_ = 0;
  std::atomic<std::uint64_t> sent_ = 0;
  std::atomic<std::uint32_t> news_ = 0;  // Changed last of all.
  Descriptor stop_;                      // Readable once the thread must end.
  std::thread thread_;
};

}  // namespace fairlead::internal

#endif  // FAIRLEAD_NET_EXCHANGE_SENDER_H_
