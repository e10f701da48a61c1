// Sends one line to a server and prints the reply:
//
//     exchange -host localhost -port 6379 -text PING
//
// A complete small client: it parses its arguments, resolves a name, connects,
// sends a line and waits at most five seconds for another. An Exchange does all
// of this, and the exit statuses are those of `fairlead send`. With -bare, a
// CTCPClient is used without it, which does not know why the server is gone: 18
// if a part of a line came, 52 if nothing did.

#include <arpa/inet.h>
#include <fairlead/fairlead.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

namespace {

struct Request {
  std::string host;
  std::uint16_t port;
  std::string line;
};

int StatusOf(const fairlead::ExchangeResult& result) {
  using End = fairlead::ExchangeEnd;
  using Phase = fairlead::ExchangePhase;
  if (result) return 0;
  if (result.end == End::kTimeOver) return 28;
  if (result.phase == Phase::kResolving) return 6;
  if (result.phase == Phase::kConnecting) return 7;
  if (result.end == End::kPeerReset) return 56;
  if (result.phase == Phase::kSending) return 55;
  if (result.end == End::kFailed) return 56;
  return result.received == 0 ? 52 : 18;
}

int AskWithExchange(const Request& request) {
  fairlead::ExchangeOptions options;
  options.limits.total = 5s;
  fairlead::Exchange exchange(options);
  const fairlead::ExchangeResult result =
      exchange.Run(request.host, request.port, request.line,
                   [](std::string_view bytes, const auto& /*received*/) {
                     std::fwrite(bytes.data(), 1, bytes.size(), stdout);
                     return bytes.find('\n') != std::string_view::npos;
                   });
  if (!result) std::fprintf(stderr, "%s\n", result.Text().c_str());
  return StatusOf(result);
}

// Fills in a message for the first address of the host.
bool MakeMessage(const Request& request, fairlead::CTCPMessage& message) {
  const std::vector<std::string> addresses =
      fairlead::resolveDnsFull(request.host);
  if (addresses.empty() || request.line.size() > sizeof message.data)
    return false;
  message.addr.sin_addr.s_addr = inet_addr(addresses.front().c_str());
  message.addr.sin_port = htons(request.port);
  std::copy(request.line.begin(), request.line.end(), message.data);
  message.len = static_cast<int>(request.line.size());
  return true;
}

// Prints what arrives up to the end of a line, and returns the exit status.
int PrintOneLine(fairlead::CTCPClient& client, Clock::time_point deadline) {
  int status = 52;
  while (Clock::now() < deadline && client.IsNotTerminated()) {
    while (client.MessagesCount() > 0) {
      const fairlead::CTCPMessage reply = client.PopMessage();
      const std::string_view text(reinterpret_cast<const char*>(reply.data),
                                  static_cast<std::size_t>(reply.len));
      std::printf("%.*s", reply.len, text.data());
      if (text.find('\n') != std::string_view::npos) return 0;
      status = 18;
    }
    // A notification sent before this wait is lost, so the wait is short.
    std::unique_lock lock(client.queueMutex);
    client.messageCv.wait_for(lock, 50ms);
  }
  return status;
}

int AskWithClient(const Request& request) {
  fairlead::silent = false;
  fairlead::CTCPMessage message;
  if (!MakeMessage(request, message)) return 6;

  fairlead::CTCPClient client;
  if (!client.ConnectTo(&message)) return 7;
  if (!client.SendMsg(&message)) return 55;
  const int status = PrintOneLine(client, Clock::now() + 5s);
  client.Close();
  return status;
}

}  // namespace

int main(int argc, char** argv) {
  const fairlead::CSimpleCmdLine args(argc, argv);
  const Request request = {
      .host = args.GetStrParam("host", "localhost"),
      .port = static_cast<std::uint16_t>(args.GetIntParam("port", 6379)),
      .line = args.GetStrParam("text", "PING") + "\r\n"};
  return args.PresentParam("bare") ? AskWithClient(request)
                                   : AskWithExchange(request);
}
