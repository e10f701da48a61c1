// The log: whole lines, to a file and to standard output at once.
#include "fairlead/log/log.h"

#include <algorithm>
#include <cstdio>
#include <iostream>

namespace fairlead {
namespace {

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

}  // namespace

bool CLog::File::Open(const std::string& name) {
  return open(name, std::ios::app | std::ios::binary) != nullptr;
}

// After a failure the buffer still holds all it was to write, although a part
// may have reached the file. It is emptied, lest that part be written twice.
void CLog::File::Write(std::string_view text, bool flush) {
  const auto size = static_cast<std::streamsize>(text.size());
  const bool written =
      sputn(text.data(), size) == size && (!flush || pubsync() == 0);
  if (!written) setp(pbase(), epptr());
}

CLog::CLog(const std::vector<std::string>& names) : crlf_(false) {
  for (const std::string& name : names)
    if (file_.Open(name)) return;
}

CLog::CLog(const std::string& name, bool crlf) : crlf_(crlf) {
  file_.Open(name);
}

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
