// The sending half of an exchange.

#include "fairlead/net/exchange_sender.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <memory>
#include <new>
#include <optional>
#include <system_error>
#include <utility>

#include "fairlead/base/blocked_signals.h"

namespace fairlead::internal {
namespace {

constexpr std::size_t kInputBuffer = std::size_t{64} << 10;

// Of a body, between two looks at whether to stop.
constexpr std::size_t kMaxPiece = std::size_t{256} << 10;

// Waits until a descriptor is ready for `events`, or has failed. Returns 0, the
// error, or ECANCELED if `stop` is readable.
int AwaitReady(int descriptor, short events, int stop, int timeout = -1) {
  std::array<pollfd, 2> files = {{{descriptor, events, 0}, {stop, POLLIN, 0}}};
  const int ready =
      Uninterrupted([&] { return poll(files.data(), files.size(), timeout); });
  if (ready == -1) return errno;
  if (files[1].revents != 0) return ECANCELED;
  return files[0].revents != 0 ? 0 : EAGAIN;
}

}  // namespace

ExchangeSender::ExchangeSender(ExchangeConnection& connection,
                               std::string_view body, bool half_close)
    : connection_(connection), half_close_(half_close) {
  if (!body.empty() && !SendPiece(body)) return;
  if (body.empty())
    Finish();
  else
    StartThread([this, body] {
      if (SendAll(body)) Finish();
    });
}

ExchangeSender::ExchangeSender(ExchangeConnection& connection,
                               const ExchangeInput& input, bool half_close)
    : connection_(connection), half_close_(half_close) {
  StartThread([this, &input] { SendInput(input); });
}

ExchangeSender::~ExchangeSender() { Stop(); }

bool ExchangeSender::StopWaiting() {
  Status waiting = Status::kWaitingForInput;
  return status_.compare_exchange_strong(waiting, Status::kStopped);
}

void ExchangeSender::Stop() {
  if (!thread_.joinable()) return;
  const std::uint64_t one = 1;
  // An event descriptor takes a first 1 always.
  [[maybe_unused]] const ssize_t written =
      write(stop_.number(), &one, sizeof(one));
  thread_.join();
}

template <typename Work>
void ExchangeSender::StartThread(Work work) {
  stop_.Reset(MoveAboveStandardStreams(eventfd(0, EFD_CLOEXEC)));
  if (!stop_.IsOpen()) {
    Fail(Status::kSendFailed, errno);
    return;
  }
  try {
    const BlockedSignals blocked(AllSignals());
    thread_ = std::thread(std::move(work));
  } catch (const std::system_error& error) {
    Fail(Status::kSendFailed, error.code().value());
  }
}

ExchangeSender::Progress ExchangeSender::progress() const {
  const std::uint32_t news = news_;  // Before the rest, which it announces.
  const Status status = status_;
  return {.status = status, .error = error_, .sent = sent_, .news = news};
}

// Sends what the system takes of a piece without waiting, and removes it from
// `bytes`. Returns false if the connection fails.
bool ExchangeSender::SendPiece(std::string_view& bytes) {
  const std::string_view piece = bytes.substr(0, kMaxPiece);
  const ssize_t sent = Uninterrupted([&] {
    return send(connection_.descriptor(), piece.data(), piece.size(),
                MSG_DONTWAIT | MSG_NOSIGNAL);
  });
  if (sent == -1 && errno == EAGAIN) return true;
  if (sent == -1) return Fail(Status::kSendFailed, errno);
  bytes.remove_prefix(static_cast<std::size_t>(sent));
  sent_ += static_cast<std::uint64_t>(sent);
  return true;
}

// Waits between the pieces, as the wait can be stopped.
bool ExchangeSender::SendAll(std::string_view bytes) {
  while (!bytes.empty()) {
    if (!SendPiece(bytes)) return false;
    if (!bytes.empty() && !AwaitPeer()) return false;
  }
  return true;
}

bool ExchangeSender::AwaitPeer() {
  const int error =
      AwaitReady(connection_.descriptor(), POLLOUT, stop_.number());
  if (error != 0) return Fail(Status::kSendFailed, error);
  return true;
}

void ExchangeSender::SendInput(const ExchangeInput& input) {
  const auto buffer = std::unique_ptr<char[]>(  // NOLINT(*-avoid-c-arrays)
      new (std::nothrow) char[kInputBuffer]);
  if (buffer == nullptr) {
    Fail(Status::kInputFailed, ENOMEM);
    return;
  }
  while (AwaitInput(input.descriptor)) {
    const ssize_t count = read(input.descriptor, buffer.get(), kInputBuffer);
    if (count == -1 && (errno == EINTR || errno == EAGAIN)) continue;
    if (count == -1) {
      Fail(Status::kInputFailed, errno);
      return;
    }
    const std::string_view read_now(buffer.get(),
                                    static_cast<std::size_t>(count));
    const std::optional<std::string_view> bytes =
        input.filter ? input.filter(read_now, count == 0) : read_now;
    if (!bytes) {
      Fail(Status::kInputFailed, ECANCELED);
      return;
    }
    if (!SendAll(*bytes)) return;
    if (count == 0) return Finish();
  }
}

// Says that the input has nothing to send only if that lasts: an input that is
// about as fast as the peer would wake the exchange's thread for each piece.
bool ExchangeSender::AwaitInput(int descriptor) {
  if (descriptor < 0) return Fail(Status::kInputFailed, EBADF);
  constexpr int kMoment = 1;  // In milliseconds.
  int error = AwaitReady(descriptor, POLLIN, stop_.number(), kMoment);
  if (error == EAGAIN) {
    Set(Status::kWaitingForInput);
    bool is_reset = false;
    error = AwaitInputOrReset(descriptor, is_reset);
    if (error == 0 && !EndWaiting()) return false;
    if (is_reset) return Fail(Status::kSendFailed, connection_.TakeError());
  }
  if (error != 0) return Fail(Status::kInputFailed, error);
  return true;
}

// Also returns when the connection fails after the receive thread has ended:
// nothing else would meet the reset of a peer that has closed. Before that, the
// receive thread meets it, in a moment. The system reports it once, so it is
// not taken here: the exchange may end first, and the next one must meet it.
int ExchangeSender::AwaitInputOrReset(int descriptor, bool& is_reset) {
  constexpr int kMoment = 10;  // In milliseconds.
  std::array<pollfd, 3> files = {{{descriptor, POLLIN, 0},
                                  {stop_.number(), POLLIN, 0},
                                  {connection_.descriptor(), 0, 0}}};
  const auto await = [&files](nfds_t watched, int timeout) {
    return Uninterrupted([&] { return poll(files.data(), watched, timeout); });
  };
  for (;;) {
    if (await(files.size(), -1) == -1) return errno;
    if (files[1].revents != 0) return ECANCELED;
    if (files[0].revents != 0) return 0;
    if (connection_.IsReceiving()) {
      if (await(2, kMoment) == -1) return errno;
      continue;
    }
    // It may have met the failure that ended the wait, so this looks again.
    is_reset = connection_.IsReady(POLLERR);
    if (is_reset) return 0;
    files[2].fd = -1;  // The receive thread has met it.
  }
}

// Returns false if StopWaiting() came first.
bool ExchangeSender::EndWaiting() {
  Status waiting = Status::kWaitingForInput;
  if (!status_.compare_exchange_strong(waiting, Status::kSending)) return false;
  TellNews();
  return true;
}

void ExchangeSender::Finish() {
  const int error = half_close_ ? connection_.FinishSending() : 0;
  if (error != 0)
    Fail(Status::kSendFailed, error);
  else
    Set(Status::kDone);
}

bool ExchangeSender::Fail(Status status, int error) {
  error_ = error;
  Set(status);
  return false;
}

void ExchangeSender::Set(Status status) {
  status_ = status;
  TellNews();
}

void ExchangeSender::TellNews() {
  ++news_;
  connection_.buffer().Notify();
}

}  // namespace fairlead::internal
