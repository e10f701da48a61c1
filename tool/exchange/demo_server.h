// The echo server of -demo, inside the process.

#ifndef FAIRLEAD_TOOL_EXCHANGE_DEMO_SERVER_H_
#define FAIRLEAD_TOOL_EXCHANGE_DEMO_SERVER_H_

#include <string>
#include <thread>

namespace fairlead::tool {

/// Serves one client on a free loopback port: sends the greeting, echoes until
/// the client sends no more if it is to, and closes. If accept(2) fails, the
/// client sees a reset.
class DemoServer {
 public:
  /// @throws Failure with kNotConnected if it cannot listen
  DemoServer(std::string greeting, bool echoes);
  DemoServer(const DemoServer&) = delete;
  DemoServer& operator=(const DemoServer&) = delete;

  /// Waits for the server's thread. Close the client's connection first.
  ~DemoServer();

  int port() const { return port_; }

 private:
  void Serve() const;

  const std::string greeting_;
  const bool echoes_;
  int listener_;
  int port_;
  std::thread thread_;  // Last: it starts when the rest is initialized.
};

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_EXCHANGE_DEMO_SERVER_H_
