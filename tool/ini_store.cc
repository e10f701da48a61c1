#include "tool/ini_store.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>

#include "tool/descriptor.h"
#include "tool/failure.h"
#include "tool/ini_lines.h"

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
  if (!operation(copy.path()))
    throw Failure(kCannotWrite, "a copy in memory cannot be written");
  return copy.Text() + lines.comments_at_end();
}

std::string SavedText(const std::vector<CIniFile::Record>& records) {
  const MemoryCopy copy("");
  const Hush hush;
  CIniFile::Save(copy.path(), records);
  return copy.Text();
}

}  // namespace fairlead::tool::ini
