#include "tool/command/same_file.h"

#include <sys/stat.h>
#include <unistd.h>

#include "tool/base/concat.h"
#include "tool/base/escapes.h"
#include "tool/base/failure.h"

namespace fairlead::tool {
namespace {

bool AreOne(const struct stat& a, const struct stat& b) {
  return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

}  // namespace

void CheckDistinct(const Arguments& arguments, const Parameter& written,
                   const Parameter& read) {
  if (!arguments.Has(written) || !arguments.Has(read)) return;
  const std::string path = arguments.Text(written);
  struct stat target = {};
  struct stat source = {};
  if (stat(path.c_str(), &target) != 0 || !S_ISREG(target.st_mode)) return;
  if (stat(arguments.Text(read).c_str(), &source) != 0) return;
  if (!AreOne(target, source)) return;
  throw Failure(kWrongUsage,
                Concat("-", written.name, " is the file of -", read.name, ", ",
                       Quoted(path), ": name another for -", written.name));
}

bool IsStandardInput(const char* path) {
  struct stat file = {};
  struct stat input = {};
  return stat(path, &file) == 0 && fstat(STDIN_FILENO, &input) == 0 &&
         !S_ISREG(file.st_mode) && AreOne(file, input);
}

}  // namespace fairlead::tool
