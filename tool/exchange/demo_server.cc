// The server of -demo, on a thread of this process.

#include "tool/exchange/demo_server.h"

#include <netinet/in.h>
#include <sys/eventfd.h>

#include <cerrno>
#include <exception>
#include <system_error>
#include <utility>

#include "tool/base/concat.h"
#include "tool/base/failure.h"

namespace fairlead::tool {
namespace {

[[noreturn]] void FailToServe(int error) {
  throw Failure(kNotConnected,
                Concat("the demo server cannot listen: ", ErrorText(error)));
}

Listener Opened(ListenerSettings settings) try {
  return Listener({.s_addr = htonl(INADDR_LOOPBACK)}, 0, std::move(settings));
} catch (const std::system_error& error) {
  FailToServe(error.code().value());
}

int NewEvent() {
  const int event = eventfd(0, EFD_CLOEXEC);
  if (event == -1) FailToServe(errno);
  return event;
}

}  // namespace

DemoServer::DemoServer(std::string greeting, std::size_t echoed,
                       std::size_t count)
    : listener_(Opened({.reply = Reply(std::move(greeting)),
                        .echo = true,
                        .bytes = echoed,
                        .count = count})),
      stop_(NewEvent()),
      thread_([this] { Serve(); }) {}

DemoServer::~DemoServer() {
  eventfd_write(stop_.number(), 1);
  thread_.join();
}

// A client that cannot be served would wait forever, so it is reset.
void DemoServer::Serve() {
  try {
    ListenerEvents events;
    listener_.Serve(events, stop_.number());
  } catch (const std::exception&) {
    listener_.Abandon();
  }
}

}  // namespace fairlead::tool
