// Writes a log file and detects what is missing in it.

#include "tool/log/log_file.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <iostream>
#include <utility>

#include "tool/base/bytes_text.h"
#include "tool/base/concat.h"
#include "tool/base/descriptor.h"
#include "tool/base/escapes.h"
#include "tool/base/failure.h"

namespace fairlead::tool {
namespace {

[[noreturn]] void Fail(std::string_view what, const std::string& path) {
  const int error = errno;
  throw Failure(kCannotWrite,
                Concat(what, " ", Quoted(path), ": ", ErrorText(error)));
}

// Opens the file. Writing zero bytes changes nothing but detects a full device.
int Open(const std::string& path) {
  const int file = OpenUninterrupted(
      path.c_str(), O_WRONLY | O_APPEND | O_CREAT, kNewFileMode);
  if (file == -1) Fail("cannot open", path);
  int error = 0;
  do {
    error = write(file, "", 0) == 0 ? 0 : errno;
  } while (error == EINTR);
  if (error == 0) return file;
  close(file);
  errno = error;
  Fail("cannot write", path);
}

}  // namespace

LogFile::LogFile(std::string path, bool crlf, std::streambuf* copy)
    : path_(std::move(path)),
      crlf_(crlf),
      file_(Open(path_)),
      size_before_(Size()),
      console_(std::cout.rdbuf(copy)),
      log_(path_, crlf) {}

LogFile::~LogFile() { std::cout.rdbuf(console_); }

void LogFile::Write(const std::string& text) {
  const auto added = crlf_ ? std::count(text.begin(), text.end(), '\n') : 0;
  const auto size = static_cast<std::int64_t>(text.size()) + added;
  if (HasNoReader()) unread_ += size;
  log_ << text;
  written_ += size;
}

struct stat LogFile::Status() const {
  struct stat status = {};
  if (fstat(file_.number(), &status) == -1)
    Fail("cannot get the size of", path_);
  return status;
}

bool LogFile::IsReady() const {
  pollfd wait{.fd = file_.number(), .events = POLLOUT, .revents = 0};
  return poll(&wait, 1, 0) == 1;
}

bool LogFile::HasNoReader() const {
  if (size_before_ != -1) return false;
  pollfd file{.fd = file_.number(), .events = POLLOUT, .revents = 0};
  return poll(&file, 1, 0) == 1 && (file.revents & POLLERR) != 0;
}

std::string LogFile::Missing() const {
  if (unread_ > 0)
    return Concat(unread_.load(), " of ", BytesText(written_.load()),
                  " written to ", Quoted(path_),
                  " are missing: no program reads it");
  const std::int64_t size = Size();
  const std::int64_t written = written_;
  const std::int64_t missing = size_before_ + written - size;
  if (size == -1 || missing <= 0) return "";
  return Concat(missing, " of ", BytesText(written), " written to ",
                Quoted(path_),
                " are missing: the disk is full, a limit is reached, or the "
                "file was truncated");
}

// Returns -1 if it is not a regular file.
std::int64_t LogFile::Size() const {
  const struct stat status = Status();
  return S_ISREG(status.st_mode) ? status.st_size : -1;
}

}  // namespace fairlead::tool
