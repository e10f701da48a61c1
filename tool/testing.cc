// Starts programs, serves connections and creates folders for tests.

#include "tool/testing.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <random>
#include <sstream>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "fairlead/testing/sanitizers.h"
#include "tool/base/environment.h"

namespace fairlead::tool {
namespace {

constexpr int kMaxWait = 60'000;  // In milliseconds.

int Checked(int result, const char* what) {
  if (result == -1)
    throw std::system_error(errno, std::generic_category(), what);
  return result;
}

// The two ends of a pipe or terminal; the program gets `theirs`.
struct Ends {
  int ours = -1;
  int theirs = -1;
};

Ends Pipe(bool ours_is_read) {
  std::array<int, 2> ends{};
  Checked(pipe2(ends.data(), O_CLOEXEC), "pipe2");
  return ours_is_read ? Ends{ends[0], ends[1]} : Ends{ends[1], ends[0]};
}

// Returns a pseudo-terminal in raw mode.
Ends Terminal() {
  Ends ends;
  ends.ours =
      Checked(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC), "posix_openpt");
  Checked(grantpt(ends.ours), "grantpt");
  Checked(unlockpt(ends.ours), "unlockpt");
  std::array<char, 64> name{};
  errno = ptsname_r(ends.ours, name.data(), name.size());
  if (errno != 0) Checked(-1, "ptsname_r");
  ends.theirs =
      Checked(open(name.data(), O_RDWR | O_NOCTTY | O_CLOEXEC), name.data());
  termios settings{};
  Checked(tcgetattr(ends.theirs, &settings), "tcgetattr");
  cfmakeraw(&settings);
  Checked(tcsetattr(ends.theirs, TCSANOW, &settings), "tcsetattr");
  return ends;
}

Ends OutputOf(const Launch& launch) {
  if (launch.output_is_terminal || launch.one_terminal) return Terminal();
  if (!launch.output_path.empty())
    return {-1, Checked(open(launch.output_path.c_str(), O_WRONLY | O_CLOEXEC),
                        "open")};
  Ends ends = Pipe(true);
  if (launch.output_is_broken) close(std::exchange(ends.ours, -1));
  return ends;
}

Ends ErrorOf(const Launch& launch, int output) {
  if (launch.one_terminal)
    return {-1, Checked(fcntl(output, F_DUPFD_CLOEXEC, 0), "fcntl")};
  return launch.error_is_terminal ? Terminal() : Pipe(true);
}

std::vector<char*> Pointers(Words& texts) {
  std::vector<char*> pointers;
  for (std::string& text : texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  return pointers;
}

void Fill(int pipe) {
  fcntl(pipe, F_SETFL, O_NONBLOCK);
  while (write(pipe, "x", 1) == 1) {
  }
  fcntl(pipe, F_SETFL, 0);
}

// Resets the signals that the test ignores or blocks.
void ResetSignals(posix_spawnattr_t* attributes) {
  sigset_t signals;
  sigemptyset(&signals);
  posix_spawnattr_setsigmask(attributes, &signals);
  for (const int signal : {SIGPIPE, SIGXFSZ, SIGINT, SIGTERM, SIGHUP})
    sigaddset(&signals, signal);
  posix_spawnattr_setsigdefault(attributes, &signals);
  posix_spawnattr_setflags(attributes,
                           POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
}

// Returns the environment of the program. The first of two values counts. Time
// zone, locale and a clock that is preloaded are those of the test.
Words EnvironmentOf(const Launch& launch) {
  Words environment = launch.environment;
  for (const char* const name :
       {"PATH", "TZ", "LC_ALL", "LOCPATH", "LD_PRELOAD", "FAKETIME",
        "FAKETIME_DONT_FAKE_MONOTONIC"})
    if (const auto value = EnvironmentVariable(name))
      environment.push_back(std::string(name).append("=").append(*value));
  environment.emplace_back("TERM=xterm");
  return environment;
}

pid_t Spawn(const Launch& launch, std::array<int, 3> standard) {
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  for (int i = 0; i < 3; ++i)
    posix_spawn_file_actions_adddup2(&actions,
                                     standard[static_cast<std::size_t>(i)], i);
  for (const int descriptor : launch.closed)
    posix_spawn_file_actions_addclose(&actions, descriptor);
  // The program must not inherit other descriptors of the test.
  posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1);
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  ResetSignals(&attributes);

  Words environment = EnvironmentOf(launch);
  const std::string program =
      launch.program.empty() ? Program() : launch.program;
  Words arguments = launch.arguments;
  arguments.insert(arguments.begin(), program);

  pid_t pid = -1;
  const int error =
      posix_spawnp(&pid, program.c_str(), &actions, &attributes,
                   Pointers(arguments).data(), Pointers(environment).data());
  posix_spawn_file_actions_destroy(&actions);
  posix_spawnattr_destroy(&attributes);
  if (error != 0) throw std::runtime_error("cannot start " + program);
  return pid;
}

void Close(int& descriptor) {
  if (descriptor != -1) close(std::exchange(descriptor, -1));
}

// Appends what can be read. Closes the descriptor at the end of file.
void ReadSome(int& descriptor, std::string& text) {
  std::array<char, 65536> buffer{};
  const ssize_t count = read(descriptor, buffer.data(), buffer.size());
  if (count > 0)
    text.append(buffer.data(), static_cast<std::size_t>(count));
  else if (count == 0 || errno != EINTR)
    Close(descriptor);
}

void WriteSome(int& descriptor, std::string_view& input) {
  const ssize_t count = write(descriptor, input.data(), input.size());
  if (count < 0 && errno != EAGAIN && errno != EINTR) Close(descriptor);
  if (count > 0) input.remove_prefix(static_cast<std::size_t>(count));
}

sockaddr_in Loopback(int port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(static_cast<std::uint16_t>(port));
  return address;
}

sockaddr* Generic(sockaddr_in& address) {
  return reinterpret_cast<sockaddr*>(&address);
}

}  // namespace

const char* Program() {
  return EnvironmentVariable("FAIRLEAD_PROGRAM")
      .value_or(FAIRLEAD_PROGRAM)
      .data();
}

bool IsSanitized() {
  return internal::kSanitized || EnvironmentVariable("FAIRLEAD_SANITIZER");
}

bool HasThreadSanitizer() {
  return EnvironmentVariable("FAIRLEAD_SANITIZER") == "thread";
}

Process::Process(const Launch& launch) {
  static const bool ignored = std::signal(SIGPIPE, SIG_IGN) != SIG_ERR;
  if (!ignored) throw std::runtime_error("signal");
  Ends input = launch.input_is_terminal ? Terminal() : Pipe(false);
  Ends output = OutputOf(launch);
  Ends error = ErrorOf(launch, output.theirs);
  if (launch.output_is_stuck) {
    Fill(output.theirs);
    stuck_.push_back(std::exchange(output.ours, -1));
  }
  if (launch.error_is_stuck) {
    Fill(error.theirs);
    stuck_.push_back(std::exchange(error.ours, -1));
  }
  pid_ = Spawn(launch, {input.theirs, output.theirs, error.theirs});
  for (Ends* const ends : {&input, &output, &error}) Close(ends->theirs);
  input_ = input.ours;
  output_ = output.ours;
  error_ = error.ours;
  fcntl(input_, F_SETFL, O_NONBLOCK);
  thread_ =
      std::thread([this, text = launch.input, open = launch.input_stays_open] {
        Communicate(text, open);
      });
}

Process::~Process() {
  if (!thread_.joinable()) return;
  kill(pid_, SIGKILL);
  Wait();
}

// Ends when the program has closed both outputs. Reading a terminal then fails.
void Process::Communicate(std::string_view input, bool input_stays_open) {
  while (output_ != -1 || error_ != -1) {
    if (input.empty() && !input_stays_open) Close(input_);
    std::array<pollfd, 3> waits = {
        pollfd{input.empty() ? -1 : input_, POLLOUT, 0},
        pollfd{output_, POLLIN, 0}, pollfd{error_, POLLIN, 0}};
    if (poll(waits.data(), waits.size(), kMaxWait) == 0) {
      kill(pid_, SIGKILL);
      break;
    }
    if (waits[0].revents != 0) WriteSome(input_, input);
    if (waits[1].revents != 0) ReadSome(output_, outcome_.output);
    if (waits[2].revents != 0) ReadSome(error_, outcome_.error);
  }
  for (int* const end : {&input_, &output_, &error_}) Close(*end);
}

Outcome Process::Wait() {
  thread_.join();
  int status = 0;
  rusage usage = {};
  wait4(pid_, &status, 0, &usage);
  outcome_.most_memory = static_cast<std::size_t>(usage.ru_maxrss) * 1024;
  for (int& end : stuck_) Close(end);
  if (WIFEXITED(status)) outcome_.status = WEXITSTATUS(status);
  if (WIFSIGNALED(status)) outcome_.signal = WTERMSIG(status);
  return outcome_;
}

Outcome RunProgram(const Launch& launch) { return Process(launch).Wait(); }

int MostMemoryOf(pid_t process) {
  const std::string status =
      internal::ReadFile("/proc/" + std::to_string(process) + "/status");
  const std::size_t at = status.find("VmHWM:");
  return at == std::string::npos ? 0 : std::stoi(status.substr(at + 6));
}

Outcome Fairlead(Words arguments) {
  return RunProgram({.arguments = std::move(arguments)});
}

std::string WhyNoTerminal() {
  try {
    Ends terminal = Terminal();
    for (int* const end : {&terminal.ours, &terminal.theirs}) Close(*end);
    return "";
  } catch (const std::system_error& error) {
    return std::string("there is no pseudo-terminal: ") + error.what();
  }
}

std::string WhyNoFaults() {
  try {
    const Outcome outcome =
        RunProgram({.arguments = {"-qq", "-e", "inject=exit_group:signal=KILL",
                                  "/bin/true"},
                    .program = "strace"});
    if (outcome.signal == SIGKILL) return "";
    return "strace may not trace: " + outcome.error;
  } catch (const std::runtime_error& error) {
    return error.what();
  }
}

ScriptedServer::ScriptedServer(std::function<void(int)> script)
    : script_(std::move(script)),
      listener_(ListenOnLoopback(1)),
      port_(PortOf(listener_)),
      thread_([this] {
        const int connection = accept(listener_, nullptr, nullptr);
        if (connection == -1) return;
        script_(connection);
        close(connection);
      }) {}

ScriptedServer::~ScriptedServer() {
  shutdown(listener_, SHUT_RDWR);
  thread_.join();
  close(listener_);
}

Words ScriptedServer::Arguments(std::string_view command) const {
  return {std::string(command), "-host", "127.0.0.1", "-port",
          std::to_string(port_)};
}

int ListenOnLoopback(int backlog) {
  const int listener =
      Checked(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0), "socket");
  sockaddr_in address = Loopback(0);
  Checked(bind(listener, Generic(address), sizeof address), "bind");
  Checked(listen(listener, backlog), "listen");
  return listener;
}

