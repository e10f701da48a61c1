// Sends one line to a server and prints the reply:
//
//     exchange -host localhost -port 6379 -text PING
//
// A complete small client: it parses its arguments, resolves a name, connects,
// sends a message and waits at most five seconds for a line. Its exit statuses
// are those of `fairlead send`.

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

// Fills in a message with a line for the first address of the host.
bool MakeMessage(const fairlead::CSimpleCmdLine& args,
                 fairlead::CTCPMessage& message) {
  const std::vector<std::string> addresses =
      fairlead::resolveDnsFull(args.GetStrParam("host", "localhost"));
  const std::string line = args.GetStrParam("text", "PING") + "\r\n";
  if (addresses.empty() || line.size() > sizeof message.data) return false;

  message.addr.sin_addr.s_addr = inet_addr(addresses.front().c_str());
  message.addr.sin_port =
      htons(static_cast<std::uint16_t>(args.GetIntParam("port", 6379)));
  std::copy(line.begin(), line.end(), message.data);
  message.len = static_cast<int>(line.size());
  return true;
}

// Prints what arrives up to the end of a line. Returns false if none ends.
bool PrintOneLine(fairlead::CTCPClient& client, Clock::time_point deadline) {
  while (Clock::now() < deadline && client.IsNotTerminated()) {
    while (client.MessagesCount() > 0) {
      const fairlead::CTCPMessage reply = client.PopMessage();
      const std::string_view text(reinterpret_cast<const char*>(reply.data),
                                  static_cast<std::size_t>(reply.len));
      std::printf("%.*s", reply.len, text.data());
      if (text.find('\n') != std::string_view::npos) return true;
    }
    // A notification sent before this wait is lost, so the wait is short.
    std::unique_lock lock(client.queueMutex);
    client.messageCv.wait_for(lock, 50ms);
  }
  return false;
}

}  // namespace

int main(int argc, char** argv) {
  fairlead::silent = false;
  const fairlead::CSimpleCmdLine args(argc, argv);
  fairlead::CTCPMessage request;
  if (!MakeMessage(args, request)) return 6;

  fairlead::CTCPClient client;
  if (!client.ConnectTo(&request)) return 7;
  if (!client.SendMsg(&request)) return 55;
  const bool answered = PrintOneLine(client, Clock::now() + 5s);
  client.Close();
  return answered ? 0 : 52;
}
