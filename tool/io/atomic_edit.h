// Atomic edits of a file.

#ifndef FAIRLEAD_TOOL_IO_ATOMIC_EDIT_H_
#define FAIRLEAD_TOOL_IO_ATOMIC_EDIT_H_

#include <chrono>
#include <functional>
#include <optional>
#include <string>

namespace fairlead::tool {

/// Returns the new text of a file, given the old one, or nothing if there is no
/// file. May be called more than once for one edit. If it throws, the edit ends
/// and the file is not changed.
using Change =
    std::function<std::string(const std::optional<std::string>& old_text)>;

/// How the new text gets into the file.
enum class Writing {
  kReplace,  ///< A new file is renamed over the old one.
  kInPlace,  ///< The file itself is overwritten.
};

/// How long an edit waits for another edit of the same file.
struct Patience {
  std::chrono::milliseconds limit{10'000};
  std::chrono::milliseconds notice_after{1'000};
  std::function<void()> give_notice = [] {};  ///< Called once.
};

/// Edits a file, or creates it if it does not exist.
///
/// Follows symbolic links. Holds an EditLock on the file, so that no concurrent
/// edit is lost; but if only a reader prevents that, the edit goes on without
/// it after the time limit. Does not write if the text does not change.
///
/// With kReplace, the new text is written to an unnamed file in the same
/// folder. That file gets the owner, the access control list, the extended
/// attributes and the mode of the old one, is synced and is renamed over the
/// old one: at every moment the name refers to the complete old text or the
/// complete new one. A new file gets the mode 0666 less the umask.
///
/// With kInPlace, the file keeps everything but its text. If writing fails, the
/// old text is restored. A process killed while writing leaves a mixture.
///
/// SIGINT, SIGTERM and SIGHUP are held back while the file is written. An edit
/// that writes also deletes the stale hidden files of killed ones.
///
/// @throws Failure with kCannotRead or kCannotWrite; with kCannotWrite also if
///     kReplace would lose something: another hard link, the owner or an
///     attribute; with kTimeIsOver if another edit takes too long. The old text
///     is then unchanged unless the message says otherwise.
void EditFile(const std::string& path, Writing writing, const Change& change,
              const Patience& patience = {});

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_IO_ATOMIC_EDIT_H_
