// Runs scenarios while something fails, and judges what came of it.

#include "tool/fault_testing.h"

#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <mutex>
#include <numeric>
#include <optional>
#include <random>
#include <sstream>
#include <thread>
#include <utility>
#include <vector>

#include "tool/base/concat.h"
#include "tool/base/environment.h"
#include "tool/base/exit_status.h"
#include "tool/command/command.h"
#include "tool/command/command_table.h"
#include "tool/io/read_file.h"

namespace fairlead::tool {
namespace {

constexpr const char* kMaxSeconds = "20";

Files FilesIn(const std::string& folder) {
  Files files;
  for (const auto& entry : std::filesystem::directory_iterator(folder))
    files[entry.path().filename()] =
        entry.is_symlink()
            ? Concat(kLinkTo, std::filesystem::read_symlink(entry).string())
            : ReadFile(entry.path());
  return files;
}

bool MayBeLeft(Left left, const std::string& text, const std::string& old,
               const std::string& made) {
  switch (left) {
    case Left::kOld:
      return false;
    case Left::kNew:
    case Left::kOldOrNew:
      return text == made;
    case Left::kBeginning:
      return text.starts_with(old) && made.starts_with(text);
    case Left::kAppended:
      return text.starts_with(old);
    case Left::kMixed:
      return true;
  }
  return false;
}

std::string TextOf(const Files& files, const std::string& name) {
  const auto found = files.find(name);
  return found == files.end() ? "" : found->second;
}

// Logs have timestamps, and a line for each piece that a connection carries.
bool AreLogsSame(const Files& files, const Files& made, const Files& old) {
  return std::ranges::equal(files, made, [&](const auto& a, const auto& b) {
    const std::string before = TextOf(old, a.first);
    return a.first == b.first && a.second.starts_with(before) &&
           a.second.size() > before.size() && a.second.ends_with('\n');
  });
}

const Command& CommandOf(const Scenario& scenario) {
  const Command& command = KnownCommand(scenario.arguments[0]);
  return command.subcommands.empty()
             ? command
             : KnownSubcommand(command, scenario.arguments[1]);
}

// The statuses up to kMalformedInput are results, which no fault may cause.
bool IsFailure(int status, const Scenario& scenario) {
  const std::vector<Status> documented = StatusesOf(CommandOf(scenario));
  return status > kMalformedInput && status != kReaderGone &&
         std::ranges::find(documented, status, &Status::status) !=
             documented.end();
}

bool ReportsError(const std::string& error) {
  return ("\n" + error).find("\nfairlead") != std::string::npos;
}

bool IsLoaderLine(const std::string& line) {
  // The program's first call checks whether standard input is open. The loader
  // makes no such call.
  return line.find(" fcntl(0") == std::string::npos ||
         line.find("F_GETFD") == std::string::npos;
}

// Calls `act` with each line of the trace in which a call begins, and with its
// thread and name.
void ForEachCall(
    const std::string& trace,
    const std::function<void(const std::string& line, const char* thread,
                             const char* call)>& act) {
  std::istringstream lines(trace);
  for (std::string line; std::getline(lines, line);) {
    char thread[16];
    char call[64];
    int end = 0;
    if (std::sscanf(line.c_str(), "%15[0-9] %63[a-z0-9_]%n", thread, call,
                    &end) == 2 &&
        line[static_cast<std::size_t>(end)] == '(')
      act(line, thread, call);
  }
}

// Returns a port that the system gives to no client, and nobody else here.
int FreePort() {
  static std::atomic<int> next = getpid();
  constexpr int kFirst = 20'000;
  constexpr int kCount = 10'000;
  for (;;) {
    const int port = kFirst + next++ % kCount;
    const int peer = ConnectToPort(port);
    if (peer == -1) return port;
    close(peer);
  }
}

// Connects to a port once a command listens there, sends, and reads to the end.
class Peer {
 public:
  Peer(int port, std::string bytes)
      : bytes_(std::move(bytes)), thread_([this, port] { Visit(port); }) {}
  ~Peer() {
    has_ended_ = true;
    thread_.join();
  }
  Peer(const Peer&) = delete;
  Peer& operator=(const Peer&) = delete;

 private:
  void Visit(int port) const {
    int socket = -1;
    while (!has_ended_ && (socket = ConnectToPort(port)) == -1)
      std::this_thread::sleep_for(std::chrono::milliseconds(2));
    if (socket == -1) return;
    SendAll(socket, bytes_);
    shutdown(socket, SHUT_WR);
    ReceiveAll(socket);
    close(socket);
  }

