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
#include "tool/command/parameters.h"
#include "tool/exchange/view.h"
#include "tool/io/progress.h"

namespace fairlead::tool {
namespace {

using std::chrono::steady_clock;

constexpr std::size_t kLargestMessage = sizeof CTCPMessage::data;

// A wake-up may come just before the wait for it, so none is long.
constexpr std::chrono::milliseconds kWait{20};

// How long what a peer said before it went may take to the queue.
constexpr std::chrono::seconds kLongestFarewell{2};

std::string HowMuch(std::size_t sent, std::size_t total) {
  return Concat(sent, " of ", total, " bytes went out");
}

// Why a send failed. No error means that there was no socket any more, or that
// a part of the message found room and the rest did not.
std::string Cause(int error, bool open) {
  if (error == EAGAIN) return "the peer did not read for 2 seconds";
  if (error != 0) return ErrorText(error);
  return open ? "the peer did not read all of a message for 2 seconds"
              : "the peer has closed";
}

void CheckWhere(const Arguments& arguments, const Profile& profile) {
  if (arguments.Has(kDemo)) {
    if (arguments.Has(kHost) || arguments.Has(kPort))
      throw Failure(kWrongUsage, "-demo takes the place of -host and -port");
    return;
  }
  for (const Parameter& needed : {kHost, kPort})
    if (!profile.Has(needed))
      throw Failure(kWrongUsage, Concat(Spelling(needed),
                                        " is missing (or -demo, for a server "
                                        "inside the process)"));
}

}  // namespace

Settings ReadSettings(const Arguments& arguments, const Profile& profile) {
  CheckWhere(arguments, profile);
  silent = arguments.Has(kQuiet);
  return {.command = std::string(arguments.command().name),
          .host = arguments.Has(kDemo) ? "127.0.0.1" : profile.Text(kHost),
          .port = arguments.Has(kDemo) ? 0 : profile.Number(kPort),
          .timeout = profile.Number(kTimeout),
          .idle = profile.Number(kIdle),
          .limits = {.messages = arguments.Number(kMessages),
                     .bytes = arguments.Number(kBytes),
                     .lines = arguments.Number(kLines),
                     .until = Unescaped(arguments.Text(kUntil), kUntil.name)},
          .view = profile.Text(kView),
          .cipher = {}};
}

std::string Resolve(const std::string& host) {
  const std::vector<std::string> addresses = resolveDnsFull(host);
  if (addresses.empty())
    throw Failure(kNotResolved,
                  Concat("no IPv4 address is known for ", Quoted(host)));
  return addresses.front();
}

Exchange::Exchange(const Settings& settings, TimeLimit& limit,
                   const Output& output, ExchangeLog& log)
    : settings_(settings),
      limit_(limit),
      output_(output),
      log_(log),
      rules_(settings.limits) {
  if (settings.cipher) decipher_.emplace(*settings.cipher, Direction::kDecrypt);
}

void Exchange::Connect() {
  limit_.Enter(Concat("resolving ", Quoted(settings_.host)));
  log_.Add(Concat("resolving ", Shown(settings_.host)));
  const std::string address = Resolve(settings_.host);
  log_.Add(Concat("resolved ", Shown(settings_.host), ": ", address));
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
  log_.Add(Concat("connected to ", address, ":", settings_.port));
}

void Exchange::Send(std::string_view body) {
  CTCPMessage message;
  Progress progress(body.size());
  while (sent_ < body.size()) {
    limit_.Enter(Concat("sending: ", HowMuch(sent_, body.size())));
    const std::string_view part = body.substr(sent_, kLargestMessage);
    std::ranges::copy(part, message.data);
    message.len = static_cast<int>(part.size());
    errno = 0;
    if (!client_.SendMsg(&message)) FailToSend(sent_, body.size());
    sent_ += part.size();
    if (body.size() > kLargestMessage) progress.Show(sent_);
  }
  log_.Add(Concat("sent ", sent_, " bytes"));
}

// What the peer has said before is shown first: it may say why. Where the peer
// is gone, the receive thread soon has the last of it, and lets go.
void Exchange::FailToSend(std::size_t sent, std::size_t total) {
  const int error = errno;
  const bool open = IsOpen();
  const auto latest = steady_clock::now() + kLongestFarewell;
  if (error == EPIPE || error == ECONNRESET)
    while (IsOpen() && steady_clock::now() < latest) AwaitMessage();
  TakeQueue();
  throw Failure(kSendingFailed,
                Concat("sending failed, ", Cause(error, open), ": ",
                       HowMuch(sent, total), ", perhaps a part of the next ",
                       std::min(total - sent, kLargestMessage)));
}

// Whether the peer is asked before the queue is looked at decides that nothing
// is lost: what came before it closed is then in the queue.
void Exchange::Drain() {
  limit_.Enter("waiting for the peer");
  const std::chrono::seconds idle(settings_.idle);
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
    if (steady_clock::now() - last >= idle)
      return EndDraining("the peer was silent",
                         "stopped because the peer was silent");
    AwaitMessage();
  }
}

