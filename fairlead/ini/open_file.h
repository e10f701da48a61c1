// Files as the INI store reads and writes them: whole, by the kernel's calls.

#ifndef FAIRLEAD_INI_OPEN_FILE_H_
#define FAIRLEAD_INI_OPEN_FILE_H_

#include <cstddef>
#include <string>
#include <string_view>

namespace fairlead::internal {

// A file that is open, or could not be opened; closed at the end of its scope.
class OpenFile {
 public:
  // The flags are those of open(2).
  OpenFile(const std::string& name, int flags);
  OpenFile(const OpenFile&) = delete;
  OpenFile& operator=(const OpenFile&) = delete;
  ~OpenFile();

  bool IsOpen() const { return descriptor_ != -1; }

  // What the file holds, up to its end or to the last line that can be read.
  std::string ReadAll() const;

  // Whether the kernel took all of the text.
  bool WriteAll(std::string_view text) const;

 private:
  std::size_t ExpectedSize() const;

  const int descriptor_;
};

}  // namespace fairlead::internal

#endif  // FAIRLEAD_INI_OPEN_FILE_H_
