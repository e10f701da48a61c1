#include "tool/io/leftovers.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <csignal>
#include <filesystem>
#include <string_view>
#include <system_error>

#include "tool/base/concat.h"
#include "tool/base/descriptor.h"
#include "tool/io/edit_lock.h"

namespace fairlead::tool {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kStart = ".fairlead.";

// Takes a whole number from the front of the text; 0 where there is none.
int TakeNumber(std::string_view& text) {
  int number = 0;
  const char* const end = text.data() + text.size();
  const auto result = std::from_chars(text.data(), end, number);
  text = {result.ptr, end};
  return number;
}

// The process in the name of a hidden file; 0 for another name.
pid_t MakerOf(std::string_view name) {
  if (!name.starts_with(kStart)) return 0;
  name.remove_prefix(kStart.size());
  const pid_t maker = TakeNumber(name);
  if (!name.starts_with('.')) return 0;
  name.remove_prefix(1);
  const bool has_number = !name.empty();
  TakeNumber(name);
  return has_number && name.empty() && maker > 0 ? maker : 0;
}

bool IsDead(pid_t process) { return kill(process, 0) == -1 && errno == ESRCH; }

bool IsFreeAndOurs(const Descriptor& file) {
  struct stat status = {};
  return file.IsOpen() && fstat(file.number(), &status) == 0 &&
         S_ISREG(status.st_mode) && status.st_uid == geteuid() &&
         TryToLock(file) == 0;
}

// With the lock on it until it is gone, so that of two no one deletes a new
// file of that name.
void Remove(const std::string& path) {
  const Descriptor file(
      open(path.c_str(), O_WRONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  if (IsFreeAndOurs(file)) unlink(path.c_str());
}

}  // namespace

std::string HiddenPath(const std::string& folder, int number) {
  return Concat(folder, "/", kStart, getpid(), ".", number);
}

void RemoveLeftovers(const std::string& folder) {
  std::error_code error;
  fs::directory_iterator entry(folder, error);
  for (; !error && entry != fs::directory_iterator(); entry.increment(error)) {
    const pid_t maker = MakerOf(entry->path().filename().native());
    if (maker != 0 && IsDead(maker)) Remove(entry->path());
  }
}

}  // namespace fairlead::tool
