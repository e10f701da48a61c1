#include "tool/ini/ini_store.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>

#include "tool/base/concat.h"
#include "tool/base/descriptor.h"
#include "tool/base/failure.h"
#include "tool/ini/ini_lines.h"

namespace fairlead::tool::ini {
namespace {

// While it lives, what the library prints goes nowhere: "<#> " for every
// disabled line that the store saves is nothing that a person asked for.
class Hush {
 public:
  Hush() : before_(fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1)) {
    const Descriptor nowhere(open("/dev/null", O_WRONLY | O_CLOEXEC));
    Point(nowhere);
  }
  Hush(const Hush&) = delete;
  Hush& operator=(const Hush&) = delete;
  ~Hush() { Point(before_); }

 private:
  static void Point(const Descriptor& file) {
    (void)std::fflush(stdout);
    dup2(file.number(), STDOUT_FILENO);
  }

  Descriptor before_;
};

volatile std::sig_atomic_t limit_was_met = 0;

// While it lives, a write that a limit on the size of files cuts short is
// noted, for the library does not tell of it, and files in memory have the
// limit too.
class LimitWatch {
 public:
  LimitWatch() {
    limit_was_met = 0;
    before_ = std::signal(SIGXFSZ, [](int) { limit_was_met = 1; });
  }
  LimitWatch(const LimitWatch&) = delete;
  LimitWatch& operator=(const LimitWatch&) = delete;
  ~LimitWatch() { (void)std::signal(SIGXFSZ, before_); }

 private:
  void (*before_)(int);
};

void CheckLimit() {
  if (limit_was_met == 0) return;
  throw Failure(kCannotWrite, Concat("a copy in memory cannot be written: ",
                                     ErrorText(EFBIG)));
}

}  // namespace

MemoryCopy Readable(const std::string& text, const std::string& file) {
  Lines(text).CheckReadable(file);
  return MemoryCopy(text);
}

std::string Edited(const std::string& text, const std::string& file,
                   const Operation& operation) {
  const Lines lines(text);
  lines.CheckEditable(file);
  const MemoryCopy copy(text);
  const Hush hush;
  const LimitWatch watch;
  if (!operation(copy.path()))
    throw Failure(kCannotWrite, "a copy in memory cannot be written");
  CheckLimit();
  return copy.Text() + lines.comments_at_end();
}

std::string SavedText(const std::vector<CIniFile::Record>& records) {
  const MemoryCopy copy("");
  const Hush hush;
  const LimitWatch watch;
  CIniFile::Save(copy.path(), records);
  CheckLimit();
  return copy.Text();
}

}  // namespace fairlead::tool::ini
