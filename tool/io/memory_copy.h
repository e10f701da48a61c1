// A copy of a file's text that only this process sees.

#ifndef FAIRLEAD_TOOL_IO_MEMORY_COPY_H_
#define FAIRLEAD_TOOL_IO_MEMORY_COPY_H_

#include <string>
#include <string_view>

#include "tool/base/descriptor.h"

namespace fairlead::tool {

/// A file without a disk, for functions that take a file by its name.
///
/// What they read was looked at before and cannot change meanwhile; what they
/// write cannot meet a full disk halfway.
class MemoryCopy {
 public:
  /// @throws Failure with kCannotRead where the system has no such files
  explicit MemoryCopy(std::string_view text);

  /// The name, for as long as the object lives.
  std::string path() const;

  /// @throws Failure with kCannotRead
  std::string Text() const;

 private:
  Descriptor file_;
};

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_IO_MEMORY_COPY_H_
