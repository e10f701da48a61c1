// The log: whole lines, to a file and to standard output at once.
#include "fairlead/log/log.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <ios>
#include <iostream>

#include "fairlead/base/blocked_signals.h"
#include "fairlead/base/descriptor.h"

namespace fairlead {
namespace {

// No more than this waits for a line break.
constexpr std::size_t kBuffer = std::size_t{8} * 1024;

// A limit on the size of files is asked for again after so many bytes.
constexpr std::size_t kBetweenQuestions = kBuffer;

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

// Whether there is a limit on the size of files.
bool HasSizeLimit() {
  rlimit limit{};
  return getrlimit(RLIMIT_FSIZE, &limit) != 0 ||
         limit.rlim_cur != RLIM_INFINITY;
}

// Writes what the file takes of `text`, without the signal that the system
// raises where the file is as large as it may be. Returns how much that was.
std::size_t WriteUnderLimit(int descriptor, std::string_view text) {
  const internal::BlockedSignal signal(SIGXFSZ);
  const std::size_t written = internal::WriteAll(descriptor, text);
  if (written < text.size() && errno == EFBIG) signal.Discard();
  return written;
}

// One write; returns how much the file took.
std::size_t WriteOnce(int descriptor, std::string_view text) {
  const ssize_t count = write(descriptor, text.data(), text.size());
  return count > 0 ? static_cast<std::size_t>(count) : 0;
}

// Makes std::cout for the logs among static objects of a program that never
// includes <iostream>. It is made before the log that asks for it, and so
// flushed for the last time after it.
void MakeStandardOutput() { static const std::ios_base::Init made; }

}  // namespace

CLog::File::~File() {
  if (descriptor_ < 0) return;
  Flush();
  close(descriptor_);
}

bool CLog::File::Open(const std::string& name) {
  constexpr int kFlags = O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC;
  descriptor_ = internal::MoveAboveStandardStreams(internal::Uninterrupted(
      [&name] { return open(name.c_str(), kFlags, 0666); }));
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
//
// Blocking the signal of a limit costs two system calls, as much as the write.
// It is left out while no limit is in sight: none was set when last asked, and
// the file took all that was written since. A write that meets a limit halfway
// comes back short without the signal: only the next one raises it.
std::size_t CLog::File::Send(std::string_view text) {
  if (until_asked_ == 0) {
    limit_in_sight_ = HasSizeLimit();
    until_asked_ = kBetweenQuestions;
  }
  std::size_t sent = 0;
  if (!limit_in_sight_) sent = WriteOnce(descriptor_, text);
  if (sent < text.size()) {
    limit_in_sight_ = true;
    sent += WriteUnderLimit(descriptor_, text.substr(sent));
  }
  until_asked_ -= std::min(until_asked_, sent);
  return sent;
}

void CLog::File::Flush() {
  if (!waiting_.empty()) waiting_.erase(0, Send(waiting_));
}

CLog::CLog(const std::vector<std::string>& names) : crlf_(false) {
  MakeStandardOutput();
  for (const std::string& name : names)
    if (file_.Open(name)) return;
}

CLog::CLog(const std::string& name, bool crlf) : crlf_(crlf) {
  MakeStandardOutput();
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
