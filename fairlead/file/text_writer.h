// Writes pieces of a text to a file in few system calls. Not installed.

#ifndef FAIRLEAD_FILE_TEXT_WRITER_H_
#define FAIRLEAD_FILE_TEXT_WRITER_H_

#include <sys/types.h>

#include <cerrno>
#include <csignal>
#include <cstddef>
#include <string>
#include <string_view>

#include "fairlead/base/blocked_signals.h"
#include "fairlead/base/descriptor.h"

namespace fairlead::internal {

// Writes from the beginning of a file on. Its functions allocate nothing.
class TextWriter {
 public:
  TextWriter() { buffer_.reserve(kBufferSize); }

  // Appends the text. Collects short texts in a buffer, so an error may be that
  // of an earlier text. Returns 0 or the error.
  int Write(const Descriptor& file, std::string_view text) {
    if (buffer_.size() + text.size() <= kBufferSize) {
      buffer_ += text;
      return 0;
    }
    const int error = Flush(file);
    return error == 0 ? Append(file, text) : error;
  }

  // Writes what is in the buffer. Returns 0 or the error.
  int Flush(const Descriptor& file) {
    const int error = Append(file, buffer_);
    buffer_.clear();
    return error;
  }

 private:
  // What is written at once. A system call costs about as much as copying this
  // much.
  static constexpr std::size_t kBufferSize = std::size_t{1} << 16;

  // A limit on file sizes is an error only.
  int Append(const Descriptor& file, std::string_view text) {
    const BlockedSignal limit(SIGXFSZ);
    const int error = WriteAllAt(file.number(), text, size_);
    if (error == EFBIG) limit.Discard();
    size_ += static_cast<off_t>(text.size());
    return error;
  }

  std::string buffer_;
  off_t size_ = 0;  // Of the file, without the buffer.
};

}  // namespace fairlead::internal

#endif  // FAIRLEAD_FILE_TEXT_WRITER_H_
