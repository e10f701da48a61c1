// Edits INI files.

#include "tool/ini/ini_edit.h"

#include <cerrno>
#include <cstddef>
#include <filesystem>
#include <system_error>
#include <utility>

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

// Prints the changes as a diff. Returns whether there are any.
bool PrintDifference(const std::string& file, const EditedText& text,
                     const Output& output) {
  Printer printer(output, Format::kTextLines);
  Difference difference(
      file, text.OldText(),
      [&printer](std::string_view piece) { printer.Add(piece); });
  text.ForEachPiece(
      [&difference](std::string_view piece) { difference.Take(piece); });
  const bool differ = difference.Finish();
  printer.Flush();
  return differ;
}

// Passes a new text on once it differs from the old one: edits may have undone
// each other.
class ChangedPieces {
 public:
  ChangedPieces(std::string_view old_text, const PieceWriter& write)
      : old_(old_text), write_(write) {}

  void Take(std::string_view piece) {
    if (!differs_ && old_.substr(same_).starts_with(piece)) {
      same_ += piece.size();
      return;
    }
    if (!differs_) Begin();
    write_(piece);
  }

  // Returns whether the texts differ, and then has passed all of the new one
  // on.
  bool Finish() {
    if (!differs_ && same_ < old_.size()) Begin();
    return differs_;
  }

 private:
  void Begin() {
    differs_ = true;
    write_(old_.substr(0, same_));
  }

  const std::string_view old_;
  const PieceWriter& write_;
  std::size_t same_ = 0;
  bool differs_ = false;
};

// Writes the new text if it differs from the old one. Returns whether it does.
bool WriteChanged(const EditedText& text, const PieceWriter& write) {
  if (!text.MayDiffer()) return false;
  ChangedPieces pieces(text.OldText(), write);
  text.ForEachPiece([&pieces](std::string_view piece) { pieces.Take(piece); });
  return pieces.Finish();
}

// Shows what the edit would do, and writes nothing.
ExitStatus Preview(const Arguments<kWritingFileUses>& arguments,
                   const Output& output, const TextEdit& edit) {
  const std::string file = arguments.Text(kFile);
  std::optional<std::string> old_text = TextToPreview(file);
  const bool is_new = !old_text;
  const auto text = edit(std::move(old_text));
  const bool differ = arguments.Has(kDryrun)
                          ? PrintDifference(file, *text, output)
                          : WriteChanged(*text, [](std::string_view) {});
  return arguments.Has(kCheck) && (is_new || differ) ? kAnswerIsNo : kDone;
}

class EditedDocument : public EditedText {
 public:
  explicit EditedDocument(IniDocument document)
      : document_(std::move(document)) {}

  std::string_view OldText() const override { return document_.OriginalText(); }
  bool MayDiffer() const override { return document_.IsEdited(); }
  void ForEachPiece(const PieceWriter& take) const override {
    document_.ForEachPiece(take);
  }

 private:
  const IniDocument document_;
};

}  // namespace

ExitStatus EditText(const Arguments<kWritingFileUses>& arguments,
                    const Output& output, const TextEdit& edit) {
  const FileEditOptions options = OptionsOf(arguments);
  if (IsPreview(arguments)) return Preview(arguments, output, edit);
  const auto rewrite = [&edit](std::optional<std::string> old_text,
                               const PieceWriter& write) {
    const bool is_new = !old_text;
    const auto text = edit(std::move(old_text));
    if (!is_new) return WriteChanged(*text, write);
    text->ForEachPiece(write);
    return true;
  };
  const FileResult result =
      RewriteFile(arguments.Text(kFile), rewrite, options);
  Check(result, kRemedy);
  return kDone;
}

ExitStatus EditDocument(const Arguments<kEditingUses>& arguments,
                        const Output& output, Missing missing,
                        const Edit& edit) {
  const std::string file = arguments.Text(kFile);
  const IniReading reading = ReadingOf(arguments.Has(kRecords));
  return EditText(arguments, output, [&](std::optional<std::string> text) {
    if (!text && missing == Missing::kFails) FailMissing(file);
    IniDocument document =
        ParsedWithWarning(std::move(text).value_or(""), file, reading);
    edit(document);
    return std::make_unique<EditedDocument>(std::move(document));
  });
}

namespace {

// Follows the links at the end of the path, which need not lead to a file.
std::filesystem::path TargetOf(std::filesystem::path path) {
  constexpr int kMaxLinks = 40;
  std::error_code error;
  for (int links = 0; links < kMaxLinks; ++links) {
    const auto target = std::filesystem::read_symlink(path, error);
    if (error) break;
    path = path.parent_path() / target;
  }
  return path;
}

// Fails as an edit does that would create the file in a folder that is missing.
void RequireFolder(const std::string& file) {
  const std::filesystem::path target = TargetOf(file);
  const auto folder = target.has_parent_path() ? target.parent_path() : ".";
  std::error_code unknown;
  if (std::filesystem::exists(folder, unknown) || unknown) return;
  FileResult result;
  result.error = FileError::kCannotWrite;
  result.system_error = ENOENT;
  result.path = target.string();
  result.reason = ErrorText(ENOENT);
  Check(result);
}

}  // namespace

std::optional<std::string> TextToPreview(const std::string& file) {
  std::error_code unknown;
  if (std::filesystem::is_other(std::filesystem::status(file, unknown)))
    throw Failure(kCannotWrite, Concat("cannot write ", Quoted(file),
                                       ": it is not a regular file"));
  std::optional<std::string> text = ReadFileIfAny(file);
  if (!text) RequireFolder(file);
  return text;
}

void FailMissing(const std::string& file) {
  throw Failure(kCannotRead,
                Concat("cannot open ", Quoted(file), ": ", ErrorText(ENOENT)));
}

}  // namespace fairlead::tool::ini
