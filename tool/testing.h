// For tests: the command as a process, and servers to connect to.

#ifndef FAIRLEAD_TOOL_TESTING_H_
#define FAIRLEAD_TOOL_TESTING_H_

#include <sys/types.h>

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "fairlead/testing/temp_folder.h"

namespace fairlead::tool {

using Words = std::vector<std::string>;

/// Returns the path of the command under test: that of the environment variable
/// FAIRLEAD_PROGRAM, else that of this build.
const char* Program();

/// Returns whether the command runs with a sanitizer: the one that the
/// environment variable FAIRLEAD_SANITIZER names, or that of this build. Then
/// it needs far more time, memory and descriptors.
bool IsSanitized();

/// Returns whether FAIRLEAD_SANITIZER names the thread sanitizer.
bool HasThreadSanitizer();

/// How to start a program, and its standard descriptors.
struct Launch {
  Words arguments = {};           ///< After the program's path.
  std::string input = {};         ///< All of standard input.
  bool input_stays_open = false;  ///< No end of file after `input`.
  bool input_is_terminal = false;
  std::string output_path = {};   ///< A file instead of a pipe.
  bool output_is_broken = false;  ///< A pipe without a reader.
  bool output_is_stuck = false;   ///< A full pipe that is not read.
  bool error_is_stuck = false;
  bool output_is_terminal = false;
  bool error_is_terminal = false;
  bool one_terminal = false;     ///< Standard output and error together.
  std::vector<int> closed = {};  ///< Descriptors to begin without.
  Words environment = {};    ///< In addition to TERM=xterm and the test's PATH,
                             ///< TZ and LC_ALL.
  std::string program = {};  ///< Program() if "".
};

/// The result of a program.
struct Outcome {
  std::string output;
  std::string error;
  int status = -1;  ///< The exit status; -1 if a signal ended it.
  int signal = 0;
  std::size_t most_memory = 0;  ///< Resident, in bytes.
};

/// A running program. It is killed if it does not end within a minute.
class Process {
 public:
  explicit Process(const Launch& launch);
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;
  ~Process();

  pid_t pid() const { return pid_; }

  /// Waits for the end. Call it once.
  Outcome Wait();

 private:
  void Communicate(std::string_view input, bool input_stays_open);

  pid_t pid_ = -1;
  int input_ = -1;
  int output_ = -1;
  int error_ = -1;
  std::vector<int> stuck_;  // Unread pipe ends.
  Outcome outcome_;
  std::thread thread_;
};

Outcome RunProgram(const Launch& launch);

/// Returns the most memory that a running process has used so far, in
/// kilobytes.
int MostMemoryOf(pid_t process);

/// Runs `fairlead` with these arguments and an empty standard input.
Outcome Fairlead(Words arguments);

/// Returns "" if a pseudo-terminal can be created, else why not, for skipping a
/// test.
std::string WhyNoTerminal();

/// Returns "" if strace can inject a fault into a system call, else why not.
std::string WhyNoFaults();

/// A loopback server that serves one connection with a script, on a thread.
class ScriptedServer {
 public:
  /// @param script receives the connected socket, which is closed afterwards
  explicit ScriptedServer(std::function<void(int)> script);
  ScriptedServer(const ScriptedServer&) = delete;
  ScriptedServer& operator=(const ScriptedServer&) = delete;
  ~ScriptedServer();

  /// Returns the command with the arguments -host and -port of this server.
  Words Arguments(std::string_view command) const;
  int port() const { return port_; }

 private:
  std::function<void(int)> script_;
  int listener_;
  int port_;
  std::thread thread_;
};

/// Returns a port on which nothing listens.
int ClosedPort();

/// Returns a socket that listens on a free loopback port, with a queue of
/// `backlog` connections.
int ListenOnLoopback(int backlog);
int PortOf(int socket);

/// Returns a socket connected to the loopback port, or -1.
int ConnectToPort(int port);

void SendAll(int socket, std::string_view bytes);

/// Returns `count` bytes, or fewer if the peer closes the connection.
std::string Receive(int socket, std::size_t count);

/// Returns all bytes until the peer closes the connection.
std::string ReceiveAll(int socket);

/// Makes closing the socket reset the connection.
void Reset(int socket);

/// A new empty folder, deleted with its content at the end of its scope.
class TempFolder : public internal::TempFolder {
 public:
  TempFolder();

  /// Writes a file in the folder. Returns its path.
  std::string File(std::string_view name, std::string_view bytes) const;
};

/// Returns the arguments of strace that inject this fault into a program, such
/// as "poll:error=ENOMEM:when=2".
Words WithFault(std::string_view fault);

/// Returns random bytes, seeded with their number.
std::string RandomBytes(std::size_t count);

/// Returns the words of the text on one line, each followed by a space.
std::string OneLine(const std::string& text);

/// Returns the concatenated arguments.
Words operator+(Words arguments, const Words& more);

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_TESTING_H_
