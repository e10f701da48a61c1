// Writes to standard output and standard error.

#include "tool/io/output.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <limits>
#include <span>
#include <string>

#include "tool/base/concat.h"
#include "tool/base/environment.h"
#include "tool/base/failure.h"

namespace fairlead::tool {
namespace {

constexpr std::string_view kClearLine = "\r\033[K";

std::atomic<bool> is_quiet = false;

// What is on the terminal's current line. Atomic, because the timer thread may
// print while data is written.
std::atomic<bool> bar_is_drawn = false;
std::atomic<bool> data_line_is_open = false;  // No newline yet.

[[noreturn]] void FailToWrite(int error) {
  throw Failure(error == EPIPE ? kReaderGone : kCannotWrite,
                Concat("cannot write standard output: ", ErrorText(error)));
}

bool IsClosed(int descriptor) {
  if (fcntl(descriptor, F_GETFD) != -1) return false;
  if (errno != EBADF) FailToWrite(errno);
  return true;
}

// open() returns the lowest free descriptor, which is the closed one.
void Occupy(int descriptor) {
  if (open("/dev/null", descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY) == -1)
    throw Failure(kCannotWrite,
                  Concat("cannot open '/dev/null' for a closed standard "
                         "stream: ",
                         ErrorText(errno)));
}

void OccupyClosedDescriptors() {
  for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
    if (IsClosed(descriptor)) Occupy(descriptor);
}

// Returns a duplicate of standard output and points descriptor 1 at standard
// error.
int MoveStandardOutput() {
  const int kept = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  if (kept == -1) FailToWrite(errno);
  while (dup2(STDERR_FILENO, STDOUT_FILENO) == -1)
    if (errno != EINTR) FailToWrite(errno);
  return kept;
}

bool SupportsAnsiEscapes(int descriptor) {
  const std::string_view term = EnvironmentVariable("TERM").value_or("");
  return isatty(descriptor) == 1 && !term.empty() && term != "dumb";
}

bool WantsColour(int descriptor) {
  return SupportsAnsiEscapes(descriptor) &&
         EnvironmentVariable("NO_COLOR").value_or("").empty();
}

// Polls without a timeout. Returns false with errno set on failure.
bool Poll(std::span<pollfd> waits) {
  while (poll(waits.data(), waits.size(), -1) == -1)
    if (errno != EINTR) return false;
  return true;
}

// The descriptor may be non-blocking: it is shared with other processes.
bool AwaitWritable(int descriptor) {
  pollfd wait{.fd = descriptor, .events = POLLOUT, .revents = 0};
  return Poll({&wait, 1});
}

// Returns what starts a new line: erases a bar, and ends an open line of data.
std::string FreshLine() {
  std::string start;
  if (bar_is_drawn.exchange(false)) start += kClearLine;
  if (data_line_is_open.exchange(false) && isatty(STDERR_FILENO) == 1)
    start += '\n';
  return start;
}

}  // namespace

Output::Output() {
  OccupyClosedDescriptors();
  (void)std::signal(SIGPIPE, SIG_IGN);
  (void)std::signal(SIGXFSZ, SIG_IGN);
  descriptor_ = MoveStandardOutput();
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

void Output::End() const {
  const int nothing = open("/dev/null", O_WRONLY | O_CLOEXEC);
  if (nothing == -1) return;
  dup3(nothing, descriptor_, O_CLOEXEC);
  close(nothing);
}

bool Output::AwaitWritable(int stop) const {
  std::array<pollfd, 2> waits = {
      pollfd{.fd = descriptor_, .events = POLLOUT, .revents = 0},
      pollfd{.fd = stop, .events = POLLIN, .revents = 0}};
  if (!Poll(waits)) FailToWrite(errno);
  return waits[0].revents != 0;
}

std::size_t Output::Room() const { return RoomIn(descriptor_); }

bool Output::IsFile(const struct stat& status) const {
  return IsOfFile(descriptor_, status);
}

bool IsOfFile(int descriptor, const struct stat& status) {
  struct stat own = {};
  return S_ISREG(status.st_mode) && fstat(descriptor, &own) == 0 &&
         own.st_dev == status.st_dev && own.st_ino == status.st_ino;
}

bool WriteAll(int descriptor, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = write(descriptor, bytes.data(), bytes.size());
    if (written >= 0)
      bytes.remove_prefix(static_cast<std::size_t>(written));
    else if (errno == EAGAIN ? !AwaitWritable(descriptor) : errno != EINTR)
      return false;
  }
  return true;
}

bool IsWritable(int descriptor) {
  pollfd wait{.fd = descriptor, .events = POLLOUT, .revents = 0};
  return poll(&wait, 1, 0) == 1;
}

// A pipe is writable once a page of it is free.
std::size_t RoomIn(int descriptor) {
  constexpr std::size_t kPage = 4096;
  struct stat status = {};
  if (!IsWritable(descriptor)) return 0;
  if (fstat(descriptor, &status) == -1) return kPage;
  if (S_ISREG(status.st_mode)) return std::numeric_limits<std::size_t>::max();
  int waiting = 0;
  if (!S_ISFIFO(status.st_mode) || ioctl(descriptor, FIONREAD, &waiting) != 0 ||
      waiting > 0)
    return kPage;
  const int size = fcntl(descriptor, F_GETPIPE_SZ);
  return size > 0 ? static_cast<std::size_t>(size) : kPage;
}

// Writes each line with one call, so that lines of several threads do not mix.
// A failure cannot be reported anywhere.
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

// Failing to draw a bar is not an error.
void DrawBar(std::string_view bar) {
  bar_is_drawn = true;
  WriteAll(STDERR_FILENO, Concat("\r", bar, "\033[K"));
}

void ClearBar() {
  if (bar_is_drawn.exchange(false)) WriteAll(STDERR_FILENO, kClearLine);
}

bool ErrorIsTerminal() { return SupportsAnsiEscapes(STDERR_FILENO); }

}  // namespace fairlead::tool
