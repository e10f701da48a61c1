// The echo server of -demo, inside the process.

#ifndef FAIRLEAD_TOOL_EXCHANGE_DEMO_SERVER_H_
#define FAIRLEAD_TOOL_EXCHANGE_DEMO_SERVER_H_

#include <cstddef>
#include <string>
#include <thread>

#include "tool/base/descriptor.h"
#include "tool/listen/listener.h"

namespace fairlead::tool {

/// Serves clients on a free loopback port: sends each the greeting, echoes up
/// to `echoed` bytes until the client sends no more, and closes. If accept(2)
/// fails, the client sees a reset.
class DemoServer {
 public:
  /// @throws Failure with kNotConnected if it cannot listen
  ///
  /// @param count how many clients it serves; it refuses later ones
  DemoServer(std::string greeting, std::size_t echoed, std::size_t count = 1);
  DemoServer(const DemoServer&) = delete;
  DemoServer& operator=(const DemoServer&) = delete;

  /// Ends the service, and the connection.
  ~DemoServer();

  int port() const { return listener_.port(); }

 private:
  void Serve();

  Listener listener_;
  const Descriptor stop_;  // An eventfd.
  std::thread thread_;     // Last: it starts when the rest is initialized.
};

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_EXCHANGE_DEMO_SERVER_H_
