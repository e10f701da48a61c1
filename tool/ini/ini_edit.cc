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

constexpr std::string_view kRemedy = " (-inplace overwrites the file itself)";

std::string BackupSuffix(const Arguments<kWritingFileUses>& arguments) {
  std::string suffix = arguments.Text(kBackup);
  if (suffix.find('/') != std::string::npos)
    throw Failure(kWrongUsage,
                  Concat("-backup: ", Quoted(suffix), " contains a '/'"));
  return suffix;
}

FileEditOptions OptionsOf(const Arguments<kWritingFileUses>& arguments) {
  return {.in_place = arguments.Has(kInplace),
          .backup_suffix = BackupSuffix(arguments),
          .on_wait = [file = arguments.Text(kFile)] {
            PrintNote("ini",
                      Concat("waiting for another edit of ", Quoted(file)));
          }};
}

bool IsPreview(const Arguments<kWritingFileUses>& arguments) {
  return arguments.Has(kDryrun) || arguments.Has(kCheck);
}

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
  const FileEditOptions options = OptionsOf(arguments);
  if (IsPreview(arguments)) return Preview(arguments, output, edit);
  Check(EditFile(arguments.Text(kFile), edit, options), kRemedy);
  return kDone;
}

ExitStatus EditDocument(const Arguments<kEditingUses>& arguments,
                        const Output& output, Missing missing,
                        const Edit& edit) {
  const std::string file = arguments.Text(kFile);
  const IniReading reading = ReadingOf(arguments.Has(kRecords));
  const auto edited = [&](std::optional<std::string> text) {
    if (!text && missing == Missing::kFails) FailMissing(file);
    IniDocument document = Parsed(std::move(text).value_or(""), file, reading);
    edit(document);
    return document;
  };
  if (arguments.Has(kCheck) && !arguments.Has(kDryrun)) {
    std::optional<std::string> text = TextToPreview(file);
    const bool is_new = !text;
    const bool changes = edited(std::move(text)).IsEdited();
    return is_new || changes ? kAnswerIsNo : kDone;
  }
  if (IsPreview(arguments))
    return EditText(arguments, output,
                    [&](const std::optional<std::string>& text) {
                      return edited(text).Text();
                    });
  const auto rewrite = [&](std::optional<std::string> text,
                           const PieceWriter& write) {
    const bool is_new = !text;
    const IniDocument document = edited(std::move(text));
    if (!is_new && !document.IsEdited()) return false;
    document.ForEachPiece(write);
    return true;
  };
  Check(RewriteFile(file, rewrite, OptionsOf(arguments)), kRemedy);
  return kDone;
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
