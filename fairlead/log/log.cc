// A log that writes whole lines to a file and to standard output.

#include "fairlead/log/log.h"

#include <fcntl.h>
#include <stdio_ext.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <ext/stdio_sync_filebuf.h>
#include <ios>
#include <iostream>
#include <typeinfo>

#include "fairlead/base/blocked_signals.h"
#include "fairlead/base/descriptor.h"

namespace fairlead {
namespace {

// Text without LF or CR is flushed when more than this is buffered.
constexpr std::size_t kMaxBuffered = std::size_t{8} * 1024;

// The limit on the size of files is checked once per this many bytes.
constexpr std::size_t kBytesBetweenChecks = kMaxBuffered;

// Texts are dropped while more than this waits for a full disk.
constexpr std::size_t kMaxWaiting = std::size_t{64} * 1024;

bool Holds(std::string_view text, char c) {
  return text.find(c) != std::string_view::npos;
}

// Returns the text with each LF replaced by CR LF.
[[gnu::noinline]] std::string WithCarriageReturns(std::string_view text) {
  std::string copy;
  copy.reserve(text.size() + static_cast<std::size_t>(
                                 std::count(text.begin(), text.end(), '\n')));
  for (const char c : text) {
    if (c == '\n') copy += '\r';
    copy += c;
  }
  return copy;
}

// Returns whether std::cout does nothing but pass its text on to stdout, as it
// does unless the program changes it.
bool IsPlainOutput() {
  using Passing = __gnu_cxx::stdio_sync_filebuf<char>;
  std::streambuf* const buffer = std::cout.rdbuf();
  return std::cout.good() && std::cout.tie() == nullptr && buffer != nullptr &&
         typeid(*buffer) == typeid(Passing) &&
         static_cast<Passing*>(buffer)->file() == stdout;
}

// Writes and flushes as std::cout would, in half of the calls.
void WriteToPlainOutput(std::string_view text) {
  const bool whole =
      std::fwrite(text.data(), 1, text.size(), stdout) == text.size();
  if (std::fflush(stdout) != 0 || !whole) std::cout.setstate(std::ios::badbit);
}

// Flushes both buffers of standard output: after sync_with_stdio(false),
// std::cout has one of its own, and the library prints through stdio. Usually
// they are one, and the second is empty then.
void WriteToStandardOutput(std::string_view text, bool flush) {
  if (flush && IsPlainOutput()) return WriteToPlainOutput(text);
  std::cout.write(text.data(), static_cast<std::streamsize>(text.size()));
  if (!flush) return;
  std::cout.flush();
  if (__fpending(stdout) != 0) std::fflush(stdout);
}

// The same while there is a limit on the size of files. What the limit refuses
// is dropped: stdio would otherwise write it again at exit, where the SIGXFSZ
// ends the program.
[[gnu::noinline]] void WriteToLimitedOutput(std::string_view text, bool flush) {
  const internal::BlockedSignal signal(SIGXFSZ);
  WriteToStandardOutput(text, flush);
  if (signal.Discard()) __fpurge(stdout);
}

// Returns whether there is a limit on the size of files.
[[gnu::noinline]] bool HasSizeLimit() {
  rlimit limit{};
  return getrlimit(RLIMIT_FSIZE, &limit) != 0 ||
         limit.rlim_cur != RLIM_INFINITY;
}

// Writes as much of `text` as the file takes and returns how much that was.
// Suppresses the SIGXFSZ of a file that has reached its limit.
[[gnu::noinline]] std::size_t WriteUnderLimit(int descriptor,
                                              std::string_view text) {
  const internal::BlockedSignal signal(SIGXFSZ);
  const std::size_t written = internal::WriteAll(descriptor, text);
  if (written < text.size() && errno == EFBIG) signal.Discard();
  return written;
}

// Calls `write` once and returns how much the file took.
std::size_t WriteOnce(int descriptor, std::string_view text) {
  const ssize_t count = write(descriptor, text.data(), text.size());
  return count > 0 ? static_cast<std::size_t>(count) : 0;
}

// Initialises std::cout, which a program that never includes <iostream> has not
// done when a static log is constructed. Initialised before the log, std::cout
// is flushed for the last time after the log's destructor.
void InitialiseStandardOutput() { static const std::ios_base::Init init; }

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
  CheckLimit(text.size());
  if (descriptor_ < 0) return;
  if (flush && waiting_.empty()) {  // The usual case: no copy.
    text.remove_prefix(Send(text));
    if (!text.empty()) waiting_ = text;
    return;
  }

  if (waiting_.size() > kMaxWaiting) Flush();
  if (waiting_.size() > kMaxWaiting) return;
  waiting_ += text;
  if (flush || waiting_.size() > kMaxBuffered) Flush();
}

// Writes as much of `text` as the file takes and returns how much that was.
//
// Blocking SIGXFSZ costs two system calls, as much as the write, so it is left
// out while there was no limit at the last check and every write since then was
// complete. That is safe: a write that crosses a limit is short and raises no
// signal, only the next one does.
std::size_t CLog::File::Send(std::string_view text) {
  std::size_t sent = 0;
  if (!size_limited_) sent = WriteOnce(descriptor_, text);
  if (sent < text.size()) {
    size_limited_ = true;
    sent += WriteUnderLimit(descriptor_, text.substr(sent));
  }
  return sent;
}

// Notices a limit that is set or lifted while the log is in use.
void CLog::File::CheckLimit(std::size_t bytes) {
  if (bytes_until_check_ == 0) {
    size_limited_ = HasSizeLimit();
    bytes_until_check_ = kBytesBetweenChecks;
  }
  bytes_until_check_ -= std::min(bytes_until_check_, bytes);
}

void CLog::File::Flush() {
  if (!waiting_.empty()) waiting_.erase(0, Send(waiting_));
}

CLog::CLog(const std::vector<std::string>& names) : crlf_(false) {
  InitialiseStandardOutput();
  for (const std::string& name : names)
    if (file_.Open(name)) return;
}

CLog::CLog(const std::string& name, bool crlf) : crlf_(crlf) {
  InitialiseStandardOutput();
  file_.Open(name);
}

CLog::~CLog() = default;

void CLog::Write(std::string_view text) {
  const bool flush = Holds(text, '\n') || Holds(text, '\r');
  const std::lock_guard<std::mutex> lock(mutex_);
  file_.Write(text, flush);
  if (file_.size_limited())
    WriteToLimitedOutput(text, flush);
  else
    WriteToStandardOutput(text, flush);
}

// Everything is inlined that is not rare: after a system call, the processor
// has forgotten where to return to, and every return takes several nanoseconds.
[[gnu::flatten]] CLog& operator<<(CLog& log, const std::string& text) {
  if (log.crlf_ && Holds(text, '\n'))
    log.Write(WithCarriageReturns(text));
  else
    log.Write(text);
  return log;
}

}  // namespace fairlead
