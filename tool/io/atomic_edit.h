// Edits of a file that happen at once or not at all.

#ifndef FAIRLEAD_TOOL_IO_ATOMIC_EDIT_H_
#define FAIRLEAD_TOOL_IO_ATOMIC_EDIT_H_

#include <chrono>
#include <functional>
#include <optional>
#include <string>

namespace fairlead::tool {

/// Makes a file's new text of its old one, which is absent where there is no
/// file. It may be asked more than once for one edit; what it throws ends the
/// edit, and the file stays as it is.
using Change =
    std::function<std::string(const std::optional<std::string>& old_text)>;

/// How the new text gets into the file.
enum class Writing {
  kReplace,  ///< A new file takes the place of the old one.
  kInPlace,  ///< The file itself is overwritten.
};

/// How long an edit waits for another one of the same file to end.
struct Patience {
  std::chrono::milliseconds limit{10'000};
  std::chrono::milliseconds until_told{1'000};
  std::function<void()> tell = [] {};  ///< Called once, after `until_told`.
};

/// Edits a file, or makes it where there is none.
///
/// A symbolic link is followed to its target. While the edit lasts, the file
/// has the lock of EditLock, so that of two edits none is lost. The new text
/// goes into a file without a name in the same folder, which gets the owner,
/// the access control list, the extended attributes and the mode of the old
/// one, is brought to the disk and takes the old one's name: whatever happens,
/// the name stands for the whole old text or the whole new one. A file that is
/// not there yet gets the mode 0666 without the bits of the umask. Where the
/// text does not change, nothing is written.
///
/// In place, the file keeps all but its text. Where writing fails, the old text
/// is written back; a process that is killed meanwhile leaves a mixture.
///
/// SIGINT, SIGTERM and SIGHUP end the process before anything is written or
/// after all is, but not in between. Hidden files that edits left behind which
/// were killed otherwise are deleted.
///
/// @throws Failure with kCannotRead or kCannotWrite; also, unless the writing
///     is in place, for a file that another cannot take the place of without
///     loss: one with several names or with an owner or an attribute that
///     cannot be kept; with kTimeIsOver where another edit lasts too long. The
///     old text is then still there, or the failure's text says otherwise.
void EditFile(const std::string& path, Writing writing, const Change& change,
              const Patience& patience = {});

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_IO_ATOMIC_EDIT_H_