int PortOf(int socket) {
  sockaddr_in address{};
  socklen_t size = sizeof address;
  Checked(getsockname(socket, Generic(address), &size), "getsockname");
  return ntohs(address.sin_port);
}

// The port was free a moment ago, and the system assigns others first.
int ClosedPort() {
  const int listener = ListenOnLoopback(1);
  const int port = PortOf(listener);
  close(listener);
  return port;
}

int ConnectToPort(int port) {
  const int connection =
      Checked(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0), "socket");
  sockaddr_in address = Loopback(port);
  if (connect(connection, Generic(address), sizeof address) == 0)
    return connection;
  close(connection);
  return -1;
}

void SendAll(int socket, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t sent = send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (sent <= 0) return;
    bytes.remove_prefix(static_cast<std::size_t>(sent));
  }
}

std::string Receive(int socket, std::size_t count) {
  std::string bytes;
  std::array<char, 16384> buffer{};
  while (bytes.size() < count) {
    const ssize_t got = recv(socket, buffer.data(),
                             std::min(buffer.size(), count - bytes.size()), 0);
    if (got <= 0) break;
    bytes.append(buffer.data(), static_cast<std::size_t>(got));
  }
  return bytes;
}

std::string ReceiveAll(int socket) {
  return Receive(socket, std::string::npos);
}

void Reset(int socket) {
  const linger at_once = {.l_onoff = 1, .l_linger = 0};
  setsockopt(socket, SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once);
}

// Defined here, so that clang accepts constant objects.
TempFolder::TempFolder() = default;

std::string TempFolder::File(std::string_view name,
                             std::string_view bytes) const {
  std::string path = Path(name);
  internal::WriteFile(path, bytes);
  return path;
}

std::string RandomBytes(std::size_t count) {
  std::mt19937_64 random(count);
  std::string bytes(count, '\0');
  for (char& c : bytes) c = static_cast<char>(random());
  return bytes;
}

std::string OneLine(const std::string& text) {
  std::istringstream in(text);
  std::string line;
  for (std::string word; in >> word;) line.append(word).append(" ");
  return line;
}

// Traces only the call that fails, which is fast.
Words WithFault(std::string_view fault) {
  return {"-f", "-qq",
          "-o", "/dev/null",
          "-e", "trace=" + std::string(fault.substr(0, fault.find(':'))),
          "-e", "inject=" + std::string(fault)};
}

Words operator+(Words arguments, const Words& more) {
  arguments.insert(arguments.end(), more.begin(), more.end());
  return arguments;
}

}  // namespace fairlead::tool
