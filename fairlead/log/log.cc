// The log: whole lines, to a file and to standard output at once.
#include "fairlead/log/log.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <iostream>

namespace fairlead {
namespace {

// No more than this waits for a line break.
constexpr std::size_t kBuffer = std::size_t{8} * 1024;

// When more than this waits for a full disk, texts are dropped.
constexpr std::size_t kMostForFullDisk = std::size_t{64} * 1024;

bool Holds(std::string_view text, char c) {
  return text.find(c) != std::string_view::npos;
}

// The text with a carriage return before every line feed.
std::string WithCarriageReturns(std::string_view text) {
  std::string copy;
  copy.reserve(text.size() + static_cast<std::size_t>(
                                 std::count(text.begin(), text.end(), '\n')));
  for (const char c : text) {
    if (c == '\n') copy += '\r';
    copy += c;
  }
  return copy;
}

// Standard output has two buffers when the program has parted std::cout from
// stdio, and the library's own messages go through the second.
void WriteToStandardOutput(std::string_view text, bool flush) {
  std::cout.write(text.data(), static_cast<std::streamsize>(text.size()));
  if (!flush) return;
  std::cout.flush();
  std::fflush(stdout);
}

// The same file under a number that is none of a standard stream: the first
// free one is, where the program has closed that stream, and what it prints
// would go into the file. -1 if there is none.
int AwayFromStandardStreams(int descriptor) {
  if (descriptor < 0 || descriptor > STDERR_FILENO) return descriptor;
  const int moved = fcntl(descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  close(descriptor);
  return moved;
}

}  // namespace

CLog::File::~File() {
  if (descriptor_ < 0) return;
  Flush();
  close(descriptor_);
}

bool CLog::File::Open(const std::string& name) {
  descriptor_ = AwayFromStandardStreams(
      open(name.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666));
  return descriptor_ >= 0;
}

void CLog::File::Write(std::string_view text, bool flush) {
  if (descriptor_ < 0) return;
  if (flush && waiting_.empty()) {  // Nearly every line: it is not copied.
    text.remove_prefix(Send(text));
    if (!text.empty()) waiting_ = text;
    return;
  }

  if (waiting_.size() > kMostForFullDisk) Flush();
  if (waiting_.size() > kMostForFullDisk) return;
  waiting_ += text;
  if (flush || waiting_.size() > kBuffer) Flush();
}

// Writes what the file takes of `text` and returns how much that was.
std::size_t CLog::File::Send(std::string_view text) const {
  std::size_t sent = 0;
  while (sent < text.size()) {
    const ssize_t part =
        write(descriptor_, text.data() + sent, text.size() - sent);
    if (part > 0)
      sent += static_cast<std::size_t>(part);
    else if (part == 0 || errno != EINTR)
      break;
  }
  return sent;
}

void CLog::File::Flush() { waiting_.erase(0, Send(waiting_)); }

CLog::CLog(const std::vector<std::string>& names) : crlf_(false) {
  for (const std::string& name : names)
    if (file_.Open(name)) return;
}

CLog::CLog(const std::string& name, bool crlf) : crlf_(crlf) {
  file_.Open(name);
}

CLog::~CLog() = default;

void CLog::Write(std::string_view text) {
  const bool flush = Holds(text, '\n') || Holds(text, '\r');
  const std::lock_guard<std::mutex> lock(mutex_);
  file_.Write(text, flush);
  WriteToStandardOutput(text, flush);
}

CLog& operator<<(CLog& log, const std::string& text) {
  if (log.crlf_ && Holds(text, '\n'))
    log.Write(WithCarriageReturns(text));
  else
    log.Write(text);
  return log;
}

}  // namespace fairlead
