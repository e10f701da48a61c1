// Detects two parameters that name one file.

#include "tool/command/same_file.h"

#include <sys/stat.h>
#include <unistd.h>

#include "tool/base/concat.h"
#include "tool/base/escapes.h"
#include "tool/base/failure.h"

namespace fairlead::tool {
namespace {

bool IsSameFile(const struct stat& a, const struct stat& b) {
  return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

}  // namespace

void CheckDistinct(const Parameter& written, const std::string& written_path,
                   const Parameter& read, const std::string& read_path) {
  struct stat target = {};
  struct stat source = {};
  if (stat(written_path.c_str(), &target) != 0 || !S_ISREG(target.st_mode))
    return;
  if (stat(read_path.c_str(), &source) != 0 || !IsSameFile(target, source))
    return;
  throw Failure(kWrongUsage,
                Concat("-", written.name, " and -", read.name,
                       " name the same file, ", Quoted(written_path)));
}

void CheckIsNotInput(const Parameter& written, const std::string& written_path,
                     const Parameter& read) {
  struct stat target = {};
  struct stat input = {};
  if (stat(written_path.c_str(), &target) != 0 || !S_ISREG(target.st_mode))
    return;
  if (fstat(STDIN_FILENO, &input) != 0 || !IsSameFile(target, input)) return;
  throw Failure(kWrongUsage,
                Concat("-", written.name, " names the file that -", read.name,
                       " reads, ", Quoted(written_path)));
}

bool IsStandardInput(const char* path) {
  struct stat file = {};
  struct stat input = {};
  return stat(path, &file) == 0 && fstat(STDIN_FILENO, &input) == 0 &&
         !S_ISREG(file.st_mode) && IsSameFile(file, input);
}

bool IsReadOnce(const char* path) {
  struct stat file = {};
  const bool is_known = stat(path, &file) == 0;
  return (is_known && (S_ISFIFO(file.st_mode) || S_ISSOCK(file.st_mode))) ||
         IsStandardInput(path);
}

}  // namespace fairlead::tool
