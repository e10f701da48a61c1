// A text as a file in memory.

#ifndef FAIRLEAD_TOOL_IO_MEMORY_COPY_H_
#define FAIRLEAD_TOOL_IO_MEMORY_COPY_H_

#include <string>
#include <string_view>

#include "tool/base/descriptor.h"

namespace fairlead::tool {

/// An in-memory file for functions that read a file by name.
///
/// They read exactly the given text: it cannot change in the meantime. Opening
/// or reading it can still fail, as for any file.
class MemoryCopy {
 public:
  /// @param name the name of the text in error messages
  /// @throws Failure with kCannotWrite if the copy cannot be written, with
  ///     kCannotRead if it cannot be opened
  MemoryCopy(std::string_view text, const std::string& name);

  /// Returns the path, which is valid for the lifetime of the object.
  std::string path() const;

 private:
  Descriptor file_;
};

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_IO_MEMORY_COPY_H_
