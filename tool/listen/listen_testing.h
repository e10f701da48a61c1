// For tests of the command `listen`: a running server, and its peers.

#ifndef FAIRLEAD_TOOL_LISTEN_LISTEN_TESTING_H_
#define FAIRLEAD_TOOL_LISTEN_LISTEN_TESTING_H_

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <string_view>
#include <utility>

#include "tool/base/descriptor.h"
#include "tool/testing.h"

namespace fairlead::tool {

inline std::string ReadToEnd(int descriptor) {
  std::string text;
  for (char c = 0; read(descriptor, &c, 1) == 1;) text += c;
  return text;
}

inline std::string ReadLine(int descriptor) {
  std::string line;
  for (char c = 0; read(descriptor, &c, 1) == 1 && c != '\n';) line += c;
  return line;
}

// A running `fairlead listen -port 0`. Its standard error is a named pipe, so
// that its port can be read while it runs.
class ListenProcess {
 public:
  // @param prepare commands of the shell that starts it
  explicit ListenProcess(const Words& arguments,
                         const std::string& prepare = "",
                         const Launch& launch = {})
      : process_(Started(arguments, prepare, launch)),
        error_(OpenUninterrupted(path_.c_str(), O_RDONLY)),
        first_line_(ReadLine(error_.number())) {}

  const std::string& first_line() const { return first_line_; }
  int port() const {
    return std::stoi(first_line_.substr(first_line_.rfind(' ') + 1));
  }
  pid_t pid() const { return process_.pid(); }

  // Waits for the end. The error is what follows the first line.
  Outcome Wait() {
    std::string error = ReadToEnd(error_.number());
    Outcome outcome = process_.Wait();
    outcome.error = error;
    return outcome;
  }

 private:
  Launch Started(const Words& arguments, const std::string& prepare,
                 Launch launch) {
    EXPECT_EQ(mkfifo(path_.c_str(), 0600), 0);
    launch.program = "/bin/sh";
    launch.arguments =
        Words{"-c",     "exec 2>\"$0\"; " + prepare + "exec \"$@\"",
              path_,    Program(),
              "listen", "-port",
              "0"} +
        arguments;
    return launch;
  }

  const TempFolder folder_;
  const std::string path_ = folder_.path() + "/error";
  Process process_;
  const Descriptor error_;
  const std::string first_line_;
};

// A connection to the server.
class ListenPeer {
 public:
  explicit ListenPeer(const ListenProcess& server)
      : socket_(ConnectToPort(server.port())) {}
  ListenPeer(const ListenPeer&) = delete;
  ListenPeer& operator=(const ListenPeer&) = delete;
  ~ListenPeer() { Close(); }

  int socket() const { return socket_; }
  void Send(std::string_view bytes) const { SendAll(socket_, bytes); }
  std::string Get(std::size_t count) const { return Receive(socket_, count); }
  std::string GetAll() const { return ReceiveAll(socket_); }
  void EndSending() const { shutdown(socket_, SHUT_WR); }
  void Close() {
    if (socket_ != -1) close(std::exchange(socket_, -1));
  }

  // Returns what comes back of the bytes, when all of it has come.
  std::string Echoed(std::string_view bytes) const {
    Send(bytes);
    return Get(bytes.size());
  }

 private:
  int socket_;
};

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_LISTEN_LISTEN_TESTING_H_
