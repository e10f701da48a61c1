// The subcommands of `ini` that read a file.

#include <algorithm>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "fairlead/ini/ini_file.h"
#include "tool/base/concat.h"
#include "tool/base/escapes.h"
#include "tool/base/failure.h"
#include "tool/ini/ini.h"
#include "tool/ini/ini_lines.h"
#include "tool/ini/ini_place.h"
#include "tool/ini/ini_store.h"
#include "tool/ini/listing.h"
#include "tool/io/memory_copy.h"
#include "tool/io/read_file.h"

namespace fairlead::tool::ini {
namespace {

Content ReadContent(const Arguments& arguments) {
  const std::string file = arguments.Text(kFile);
  return ContentOf(ReadFile(file), file);
}

// Returns the records that -section and -key select, or all of them.
Records Selected(const Arguments& arguments, Records records) {
  if (!arguments.Has(kSection)) return records;

  const Place place = PlaceOf(arguments);
  if (!place.IsIn(records)) FailNotFound(place);
  if (place.has_key) return {*Find(records, place.section, place.key)};
  std::erase_if(records, std::not_fn(CIniFile::RecordSectionIs{place.section}));
  return records;
}

std::string Json(const Records& records) {
  std::vector<std::string> values;
  for (const Record& record : records) {
    std::string value = Concat(R"({"section":)", JsonString(record.Section));
    if (!record.Key.empty())
      value += Concat(R"(,"key":)", JsonString(record.Key), R"(,"value":)",
                      JsonString(record.Value));
    value +=
        Concat(R"(,"disabled":)", record.Commented == ' ' ? "false" : "true",
               R"(,"comments":)", JsonString(record.Comments), "}");
    values.push_back(value);
  }
  return JsonArray(values);
}

}  // namespace

void Print(const Output& output, Format format, const std::string& text) {
  if (output.screen().terminal && format == Format::kTextLines)
    output.Write(Visible(text));
  else
    output.Write(text);
}

ExitStatus Get(const Arguments& arguments, const Output& output) {
  const auto format = arguments.Chosen<Format>(kFormat);
  const std::string file = arguments.Text(kFile);
  const Place place = PlaceOf(arguments);
  const bool has_default = arguments.Has(kDefault);
  const std::optional<std::string> text =
      has_default ? ReadFileIfAny(file) : ReadFile(file);
  const Content content = ContentOf(text.value_or(""), file);

  const Record* const found = Find(content.records, place.section, place.key);
  if (found == nullptr && !has_default) FailNotFound(place);
  Print(output, format,
        Single(format,
               found == nullptr ? arguments.Text(kDefault) : found->Value));
  return kDone;
}

ExitStatus List(const Arguments& arguments, const Output& output) {
  const auto format = arguments.Chosen<Format>(kFormat);
  Records records = Selected(arguments, ReadContent(arguments).records);
  std::erase_if(records,
                [](const Record& record) { return record.Key.empty(); });
  if (format == Format::kJson) {
    Print(output, format, Json(records));
    return kDone;
  }
  std::string lines;
  for (const Record& record : records)
    lines += Rows(format, {{record.Section, record.Key, record.Value}});
  Print(output, format, lines);
  return kDone;
}

ExitStatus Sections(const Arguments& arguments, const Output& output) {
  const auto format = arguments.Chosen<Format>(kFormat);
  std::vector<std::string> names;
  for (const Record& record : ReadContent(arguments).records)
    if (record.Key.empty()) names.push_back(record.Section);
  Print(output, format, tool::List(format, names));
  return kDone;
}

ExitStatus Keys(const Arguments& arguments, const Output& output) {
  const auto format = arguments.Chosen<Format>(kFormat);
  std::vector<std::string> keys;
  for (const Record& record :
       Selected(arguments, ReadContent(arguments).records))
    if (!record.Key.empty()) keys.push_back(record.Key);
  Print(output, format, tool::List(format, keys));
  return kDone;
}

ExitStatus Has(const Arguments& arguments, const Output& /*output*/) {
  const std::string file = arguments.Text(kFile);
  const Place place = PlaceOf(arguments);
  const std::optional<std::string> text = ReadFileIfAny(file);
  if (!text) return kAnswerIsNo;
  return place.IsIn(ContentOf(*text, file).records) ? kDone : kAnswerIsNo;
}

ExitStatus Show(const Arguments& arguments, const Output& output) {
  const auto format = arguments.Chosen<Format>(kFormat);
  const Content content = ReadContent(arguments);
  const Records records = Selected(arguments, content.records);
  if (format == Format::kJson) {
    Print(output, format, Json(records));
    return kDone;
  }
  const bool whole = !arguments.Has(kSection);
  Print(output, format,
        TextOf(records) + (whole ? content.comments_at_end : ""));
  return kDone;
}

}  // namespace fairlead::tool::ini