  const std::string bytes_;
  std::atomic<bool> has_ended_ = false;  // The command.
  std::thread thread_;
};

}  // namespace

FaultPlace::FaultPlace(const Scenario& scenario) : scenario_(scenario) {
  std::filesystem::create_directory(path_);
  for (const auto& [name, content] : scenario.files) {
    if (content.starts_with(kLinkTo))
      std::filesystem::create_symlink(content.substr(kLinkTo.size()),
                                      path_ + "/" + name);
    else
      folder_.File("place/" + name, content);
  }
}

Trial FaultPlace::Run(const Words& before) const {
  Words arguments = scenario_.arguments;
  const auto port = std::ranges::find(arguments, kPortOfAPeer);
  std::optional<Peer> peer;
  if (port != arguments.end()) {
    const int free_port = FreePort();
    *port = std::to_string(free_port);
    peer.emplace(free_port, scenario_.peer_sends);
  }
  Outcome outcome = RunProgram(
      {.arguments = Words{"-C", path_, "timeout", "-s", "KILL", kMaxSeconds} +
                    before + Words{Program()} + arguments,
       .input = scenario_.input,
       .program = "env"});
  return {std::move(outcome), FilesIn(path_),
          ReadFileIfAny(folder_.Path("trace")).value_or("")};
}

Trial FaultPlace::RunTraced(const Words& options) const {
  return Run(Words{"strace", "-f", "-qq", "-o", "../trace"} + options);
}

Trial BaseRun(const Scenario& scenario) {
  Trial base = FaultPlace(scenario).RunTraced({"-y"});
  EXPECT_EQ(base.outcome.status, scenario.status) << Shown(base);
  return base;
}

bool IsSame(const Trial& run, const Trial& base, const Scenario& scenario) {
  return run.outcome.status == base.outcome.status &&
         (scenario.prints_anew || run.outcome.output == base.outcome.output) &&
         (scenario.left == Left::kAppended
              ? AreLogsSame(run.files, base.files, scenario.files)
              : run.files == base.files);
}

std::string ErrorOfFiles(const Files& files, const Trial& base,
                         const Scenario& scenario, Left left) {
  if (left == Left::kNew && files != base.files) return "not the new files";
  for (const auto& file : scenario.files)
    if (!files.contains(file.first)) return "lost " + file.first;
  for (const auto& [name, text] : files) {
    const auto old = scenario.files.find(name);
    if (old != scenario.files.end() && text == old->second) continue;
    if (!base.files.contains(name)) return "left " + name;
    if (!MayBeLeft(left, text, TextOf(scenario.files, name),
                   base.files.at(name)))
      return "changed " + name;
  }
  return "";
}

std::string ErrorOf(const Trial& run, const Trial& base,
                    const Scenario& scenario, Left left) {
  const Outcome& outcome = run.outcome;
  if (outcome.signal == SIGKILL) return Concat("hung for ", kMaxSeconds, " s");
  if (outcome.signal != 0) return Concat("crashed: signal ", outcome.signal);
  if (IsSame(run, base, scenario)) return "";
  if (!IsFailure(outcome.status, scenario)) return "wrong: " + Shown(run);
  if (!ReportsError(outcome.error)) return "failed silently: " + Shown(run);
  if (!scenario.prints_anew && !base.outcome.output.starts_with(outcome.output))
    return "printed wrong output: " + Shown(run);
  const std::string files = ErrorOfFiles(run.files, base, scenario, left);
  return files.empty() ? "" : files + ": " + Shown(run);
}

std::string Shown(const Trial& run) {
  std::ostringstream text;
  text << "status " << run.outcome.status << ", output \""
       << run.outcome.output.substr(0, 80) << "\", error \""
       << run.outcome.error.substr(0, 200) << '"';
  for (const auto& [name, bytes] : run.files)
    text << ", " << name << " \"" << bytes.substr(0, 80) << '"';
  return text.str();
}

FaultChoice SelectedFaults() {
  const std::string text(EnvironmentVariable("FAIRLEAD_FAULTS").value_or(""));
  if (text == "all") return {.all = true};
  if (text.empty()) return {.seed = std::random_device{}()};
  FaultChoice choice{.seed = static_cast<unsigned>(std::stoul(text))};
  if (const std::size_t slash = text.find('/'); slash != std::string::npos)
    choice.max_interval = std::stoul(text.substr(slash + 1));
  return choice;
}

std::vector<std::size_t> SampleOf(std::size_t count, std::size_t interval,
                                  const FaultChoice& choice) {
  std::vector<std::size_t> indices(count);
  std::iota(indices.begin(), indices.end(), std::size_t{0});
  if (choice.all) return indices;
  interval = std::min(interval, choice.max_interval);
  std::ranges::shuffle(indices, std::mt19937(choice.seed));
  indices.resize((count + interval - 1) / interval);
  return indices;
}

void TryEach(const std::vector<std::size_t>& indices,
             const std::function<std::string(std::size_t index)>& act) {
  constexpr int kThreads = 3;
  std::atomic<std::size_t> next = 0;
  std::mutex mutex;
  std::vector<std::string> errors;  // Guarded by the mutex.
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i)
    threads.emplace_back([&] {
      for (std::size_t at = 0; (at = next++) < indices.size();) {
        std::string error = act(indices[at]);
        const std::lock_guard lock(mutex);
        if (!error.empty()) errors.push_back(std::move(error));
      }
    });
  for (std::thread& thread : threads) thread.join();
  for (const std::string& error : errors) ADD_FAILURE() << error;
}

std::map<std::string, CallCount> CallsIn(const std::string& trace) {
  std::map<std::string, CallCount> all;
  std::map<std::string, int> made;  // By thread and name.
  bool begun = false;
  ForEachCall(trace, [&](const std::string& line, const char* thread,
                         const char* call) {
    begun = begun || !IsLoaderLine(line);
    CallCount& calls = all[call];
    const int number = ++made[Concat(thread, " ", call)];
    if (begun)
      calls.program = std::max(calls.program, number - calls.loader);
    else
      calls.loader = number;
  });
  return all;
}

int MostCalls(const std::string& trace, const std::string& call) {
  std::map<std::string, int> made;  // By thread.
  int most = 0;
  ForEachCall(trace,
              [&](const std::string&, const char* thread, const char* name) {
                if (name == call) most = std::max(most, ++made[thread]);
              });
  return most;
}

}  // namespace fairlead::tool
