// A server inside the process, for -demo.

#ifndef FAIRLEAD_TOOL_EXCHANGE_DEMO_SERVER_H_
#define FAIRLEAD_TOOL_EXCHANGE_DEMO_SERVER_H_

#include <cstddef>
#include <string>
#include <thread>

namespace fairlead::tool {

/// Serves one client on a free loopback port: sends the greeting, echoes so
/// many bytes, and closes. Where the system does not let it accept the client,
/// the client sees a reset.
class DemoServer {
 public:
  /// @throws Failure with kNotConnected where no port can be had
  DemoServer(std::string greeting, std::size_t echoed);
  DemoServer(const DemoServer&) = delete;
  DemoServer& operator=(const DemoServer&) = delete;

  /// To be destroyed after the client's connection is closed, or was never
  /// made.
  ~DemoServer();

  int port() const { return port_; }

 private:
  void Serve() const;

  const std::string greeting_;
  const std::size_t echoed_;
  int listener_;
  int port_;
  std::thread thread_;  // Last: it starts when all else is there.
};

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_EXCHANGE_DEMO_SERVER_H_
