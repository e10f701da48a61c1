// For the tests: the command as a process, and servers to exchange with.

#ifndef FAIRLEAD_TOOL_TESTING_H_
#define FAIRLEAD_TOOL_TESTING_H_

#include <sys/types.h>

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "fairlead/testing/sanitizers.h"

namespace fairlead::tool {

using Words = std::vector<std::string>;

using internal::kSanitized;

/// How to start a program, and what its standard descriptors are.
struct Launch {
  Words arguments = {};           ///< Behind the program's path.
  std::string input = {};         ///< All of standard input.
  bool input_stays_open = false;  ///< No end comes after `input`.
  std::string output_path = {};   ///< A file in the place of a pipe.
  bool output_is_broken = false;  ///< A pipe that nobody reads.
  bool output_is_stuck = false;   ///< A full pipe that nobody empties.
  bool error_is_stuck = false;
  bool output_is_terminal = false;
  bool error_is_terminal = false;
  bool one_terminal = false;     ///< Standard output and error together.
  std::vector<int> closed = {};  ///< Descriptors to begin without.
  Words environment = {};    ///< Besides TERM=xterm, and PATH, TZ and LC_ALL as
                             ///< the test has them.
  std::string program = {};  ///< The command fairlead if "".
};

/// What a program left behind.
struct Outcome {
  std::string output;
  std::string error;
  int status = -1;  ///< The exit status; -1 where a signal ended it.
  int signal = 0;
};

/// A running program. One that does not end within a minute is killed.
class Process {
 public:
  explicit Process(const Launch& launch);
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;
  ~Process();

  pid_t pid() const { return pid_; }

  /// Waits for the end; to be called once.
  Outcome Wait();

 private:
  void Communicate(std::string_view input, bool input_stays_open);

  pid_t pid_ = -1;
  int input_ = -1;
  int output_ = -1;
  int error_ = -1;
  std::vector<int> stuck_;  // The ends that nobody reads.
  Outcome outcome_;
  std::thread thread_;
};

Outcome RunProgram(const Launch& launch);

/// Runs `fairlead` with these arguments and an empty standard input.
Outcome Fairlead(Words arguments);

/// "" where a program can be given a terminal, otherwise why it cannot: the
/// words with which a test of terminals is skipped.
std::string WhyNoTerminal();

/// "" where strace can put a fault into a system call, otherwise why it cannot.
std::string WhyNoFaults();

/// A loopback server whose one connection a script serves, on a thread.
class ScriptedServer {
 public:
  /// @param script gets the connected socket, which is closed after it
  explicit ScriptedServer(std::function<void(int)> script);
  ScriptedServer(const ScriptedServer&) = delete;
  ScriptedServer& operator=(const ScriptedServer&) = delete;
  ~ScriptedServer();

  /// The arguments -host and -port that lead here, behind the command.
  Words Arguments(std::string_view command) const;
  int port() const { return port_; }

 private:
  std::function<void(int)> script_;
  int listener_;
  int port_;
  std::thread thread_;
};

/// A port on which nothing listens.
int ClosedPort();

/// A socket that listens on a free loopback port, with room for so many
/// connections that nobody accepts.
int ListenOnLoopback(int backlog);
int PortOf(int socket);

/// Connected to the loopback port, or -1.
int ConnectToPort(int port);

void SendAll(int socket, std::string_view bytes);

/// So many bytes, or fewer where the peer closes before.
std::string Receive(int socket, std::size_t count);

/// All bytes up to the peer's close.
std::string ReceiveAll(int socket);

/// Closes so that the peer's system sees a reset.
void Reset(int socket);

/// A folder of its own, deleted with all that is in it.
class TempFolder {
 public:
  TempFolder();
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;
  ~TempFolder();

  const std::string& path() const { return path_; }

  /// Writes a file into it; returns its path.
  std::string File(std::string_view name, std::string_view bytes) const;

 private:
  std::string path_;
};

/// The words behind "strace" that run a program with this fault in its calls,
/// such as "poll:error=ENOMEM:when=2".
Words WithFault(std::string_view fault);

/// The arguments with more behind them.
Words operator+(Words arguments, const Words& more);

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_TESTING_H_
