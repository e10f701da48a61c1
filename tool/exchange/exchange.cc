// Connects to a peer, sends a body and prints what is received.

#include "tool/exchange/exchange.h"

#include <arpa/inet.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <iterator>
#include <mutex>
#include <system_error>
#include <vector>

#include "fairlead/net/resolve.h"
#include "tool/base/concat.h"
#include "tool/base/escapes.h"
#include "tool/base/failure.h"
#include "tool/command/command.h"
#include "tool/exchange/view.h"
#include "tool/io/progress.h"

namespace fairlead::tool {
namespace {

using std::chrono::steady_clock;

constexpr std::size_t kMaxMessage = sizeof CTCPMessage::data;

// A notification can be sent just before the wait starts, so waits are short.
constexpr std::chrono::milliseconds kWait{20};

// How long data that a peer sent before it closed may take to reach the queue.
constexpr std::chrono::seconds kMaxDrainAfterError{2};

std::string HowMuch(std::size_t sent, std::size_t total) {
  return Concat(sent, " of ", total, " bytes");
}

// Returns why a send failed. Without an error number, the socket was closed, or
// only a part of the message fitted into its buffer.
std::string Cause(int error, bool open) {
  if (error == EAGAIN) return "the peer did not read for 2 seconds";
  if (error != 0) return ErrorText(error);
  return open ? "the peer did not read all of a message for 2 seconds"
              : "the peer has closed";
}

// Returns the first IPv4 address of the host. With `silent` the library ends
// the process instead of failing.
std::string Resolve(const std::string& host) {
  const std::vector<std::string> addresses = resolveDnsFull(host);
  if (addresses.empty())
    throw Failure(kNotResolved,
                  Concat("no IPv4 address is known for ", Quoted(host)));
  return addresses.front();
}

}  // namespace

ExchangeSettings ReadSettings(const Arguments<kExchangeUses>& arguments) {
  return {.command = std::string(TopName(arguments.parsed().command())),
          .host = {},
          .timeout = arguments.Duration(kTimeout),
          .idle = arguments.Duration(kIdle),
          .limits = {.messages = arguments.Number(kMessages),
                     .bytes = arguments.Number(kBytes),
                     .lines = arguments.Number(kLines),
                     .until = Unescaped(arguments.Text(kUntil), kUntil.name)},
          .view = arguments.Chosen<View>(kView),
          .quiet = arguments.Has(kQuiet),
          .cipher = {}};
}

void ApplyQuiet(bool quiet) {
  SetQuiet(quiet);
  silent = quiet;
}

Exchange::Exchange(const ExchangeSettings& settings, TimeLimit& limit,
                   const Output& output, ExchangeLog* log)
    : settings_(settings),
      limit_(limit),
      output_(output),
      log_(log),
      rules_(settings.limits) {
  if (settings.cipher)
    decryption_.emplace(*settings.cipher, Direction::kDecrypt);
}

void Exchange::Log(std::string_view event) {
  if (log_ != nullptr) log_->Add(event);
}

void Exchange::Connect() {
  limit_.Enter(Concat("resolving ", Quoted(settings_.host)));
  Log(Concat("resolving ", Shown(settings_.host)));
  const std::string address = Resolve(settings_.host);
  Log(Concat("resolved ", Shown(settings_.host), ": ", address));
  const std::string place = Concat(address, " port ", settings_.port);

  limit_.Enter(Concat("connecting to ", place));
  NetClient endpoint;
  endpoint.addr.sin_addr.s_addr = inet_addr(address.c_str());
  endpoint.addr.sin_port = htons(static_cast<std::uint16_t>(settings_.port));
  try {
    if (!client_.ConnectTo(&endpoint))
      throw Failure(kNotConnected, Concat("cannot connect to ", place, ": ",
                                          ErrorText(errno)));
  } catch (const std::system_error& error) {
    throw Failure(kReceivingFailed,
                  Concat("receiving cannot begin: ", error.what()));
  }
  Log(Concat("connected to ", address, ":", settings_.port));
}

void Exchange::Send(std::string_view body) {
  CTCPMessage message;
  Progress progress(body.size());
  while (sent_ < body.size()) {
    limit_.Enter(Concat("sending: ", HowMuch(sent_, body.size())));
    const std::string_view part = body.substr(sent_, kMaxMessage);
    std::ranges::copy(part, message.data);
    message.len = static_cast<int>(part.size());
    errno = 0;
    if (!client_.SendMsg(&message)) FailToSend(sent_, body.size());
    sent_ += part.size();
    if (body.size() > kMaxMessage) progress.Show(sent_);
  }
  Log(Concat("sent ", sent_, " bytes"));
}

// Prints first what the peer has sent, which may contain the reason. If the
// peer is gone, the receive thread soon has the last of it and closes.
void Exchange::FailToSend(std::size_t sent, std::size_t total) {
  const int error = errno;
  const bool open = IsOpen();
  const auto latest = steady_clock::now() + kMaxDrainAfterError;
  if (error == EPIPE || error == ECONNRESET)
    while (IsOpen() && steady_clock::now() < latest) AwaitMessage();
  TakeQueue();
  throw Failure(
      kSendingFailed,
      Concat("sending failed after ", HowMuch(sent, total), ": ",
             Cause(error, open), "; up to ",
             std::min(total - sent, kMaxMessage), " more may have been sent"));
}

// Asking for the connection's state before reading the queue ensures that
// nothing is lost: what came before the close is then in the queue.
void Exchange::Drain() {
  limit_.Enter("waiting for the peer");
  auto last = steady_clock::now();
  while (true) {
    const bool open = IsOpen();
    const std::size_t before = received_;
    enough_ = TakeQueue();
    if (enough_)
      return EndDraining("enough was received",
                         "stopped because enough was received");
    if (!open) {
      cut_off_ = reset_;
      return reset_ ? EndDraining("the peer reset the connection",
                                  "reset by the peer")
                    : EndDraining("the peer closed", "closed by the peer");
    }
    if (received_ > before) {
      last = steady_clock::now();
      continue;
    }
    if (settings_.idle && steady_clock::now() - last >= *settings_.idle)
      return EndDraining("the peer was silent",
                         "stopped because the peer was silent");
    AwaitMessage();
  }
}

void Exchange::EndDraining(std::string_view ending, std::string_view event) {
  ending_ = ending;
  Log(event);
}

// Prints what is in the queue until a stop rule is met; returns whether one is.
bool Exchange::TakeQueue() {
  while (client_.MessagesCount() > 0) {
    const CTCPMessage message = client_.PopMessage();
    Log(Concat("received ", message.len, " bytes"));
    received_ += BodyOf(message).size();
    if (Take(BodyOf(message), message.time)) return true;
  }
  return false;
}

// Prints and counts what was received, decrypted as far as there are whole
// blocks. Returns whether a stop rule is met.
bool Exchange::Take(std::string_view bytes, const TheTime& time) {
  if (decryption_) bytes = decryption_->Take(bytes);
  if (bytes.empty()) return false;
  const bool raw = settings_.view == View::kRaw && !output_.screen().terminal;
  if (raw)
    output_.Write(bytes);
  else
    output_.Write(Rendered(bytes, time, settings_.view, output_.screen()));
  return rules_.Take(bytes);
}

std::size_t Exchange::Undecrypted() const {
  return decryption_ ? decryption_->waiting() : 0;
}

// An empty message can be sent until the receive thread has seen the end and
// closed the socket. An error of the socket alone is not the end: data that
// came before it may still be on its way to the queue. The system reports a
// reset once; if the receive thread sees it first, it looks like a close.
bool Exchange::IsOpen() {
  static const CTCPMessage kEmpty{};
  errno = 0;
  const bool sent = client_.SendMsg(&kEmpty);
  const int error = sent ? 0 : errno;
  if (error == ECONNRESET) reset_ = true;
  if (error != 0 && log_ != nullptr)
    log_->Warn(Concat("the socket reports: ", ErrorText(error)));
  return sent || error != 0;
}

void Exchange::AwaitMessage() {
  std::unique_lock lock(client_.queueMutex);
  client_.messageCv.wait_for(lock, kWait);
}

void Exchange::Close() {
  client_.Close();
  Log(Concat("closed: ", sent_, " bytes sent, ", received_, " received"));
  PrintNote(settings_.command,
            Concat(sent_, " bytes sent, ", received_, " received; ", ending_));
  if (enough_ && Undecrypted() > 0)
    PrintNote(settings_.command,
              Concat("discarded ", Undecrypted(),
                     " trailing bytes of an incomplete cipher block"));
}

void Exchange::CheckOutcome() const {
  if (cut_off_)
    throw Failure(kReceivingFailed,
                  "receiving failed: the peer reset the connection; what came "
                  "before is printed");
  if (received_ == 0)
    throw Failure(kNothingAnswered, Concat("nothing was answered: ", ending_));
  if (!enough_ && Undecrypted() > 0)
    throw Failure(
        kReceivingFailed,
        Concat("receiving failed: the last ", Undecrypted(),
               " bytes are an incomplete block of ", CipherStream::kBlock,
               ", which AES cannot decrypt; ", ending_));
  if (rules_.UntilIsMissing())
    throw Failure(kAnswerIsNo,
                  Concat("the text of -until did not come: ", ending_));
}

}  // namespace fairlead::tool