void Exchange::EndDraining(std::string_view ending, std::string_view event) {
  ending_ = ending;
  log_.Add(event);
}

// Shows what is in the queue, up to where a rule is fulfilled; true if one is.
bool Exchange::TakeQueue() {
  while (client_.MessagesCount() > 0) {
    const CTCPMessage message = client_.PopMessage();
    log_.Add(Concat("received ", message.len, " bytes"));
    received_ += BodyOf(message).size();
    if (Take(BodyOf(message), message.time)) return true;
  }
  return false;
}

// Shows what was received, deciphered as far as there are whole blocks, and
// counts it; true where a rule is fulfilled.
bool Exchange::Take(std::string_view bytes, const TheTime& time) {
  if (decipher_) bytes = decipher_->Take(bytes);
  if (bytes.empty()) return false;
  const bool raw = settings_.view == "raw" && !output_.screen().terminal;
  if (raw)
    output_.Write(bytes);
  else
    output_.Write(Rendered(bytes, time, settings_.view, output_.screen()));
  return rules_.Take(bytes);
}

std::size_t Exchange::Undeciphered() const {
  return decipher_ ? decipher_->waiting() : 0;
}

// A message of no bytes can be sent until the receive thread has seen the end
// and let go of the socket. An error of the socket itself is not yet that: what
// came before it may still be on its way to the queue. A reset is told once, to
// whoever asks first; where the receive thread does, it looks like a close.
bool Exchange::IsOpen() {
  static const CTCPMessage kEmpty{};
  errno = 0;
  const bool sent = client_.SendMsg(&kEmpty);
  const int error = sent ? 0 : errno;
  if (error == ECONNRESET) reset_ = true;
  if (error != 0) log_.Warn(Concat("the socket reports: ", ErrorText(error)));
  return sent || error != 0;
}

void Exchange::AwaitMessage() {
  std::unique_lock lock(client_.queueMutex);
  client_.messageCv.wait_for(lock, kWait);
}

void Exchange::Close() {
  client_.Close();
  log_.Add(Concat("closed: ", sent_, " bytes sent, ", received_, " received"));
  Tell(settings_.command,
       Concat(sent_, " bytes sent, ", received_, " received; ", ending_));
  if (enough_ && Undeciphered() > 0)
    Tell(settings_.command, Concat("of a block that has not come whole, ",
                                   Undeciphered(), " bytes are left out"));
}

void Exchange::Judge() const {
  if (cut_off_)
    throw Failure(kReceivingFailed,
                  "receiving failed: the peer reset the connection; what came "
                  "before is printed");
  if (received_ == 0)
    throw Failure(kNothingAnswered, Concat("nothing was answered: ", ending_));
  if (!enough_ && Undeciphered() > 0)
    throw Failure(
        kReceivingFailed,
        Concat("receiving failed: ", Undeciphered(),
               " bytes at the end are no whole block of ", CipherStream::kBlock,
               ", and AES cannot decipher ", "them; ", ending_));
  if (rules_.UntilIsMissing())
    throw Failure(kAnswerIsNo,
                  Concat("the text of -until did not come: ", ending_));
}

}  // namespace fairlead::tool
