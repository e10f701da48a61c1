// The subcommands of `ini` that write whole files.

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "fairlead/file/file_edit.h"
#include "fairlead/ini/ini_text.h"
#include "tool/base/concat.h"
#include "tool/base/escapes.h"
#include "tool/base/failure.h"
#include "tool/command/command_table.h"
#include "tool/ini/ini.h"
#include "tool/ini/ini_edit.h"
#include "tool/ini/ini_parameters.h"
#include "tool/ini/ini_source.h"
#include "tool/ini/ini_statuses.h"
#include "tool/io/file_failure.h"

namespace fairlead::tool::ini {
namespace {

constexpr auto kCreateUses = Uses(kFile, Optional(kDryrun), Optional(kCheck));

ExitStatus Create(const Arguments<kCreateUses>& arguments,
                  const Output& /*output*/) {
  const std::string file = arguments.Text(kFile);
  const auto create = [&file](const std::optional<std::string>& text) {
    if (text)
      throw Failure(kAnswerIsNo, Concat(Quoted(file), " already exists"));
    return std::string();
  };
  if (arguments.Has(kCheck)) return TextToPreview(file) ? kDone : kAnswerIsNo;
  if (arguments.Has(kDryrun))
    create(TextToPreview(file));
  else
    Check(EditFile(file, create));
  return kDone;
}

// A text, and how the record store would write it.
class NormalizedText : public EditedText {
 public:
  NormalizedText(std::string text, const std::string& file)
      : text_(std::move(text)), has_mark_(text_.starts_with(kByteOrderMark)) {
    CheckEncoding(text_, file);
    const IniDamage damage = DamageOf(Records());
    if (damage.unclosed_header != 0)
      FailMalformed(file, damage.unclosed_header, "a header without ']'");
    if (damage.lossy_line != 0)
      FailMalformed(file, damage.lossy_line,
                    Concat(damage.loss,
                           "; it would be lost, so the file was not "
                           "changed"));
  }

  std::string_view OldText() const override { return text_; }

  void ForEachPiece(const PieceWriter& take) const override {
    if (has_mark_) take(kByteOrderMark);
    NormalizeText(Records(), take);
  }

 private:
  static constexpr std::string_view kByteOrderMark = "\xef\xbb\xbf";

  std::string_view Records() const {
    return std::string_view(text_).substr(has_mark_ ? kByteOrderMark.size()
                                                    : 0);
  }

  const std::string text_;
  const bool has_mark_;
};

ExitStatus Normalize(const Arguments<kWritingFileUses>& arguments,
                     const Output& output) {
  const std::string file = arguments.Text(kFile);
  return EditText(arguments, output, [&file](std::optional<std::string> text) {
    if (!text) FailMissing(file);
    return std::make_unique<NormalizedText>(*std::move(text), file);
  });
}

constexpr auto kCreateStatuses = std::to_array<Status>(
    {kSuccess,
     {kAnswerIsNo, "the file exists already; with -check: it does not exist"},
     kUsage,
     kUnwritten,
     kUnread,
     kLocked});
constexpr auto kNormalizeStatuses =
    EditStatuses("with -check: the edit would change the file");

constexpr auto kCreateExamples = std::to_array<Example>({
    {"fairlead ini create -file box.ini", "Creates an empty box.ini."},
});
constexpr auto kNormalizeExamples = std::to_array<Example>({
    {"fairlead ini normalize -file box.ini -dryrun",
     "Shows what would change, and writes nothing."},
});

}  // namespace

constinit const Command kCreate = {
    .name = "create",
    .parent = &kIniCommand,
    .summary = "create an empty file",
    .description = "The file must not exist.",
    .action = ActionOf<kCreateUses, Create>(),
    .examples = kCreateExamples,
    .statuses = kCreateStatuses,
};
constinit const Command kNormalize = {
    .name = "normalize",
    .parent = &kIniCommand,
    .summary = "write every line in the same layout",
    .description =
        "Writes the file as the library's CIniFile does, but keeps comments at "
        "the end and a byte order mark. Removes blank lines, and whitespace at "
        "both ends of a line (also the CR of CR LF), around '=' and, in a line "
        "with '=' or '[', after the comment character. A file of which other "
        "text would be lost is left unchanged, and the line is reported.",
    .action = ActionOf<kWritingFileUses, Normalize>(),
    .examples = kNormalizeExamples,
    .statuses = kNormalizeStatuses,
};

}  // namespace fairlead::tool::ini
