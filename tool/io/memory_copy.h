// A copy of a file's text that only this process sees.

#ifndef FAIRLEAD_TOOL_IO_MEMORY_COPY_H_
#define FAIRLEAD_TOOL_IO_MEMORY_COPY_H_

#include <string>
#include <string_view>

#include "tool/base/descriptor.h"

namespace fairlead::tool {

/// A file without a disk, for functions that read a file by its name.
///
/// What they read was looked at before and cannot change meanwhile. Opening or
/// reading it can still fail, as for any file.
class MemoryCopy {
 public:
  /// @param name what an error calls the text
  /// @throws Failure with kCannotWrite where the copy cannot be made, with
  ///     kCannotRead where it cannot be opened
  MemoryCopy(std::string_view text, const std::string& name);

  /// The path, for as long as the object lives.
  std::string path() const;

 private:
  Descriptor file_;
};

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_IO_MEMORY_COPY_H_
