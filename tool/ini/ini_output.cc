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

void ListPrinter::AddName(std::string_view field, std::string_view name,
                          std::size_t line) {
  if (format_ == Format::kJson)
    return AddJson(
        Concat("{\"", field, "\":", JsonString(name), ",\"line\":", line, "}"));
  if (format_ != Format::kShell) return printer_.Add(Single(format_, name));
  printer_.Add(is_empty_ ? "" : " ");
  printer_.Add(ShellQuoted(name));
  is_empty_ = false;
}

void ListPrinter::AddJson(std::string_view value) {
  printer_.Add(is_empty_ ? "[\n" : ",\n");
  printer_.Add(value);
  is_empty_ = false;
}

void ListPrinter::End() {
  if (format_ == Format::kJson) printer_.Add(is_empty_ ? "[]\n" : "\n]\n");
  if (format_ == Format::kShell) printer_.Add("\n");
  printer_.Flush();
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
