// Edits of a file that happen at once or not at all.

#ifndef FAIRLEAD_TOOL_IO_ATOMIC_EDIT_H_
#define FAIRLEAD_TOOL_IO_ATOMIC_EDIT_H_

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
  kInPlace,  ///< The file itself is rewritten.
};

/// Edits a file, or makes it where there is none.
///
/// A symbolic link is followed to its target. While the edit lasts, the file is
/// locked with flock(2), so that of two edits none is lost. The new text goes
/// into a hidden file in the same folder, which gets the mode and the owner of
/// the old one, is brought to the disk and renamed to the old one's name:
/// whatever happens, the name stands for the whole old text or the whole new
/// one. A file that is not there yet gets the mode 0666 without the bits of the
/// umask. Where the text does not change, nothing is written.
///
/// @throws Failure with kCannotRead or kCannotWrite; also, unless the writing
///     is in place, for a file that another cannot take the place of without
///     loss: one with several names or with an owner that cannot be kept
void EditFile(const std::string& path, Writing writing, const Change& change);

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_IO_ATOMIC_EDIT_H_
