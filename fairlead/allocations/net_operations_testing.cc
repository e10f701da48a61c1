// For the test of allocations: logs, names, clients and exchanges.

#include <netdb.h>

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "fairlead/allocations/allocations_testing.h"
#include "fairlead/allocations/operations_testing.h"
#include "fairlead/log/log.h"
#include "fairlead/log/only_once.h"
#include "fairlead/net/exchange.h"
#include "fairlead/net/exchange_testing.h"
#include "fairlead/net/host_lookup.h"
#include "fairlead/net/loopback_testing.h"
#include "fairlead/net/resolve.h"
#include "fairlead/net/stop_rules.h"
#include "fairlead/net/tcp_client.h"

namespace fairlead::internal::net_operations {
namespace {

const Operation kLogs[] = {
    {"ConstructLog",
     {"CLog::CLog(std::vector<std::string> const&)", "CLog::~CLog()"},
     [](const TempFolder& folder) {
       const std::vector<std::string> names = {folder.Path("no/such/folder"),
                                               folder.Path("a.log")};
       return Prepared{[names] {
         const CLog log(names);
         return "done";
       }};
     },
     Memory::kNone},
    {"WriteToLog",
     {"CLog::CLog(std::string const&, bool)",
      "operator<<(CLog&, std::string const&)"},
     [](const TempFolder& folder) {
       const std::string path = folder.Path("a.log");
       const auto log = std::make_shared<CLog>(path, true);
       *log << "old\n";
       return Prepared{[log] {
         *log << kNew + "\n";
         return "done";
       }};
     }},
};

template <typename Function>
std::function<Prepared(const TempFolder&)> OnTracker(COnlyMode mode,
                                                     Function function) {
  return [mode, function](const TempFolder&) {
    const auto once = std::make_shared<COnlyOnce>(mode);
    once->Start(kKey, 3600);
    return Prepared{[function, once] { return function(*once); }};
  };
}

const Operation kTrackers[] = {
    {"StartForSeconds",
     {"COnlyOnce::Start(std::string_view, int)"},
     OnTracker(OnceThrottle,
               [](COnlyOnce& once) {
                 int first = 0;
                 for (int i = 0; i < 40; ++i)
                   first += once.Start(kNew + std::to_string(i), 3600) ? 1 : 0;
                 return first <= 40 && !once.Start(kKey, 3600) ? "tracked" : "";
               })},
    {"StartForAFraction",
     {"COnlyOnce::Start(std::string_view, double)"},
     OnTracker(OnceThrottle,
               [](COnlyOnce& once) {
                 return once.Start(kNew, 3600.5) ? "first" : "";
               })},
    {"UpdateAWave",
     {"COnlyOnce::Update(std::string_view)",
      "COnlyOnce::IgnoreWave(std::string_view)"},
     OnTracker(OnceWaveStart,
               [](COnlyOnce& once) {
                 once.Update(kNew);
                 once.IgnoreWave(kValue);
                 return "done";
               })},
};

const Operation kNames[] = {
    {"Resolve",
     {"resolveDnsFull(std::string const&)"},
     Call([] {
       const std::vector<std::string> all = resolveDnsFull("127.0.0.1");
       return all.empty() ? std::string("none") : all[0];
     }),
     Memory::kTaken,
     {"none"}},
    {"LookUp",
     {"LookUpHost(std::string const&, std::optional<std::chrono::duration<"
      "long, std::ratio<1l, 1000l>>>)"},
     Call([] {
       const HostLookup found =
           LookUpHost("localhost", std::chrono::seconds(60));
       // The system's resolver has other errors, too, for a lack of memory.
       if (found.error != 0) return std::string("not found");
       return found.addresses.empty() ? std::string("none")
                                      : found.addresses[0];
     }),
     Memory::kTaken,
     {"not found"}},
    {"Sleep",
     {"sleep_ms(int)"},
     Call([] {
       sleep_ms(0);
       return "done";
     }),
     Memory::kNone},
    {"StopRules",
     {"StopRules::StopRules(StopLimits)", "StopRules::Take(std::string_view)",
      "StopRules::TakePart(std::string_view)", "StopRules::IsMet() const",
      "StopRules::Missing() const"},
     Call([] {
       StopRules rules({.bytes = 1000, .until = kNew});
       const bool met =
           rules.Take(kValue) || rules.TakePart(kValue) || rules.IsMet();
       return met ? "met" : rules.Missing();
     })},
    {"ResultText", {"ExchangeResult::Text() const"}, Call([] {
       return ExchangeResult{.end = ExchangeEnd::kFailed,
                             .error = EAI_NONAME,
                             .address = "127.0.0.1"}
           .Text();
     })},
};

// Serves one connection after another, as another process would: its
// allocations never fail.
std::shared_ptr<SerialServer> MakeServer() {
  return std::make_shared<SerialServer>([](Socket& peer) {
    BePeer();
    if (peer.Receive(4) == "ping") peer.Send("pong, and more than is expected");
    peer.ReceiveEnd();
  });
}

NetClient EndpointOf(const SerialServer& server) {
  NetClient endpoint;
  endpoint.addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  endpoint.addr.sin_port = htons(server.port());
  return endpoint;
}

// The receive thread may end where it is short of memory.
std::string Talk(const NetClient& endpoint) {
  CTCPClient client;
  if (!client.ConnectTo(&endpoint)) return "not connected";
  const CTCPMessage request = MessageOf("ping");
  if (!client.SendMsg(&request)) return "not sent";
  const CTCPMessage nothing;
  WaitUntil(client, [&] {
    return client.MessagesCount() > 0 || !client.SendMsg(&nothing);
  });
  if (client.MessagesCount() == 0) return "not received";
  const std::string body = BodyOf(client.PopMessage());
  client.Terminate();
  client.Close();
  return client.IsNotTerminated() ? body : "terminated";
}

// A turn with a body. Both ends are given time without a limit.
template <typename Function>
std::function<Prepared(const TempFolder&)> WithExchange(Function function) {
  return [function](const TempFolder&) {
    const auto server = MakeServer();
    return Prepared{[function, server]() -> std::string {
      const ExchangeResult result = function(server->port());
      if (result || result.end == ExchangeEnd::kPeerClosed) return "done";
      const bool short_of_memory =
          result.end == ExchangeEnd::kFailed &&
          (result.phase == ExchangePhase::kResolving || result.error == ENOMEM);
      return short_of_memory ? "short of memory" : result.Text();
    }};
  };
}

bool TakeFour(std::string_view bytes, const TheTime& /*received*/) {
  return bytes.size() >= 4;
}

const Operation kConnections[] = {
    {"Client",
     {"CTCPClient::CTCPClient()", "CTCPClient::~CTCPClient()",
      "CTCPClient::ConnectTo(NetClient const*)",
      "CTCPClient::SendMsg(CTCPMessage const*)",
      "CTCPClient::MessagesCount() const", "CTCPClient::PopMessage()",
      "CTCPClient::IsNotTerminated() const", "CTCPClient::Terminate()",
      "CTCPClient::Close()"},
     [](const TempFolder&) {
       const auto server = MakeServer();
       const NetClient endpoint = EndpointOf(*server);
       return Prepared{[server, endpoint] { return Talk(endpoint); }};
     },
     Memory::kTaken,
     {"not connected", "not sent", "not received"}},
    {"CreateMainSock", {"CTCPClient::CreateMainSock()"}, Call([] {
       return CTCPClient().CreateMainSock() ? "made" : "";
     })},
    {"Exchange",
     {"Exchange::Exchange(ExchangeOptions)", "Exchange::~Exchange()",
      "Exchange::Exchange(Exchange&&)", "Exchange::operator=(Exchange&&)",
      "Exchange::Connect(std::string const&, unsigned short)",
      "Exchange::Converse(std::string_view, std::function<bool "
      "(std::string_view, TheTime const&)> const&)",
      "Exchange::Close()"},
     WithExchange([](std::uint16_t port) {
       Exchange first({.limits = kPatient});
       Exchange exchange(std::move(first));
       ExchangeResult result = exchange.Connect("127.0.0.1", port);
       if (result) result = exchange.Converse("ping", TakeFour);
       first = std::move(exchange);
       first.Close();
       return result;
     }),
     Memory::kTaken,
     {"short of memory"}},
    {"ExchangeWithInput",
     {"Exchange::Converse(ExchangeInput const&, std::function<bool "
      "(std::string_view, TheTime const&)> const&)"},
     WithExchange([](std::uint16_t port) {
       const Pipe input;
       input.Write("ping");
       Exchange exchange({.limits = kPatient});
       ExchangeResult result = exchange.Connect("127.0.0.1", port);
       if (result)
         result = exchange.Converse(ExchangeInput{.descriptor = input.ends[0]},
                                    TakeFour);
       return result;
     }),
     Memory::kTaken,
     {"short of memory"}},
    {"RunExchange",
     {"Exchange::Run(std::string const&, unsigned short, std::string_view, "
      "std::function<bool (std::string_view, TheTime const&)> const&)"},
     WithExchange([](std::uint16_t port) {
       return Exchange({.limits = kPatient})
           .Run("127.0.0.1", port, "ping", TakeFour);
     }),
     Memory::kTaken,
     {"short of memory"}},
};

}  // namespace

static std::vector<Operation> All() {
  std::vector<Operation> all(std::begin(kLogs), std::end(kLogs));
  all.insert(all.end(), std::begin(kTrackers), std::end(kTrackers));
  all.insert(all.end(), std::begin(kNames), std::end(kNames));
  all.insert(all.end(), std::begin(kConnections), std::end(kConnections));
  return all;
}

}  // namespace fairlead::internal::net_operations

namespace fairlead::internal {
const std::vector<Operation> kNetOperations = net_operations::All();
}  // namespace fairlead::internal
