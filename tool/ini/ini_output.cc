// What the subcommands of `ini` print.

#include "tool/ini/ini_output.h"

#include "tool/base/concat.h"
#include "tool/base/escapes.h"

namespace fairlead::tool::ini {

void Print(const Output& output, Format format, std::string_view text) {
  if (output.screen().terminal && format == Format::kTextLines)
    output.Write(Visible(text));
  else
    output.Write(text);
}

void Printer::Add(std::string_view text) {
  constexpr std::size_t kPiece = 65536;
  text_ += text;
  if (text_.size() >= kPiece) Flush();
}

void Printer::Flush() {
  Print(output_, format_, text_);
  text_.clear();
}

std::string Json(const IniDocument& document, const IniEntry& entry) {
  std::string value = Concat(R"({"section":)", JsonString(entry.section));
  if (!entry.IsHeader())
    value += Concat(R"(,"key":)", JsonString(entry.key), R"(,"value":)",
                    JsonString(entry.value));
  return value +=
         Concat(R"(,"disabled":)", entry.IsDisabled() ? "true" : "false",
                R"(,"comments":)", JsonString(document.Comments(entry)),
                R"(,"line":)", entry.line, "}");
}

}  // namespace fairlead::tool::ini
