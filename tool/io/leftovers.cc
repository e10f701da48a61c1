// Deletes the hidden files of edits that were killed.

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

constexpr std::string_view kPrefix = ".fairlead.";

// Removes a leading integer from the text and returns it; 0 if there is none.
int TakeNumber(std::string_view& text) {
  int number = 0;
  const char* const end = text.data() + text.size();
  const auto result = std::from_chars(text.data(), end, number);
  text = {result.ptr, end};
  return number;
}

// Returns the process ID in the name of a hidden file; 0 for any other name.
pid_t CreatorOf(std::string_view name) {
  if (!name.starts_with(kPrefix)) return 0;
  name.remove_prefix(kPrefix.size());
  const pid_t creator = TakeNumber(name);
  if (!name.starts_with('.')) return 0;
  name.remove_prefix(1);
  const bool has_number = !name.empty();
  TakeNumber(name);
  return has_number && name.empty() && creator > 0 ? creator : 0;
}

bool IsDead(pid_t process) { return kill(process, 0) == -1 && errno == ESRCH; }

bool IsStale(const Descriptor& file, uid_t owner) {
  struct stat status = {};
  return file.IsOpen() && fstat(file.number(), &status) == 0 &&
         S_ISREG(status.st_mode) &&
         (status.st_uid == geteuid() || status.st_uid == owner) &&
         TryToLock(file) == 0;
}

// Deletes the file while it is locked, so that no other process deletes a new
// file of that name.
void Remove(const std::string& path, uid_t owner) {
  const Descriptor file(
      open(path.c_str(), O_WRONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  if (IsStale(file, owner)) unlink(path.c_str());
}

}  // namespace

std::string HiddenPath(const std::string& folder, int number) {
  return Concat(folder, "/", kPrefix, getpid(), ".", number);
}

void RemoveLeftovers(const std::string& folder, const Descriptor& edited) {
  struct stat status = {};
  const uid_t owner =
      fstat(edited.number(), &status) == 0 ? status.st_uid : geteuid();
  std::error_code error;
  fs::directory_iterator entry(folder, error);
  for (; !error && entry != fs::directory_iterator(); entry.increment(error)) {
    const pid_t creator = CreatorOf(entry->path().filename().native());
    if (creator != 0 && IsDead(creator)) Remove(entry->path(), owner);
  }
}

}  // namespace fairlead::tool
