// A new file beside an old one, to take its place once it is whole.

#ifndef FAIRLEAD_TOOL_IO_REPLACEMENT_FILE_H_
#define FAIRLEAD_TOOL_IO_REPLACEMENT_FILE_H_

#include <sys/stat.h>
#include <sys/types.h>

#include <optional>
#include <string>
#include <string_view>

#include "tool/base/descriptor.h"

namespace fairlead::tool {

/// What the path stands for when the symbolic links at its end are followed;
/// the last one may lead to where there is no file yet.
///
/// @throws Failure with kCannotRead for links that lead in a circle
std::string FollowLinks(const std::string& path);

/// @throws Failure with kCannotWrite, always
[[noreturn]] void FailToWrite(const std::string& path, std::string_view why);
[[noreturn]] void FailToWrite(const std::string& path, int error);

/// The four below throw a Failure with kCannotWrite; the path is for its text.

struct stat StatusOf(const Descriptor& file, const std::string& path);

/// Writes all of the text from the position `at` on.
void WriteAll(const Descriptor& file, std::string_view text, off_t at,
              const std::string& path);

/// Brings the file to the disk.
void Sync(const Descriptor& file, const std::string& path);

/// A hidden file in the target's folder, deleted at the end unless it has got
/// the target's name. One that a killed process left behind does not matter:
/// the next number is free.
class Beside {
 public:
  /// @param target no symbolic link
  /// @param old the file of that name, or nothing where there is none
  /// @param remedy is added to what is said where the old file cannot be
  ///     replaced: " (...)", or ""
  /// @throws Failure with kCannotWrite; also where a new file cannot take the
  ///     place of the old one without loss: that has several names
  Beside(std::string target, const std::optional<struct stat>& old,
         std::string_view remedy);
  Beside(const Beside&) = delete;
  Beside& operator=(const Beside&) = delete;
  ~Beside();

  /// Appends the text.
  void Write(std::string_view text);

  /// Gives the file the mode and the owner of the old one, brings it to the
  /// disk and gives it the target's name.
  ///
  /// @return false where there was no old file and one has appeared meanwhile
  /// @throws Failure with kCannotWrite, for an owner that cannot be kept too
  bool Rename();

 private:
  int OpenNew();
  void BeLikeTheOld() const;
  [[noreturn]] void FailToReplace(std::string_view why) const;

  const std::string target_;
  const std::optional<struct stat> old_;
  const std::string remedy_;
  std::string path_;
  const Descriptor file_;
  off_t size_ = 0;
  bool renamed_ = false;
};

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_IO_REPLACEMENT_FILE_H_
