#include "tool/io/output.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <span>
#include <string>

#include "tool/base/concat.h"
#include "tool/base/failure.h"

namespace fairlead::tool {
namespace {

constexpr std::string_view kClearLine = "\r\033[K";

std::atomic<bool> is_quiet = false;

// What the terminal shows at the cursor. Atomic, because the timer thread may
// print while data is written.
std::atomic<bool> bar_stands = false;
std::atomic<bool> data_line_is_open = false;  // It has no newline yet.

[[noreturn]] void FailToWrite(int error) {
  throw Failure(kCannotWrite,
                Concat("cannot write standard output: ", ErrorText(error)));
}

bool IsClosed(int descriptor) {
  if (fcntl(descriptor, F_GETFD) != -1) return false;
  if (errno != EBADF) FailToWrite(errno);
  return true;
}

// The descriptor opened is the lowest free one, hence the closed one.
void Fill(int descriptor) {
  if (open("/dev/null", descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY) == -1)
    throw Failure(kCannotWrite,
                  Concat("cannot open '/dev/null' in the place of a closed "
                         "standard stream: ",
                         ErrorText(errno)));
}

void FillClosedDescriptors() {
  for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
    if (IsClosed(descriptor)) Fill(descriptor);
}

// Where standard output is from now on; its own number leads to standard error.
int SetAsideStandardOutput() {
  const int kept = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  if (kept == -1) FailToWrite(errno);
  while (dup2(STDERR_FILENO, STDOUT_FILENO) == -1)
    if (errno != EINTR) FailToWrite(errno);
  return kept;
}

// "" for a variable that is not set.
std::string_view Environment(const char* name) {
  // NOLINTNEXTLINE(concurrency-mt-unsafe): nothing here changes a variable.
  const char* const value = std::getenv(name);
  return value == nullptr ? "" : value;
}

bool IsSmart(int descriptor) {
  const std::string_view term = Environment("TERM");
  return isatty(descriptor) == 1 && !term.empty() && term != "dumb";
}

bool WantsColour(int descriptor) {
  return IsSmart(descriptor) && Environment("NO_COLOR").empty();
}

// Waits as long as it takes; false with errno set where that cannot be done.
bool Poll(std::span<pollfd> waits) {
  while (poll(waits.data(), waits.size(), -1) == -1)
    if (errno != EINTR) return false;
  return true;
}

// Somebody may have made the descriptor one that does not wait by itself.
bool AwaitRoom(int descriptor) {
  pollfd room{.fd = descriptor, .events = POLLOUT, .revents = 0};
  return Poll({&room, 1});
}

// Writes all of it; false with errno set when that cannot be done.
bool WriteAll(int descriptor, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = write(descriptor, bytes.data(), bytes.size());
    if (written >= 0)
      bytes.remove_prefix(static_cast<std::size_t>(written));
    else if (errno == EAGAIN ? !AwaitRoom(descriptor) : errno != EINTR)
      return false;
  }
  return true;
}

// Where a new line of words may begin: below the data, and not behind a bar.
std::string FreshLine() {
  std::string start;
  if (bar_stands.exchange(false)) start += kClearLine;
  if (data_line_is_open.exchange(false) && isatty(STDERR_FILENO) == 1)
    start += '\n';
  return start;
}

}  // namespace

Output::Output() {
  FillClosedDescriptors();
  (void)std::signal(SIGPIPE, SIG_IGN);
  (void)std::signal(SIGXFSZ, SIG_IGN);
  descriptor_ = SetAsideStandardOutput();
  (void)std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
  screen_ = {.terminal = isatty(descriptor_) == 1,
             .colour = WantsColour(descriptor_)};
}

void Output::Write(std::string_view bytes) const {
  if (screen_.terminal && !bytes.empty()) {
    ClearBar();
    data_line_is_open = !bytes.ends_with('\n');
  }
  if (!WriteAll(descriptor_, bytes)) FailToWrite(errno);
}

bool Output::AwaitRoom(int stop) const {
  std::array<pollfd, 2> waits = {
      pollfd{.fd = descriptor_, .events = POLLOUT, .revents = 0},
      pollfd{.fd = stop, .events = POLLIN, .revents = 0}};
  if (!Poll(waits)) FailToWrite(errno);
  return waits[0].revents != 0;
}

bool Output::IsFile(const struct stat& facts) const {
  return IsOfFile(descriptor_, facts);
}

bool IsOfFile(int descriptor, const struct stat& facts) {
  struct stat own = {};
  return S_ISREG(facts.st_mode) && fstat(descriptor, &own) == 0 &&
         own.st_dev == facts.st_dev && own.st_ino == facts.st_ino;
}

// One write a line, so that lines of several threads do not mix. Where even
// this fails, there is nobody left to tell.
void PrintError(std::string_view command, std::string_view text) {
  std::string line = FreshLine();
  const bool colour = WantsColour(STDERR_FILENO);
  if (colour) line += "\033[1m";
  line += "fairlead";
  if (!command.empty()) line.append(" ").append(command);
  line += colour ? ":\033[0m " : ": ";
  line.append(text).append("\n");
  WriteAll(STDERR_FILENO, line);
}

void SetQuiet(bool quiet) { is_quiet = quiet; }

bool IsQuiet() { return is_quiet; }

void PrintNote(std::string_view command, std::string_view text) {
  if (!IsQuiet()) PrintError(command, text);
}

// A bar that cannot be drawn is no error.
void DrawBar(std::string_view bar) {
  bar_stands = true;
  WriteAll(STDERR_FILENO, Concat("\r", bar, "\033[K"));
}

void ClearBar() {
  if (bar_stands.exchange(false)) WriteAll(STDERR_FILENO, kClearLine);
}

bool ErrorIsTerminal() { return IsSmart(STDERR_FILENO); }

}  // namespace fairlead::tool
