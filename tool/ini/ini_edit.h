// Edits of INI files: in the file, or as a diff.

#ifndef FAIRLEAD_TOOL_INI_INI_EDIT_H_
#define FAIRLEAD_TOOL_INI_INI_EDIT_H_

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "fairlead/file/file_edit.h"
#include "fairlead/ini/ini_document.h"
#include "tool/base/exit_status.h"
#include "tool/command/arguments.h"
#include "tool/ini/ini_parameters.h"
#include "tool/io/output.h"

namespace fairlead::tool::ini {

/// What an edit does if the file does not exist.
enum class Missing { kFails, kIsEmpty };

/// Changes a document, or throws Failure.
using Edit = std::function<void(IniDocument& document)>;

/// Edits the file that -file names, as -dryrun, -check, -inplace and -backup
/// say.
///
/// @return kAnswerIsNo with -check if the edit would change the file
/// @throws Failure as the edit, ParsedWithWarning() and RewriteFile() do
ExitStatus EditDocument(const Arguments<kEditingUses>& arguments,
                        const Output& output, Missing missing,
                        const Edit& edit);

/// The text of a file, and the one that an edit makes of it.
class EditedText {
 public:
  EditedText() = default;
  EditedText(const EditedText&) = delete;
  EditedText& operator=(const EditedText&) = delete;
  virtual ~EditedText() = default;

  virtual std::string_view OldText() const = 0;
  /// Returns false if the new text is known to be the old one.
  virtual bool MayDiffer() const { return true; }
  /// Passes the new text on. What is not new are parts of OldText().
  virtual void ForEachPiece(const PieceWriter& take) const = 0;
};

/// Edits the text; nothing is that of a file that does not exist.
using TextEdit =
    std::function<std::unique_ptr<EditedText>(std::optional<std::string> text)>;

/// Does the same as EditDocument() with any text.
ExitStatus EditText(const Arguments<kWritingFileUses>& arguments,
                    const Output& output, const TextEdit& edit);

/// Returns the text that an edit would change, or nothing if there is no file.
/// Does not read a pipe or a device, which may have no end.
///
/// @throws Failure with kCannotWrite if it is not a regular file or its folder
///     does not exist, as EditText() does; kCannotRead
std::optional<std::string> TextToPreview(const std::string& file);

/// Throws Failure with kCannotRead for a file that does not exist.
[[noreturn]] void FailMissing(const std::string& file);

}  // namespace fairlead::tool::ini

#endif  // FAIRLEAD_TOOL_INI_INI_EDIT_H_
