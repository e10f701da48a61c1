// Files as the INI store reads and writes them: whole, by the kernel's calls.

#ifndef FAIRLEAD_INI_OPEN_FILE_H_
#define FAIRLEAD_INI_OPEN_FILE_H_

#include <cstddef>
#include <string>
#include <string_view>

#include "fairlead/base/descriptor.h"

namespace fairlead::internal {

// A file that is open, or could not be opened; closed at the end of its scope.
// It never has the number of a standard stream.
class OpenFile {
 public:
  // The flags are those of open(2). Without O_TRUNC: a file that cannot be
  // given another number has lost nothing then.
  OpenFile(const std::string& name, int flags);

  bool IsOpen() const { return descriptor_.IsOpen(); }

  // Makes the file empty, as O_TRUNC does: what is not a regular file, such as
  // a pipe, stays as it is. Returns whether that could be done.
  bool Truncate() const;

  // What the file holds, up to its end or to the last line that can be read.
  std::string ReadAll() const;

  // Whether the kernel took all of the text.
  bool WriteAll(std::string_view text) const;

 private:
  std::size_t ExpectedSize() const;

  const Descriptor descriptor_;
};

}  // namespace fairlead::internal

#endif  // FAIRLEAD_INI_OPEN_FILE_H_
