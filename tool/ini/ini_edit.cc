// Edits INI files.

#include "tool/ini/ini_edit.h"

#include <cerrno>
#include <filesystem>
#include <optional>
#include <string>
#include <system_error>
#include <utility>

#include "fairlead/ini/file_edit.h"
#include "tool/base/concat.h"
#include "tool/base/escapes.h"
#include "tool/base/failure.h"
#include "tool/ini/difference.h"
#include "tool/ini/ini_output.h"
#include "tool/ini/ini_source.h"
#include "tool/io/file_failure.h"
#include "tool/io/read_file.h"

namespace fairlead::tool::ini {
namespace {

// Shows what the edit would do, and writes nothing.
ExitStatus Preview(const Arguments<kWritingFileUses>& arguments,
                   const Output& output, const TextEdit& edit) {
  const std::string file = arguments.Text(kFile);
  const std::optional<std::string> text = TextToPreview(file);
  const std::string changed = edit(text);
  if (arguments.Has(kDryrun))
    Print(output, Format::kTextLines,
          Difference(file, text.value_or(""), changed));
  return arguments.Has(kCheck) && changed != text ? kAnswerIsNo : kDone;
}

}  // namespace

ExitStatus EditText(const Arguments<kWritingFileUses>& arguments,
                    const Output& output, const TextEdit& edit) {
  if (arguments.Has(kDryrun) || arguments.Has(kCheck))
    return Preview(arguments, output, edit);
  const std::string file = arguments.Text(kFile);
  const FileEditOptions options = {
      .in_place = arguments.Has(kInplace), .on_wait = [&file] {
        PrintNote("ini", Concat("waiting for another edit of ", Quoted(file)));
      }};
  Check(EditFile(file, edit, options),
        " (-inplace overwrites the file itself)");
  return kDone;
}

ExitStatus EditDocument(const Arguments<kEditingUses>& arguments,
                        const Output& output, Missing missing,
                        const Edit& edit) {
  const std::string file = arguments.Text(kFile);
  const IniReading reading = ReadingOf(arguments.Has(kRecords));
  return EditText(
      arguments, output, [&](const std::optional<std::string>& text) {
        if (!text && missing == Missing::kFails) FailMissing(file);
        IniDocument document = Parsed(text.value_or(""), file, reading);
        edit(document);
        return document.Text();
      });
}

std::optional<std::string> TextToPreview(const std::string& file) {
  std::error_code unknown;
  if (std::filesystem::is_other(std::filesystem::status(file, unknown)))
    throw Failure(kCannotWrite, Concat("cannot write ", Quoted(file),
                                       ": it is not a regular file"));
  return ReadFileIfAny(file);
}

void FailMissing(const std::string& file) {
  throw Failure(kCannotRead,
                Concat("cannot open ", Quoted(file), ": ", ErrorText(ENOENT)));
}

}  // namespace fairlead::tool::ini
