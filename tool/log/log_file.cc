#include "tool/log/log_file.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <iostream>
#include <utility>

#include "tool/base/concat.h"
#include "tool/base/escapes.h"
#include "tool/base/failure.h"

namespace fairlead::tool {
namespace {

constexpr mode_t kMode = 0666;  // Less what the umask takes away.

[[noreturn]] void Fail(std::string_view what, const std::string& path) {
  const int error = errno;
  throw Failure(kCannotWrite,
                Concat(what, " ", Quoted(path), ": ", ErrorText(error)));
}

// The number of the open file. Writing nothing changes nothing, but lets a
// device without room say so.
int Opened(const std::string& path) {
  const int number =
      open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, kMode);
  if (number == -1) Fail("cannot open", path);
  if (write(number, "", 0) == 0) return number;
  const int error = errno;
  close(number);
  errno = error;
  Fail("cannot write", path);
}

}  // namespace

LogFile::LogFile(std::string path, bool crlf, std::streambuf* copy)
    : path_(std::move(path)),
      crlf_(crlf),
      file_(Opened(path_)),
      size_before_(Size()),
      console_(std::cout.rdbuf(copy)),
      log_(path_, crlf) {}

LogFile::~LogFile() { std::cout.rdbuf(console_); }

void LogFile::Write(const std::string& text) {
  log_ << text;
  const auto added = crlf_ ? std::count(text.begin(), text.end(), '\n') : 0;
  written_ += static_cast<std::int64_t>(text.size()) + added;
}

struct stat LogFile::Facts() const {
  struct stat facts = {};
  if (fstat(file_.number(), &facts) == -1) Fail("cannot look at", path_);
  return facts;
}

bool LogFile::IsReady() const {
  pollfd room{.fd = file_.number(), .events = POLLOUT, .revents = 0};
  return poll(&room, 1, 0) == 1;
}

std::string LogFile::Missing() const {
  const std::int64_t size = Size();
  const std::int64_t written = written_;
  const std::int64_t missing = size_before_ + written - size;
  if (size == -1 || missing <= 0) return "";
  return Concat("of ", written, " bytes written to ", Quoted(path_), ", ",
                missing,
                " are not in it: the disk is full, a limit is reached, or "
                "somebody has cut the file");
}

// -1 for what has no size of its own.
std::int64_t LogFile::Size() const {
  const struct stat facts = Facts();
  return S_ISREG(facts.st_mode) ? facts.st_size : -1;
}

}  // namespace fairlead::tool
