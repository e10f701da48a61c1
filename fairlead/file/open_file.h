// Whole files, read and written with system calls. Not installed.

#ifndef FAIRLEAD_FILE_OPEN_FILE_H_
#define FAIRLEAD_FILE_OPEN_FILE_H_

#include <cstddef>
#include <string>
#include <string_view>

#include "fairlead/base/descriptor.h"

namespace fairlead::internal {

// Reads from the descriptor's position to the end. Allocates for the size that
// the file reports, so that its bytes are not copied again. `text` becomes what
// was read, also if an error occurs. Returns 0 or the error.
int ReadToEnd(int descriptor, std::string& text);

// Opens a file and closes it at the end of its scope. Its descriptor is never
// 0, 1 or 2.
class OpenFile {
 public:
  // Takes the flags of open(2). Do not pass O_TRUNC: it would empty a file that
  // cannot be moved to a descriptor above 2.
  OpenFile(const std::string& name, int flags);

  bool IsOpen() const { return descriptor_.IsOpen(); }

  // Empties the file as O_TRUNC does: does nothing to a file that is not
  // regular, such as a pipe. Returns whether it succeeded.
  bool Truncate() const;

  // Returns the contents, up to the end or the last whole line before an error.
  std::string ReadAll() const;

  // Writes the text; returns whether all of it was written.
  bool WriteAll(std::string_view text) const;

 private:
  const Descriptor descriptor_;
};

}  // namespace fairlead::internal

#endif  // FAIRLEAD_FILE_OPEN_FILE_H_
