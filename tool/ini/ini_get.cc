// The subcommands of `ini` that look for one place.

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "tool/base/concat.h"
#include "tool/base/escapes.h"
#include "tool/base/failure.h"
#include "tool/command/command_table.h"
#include "tool/ini/assignments.h"
#include "tool/ini/ini.h"
#include "tool/ini/ini_output.h"
#include "tool/ini/ini_parameters.h"
#include "tool/ini/ini_place.h"
#include "tool/ini/ini_search.h"
#include "tool/ini/ini_source.h"
#include "tool/ini/ini_statuses.h"
#include "tool/ini/listing.h"
#include "tool/ini/typed_value.h"
#include "tool/io/read_file.h"

namespace fairlead::tool::ini {
namespace {

constexpr auto kGetUses =
    Uses(kFile, kSection, kKey, Optional(kIndex), Optional(kDefault),
         Optional(kType), kReading, Optional(kAssignFormat));
constexpr auto kHasUses =
    Uses(kFile, kSection, Optional(kKey, Optional(kIndex)), kReading);

std::string Checked(const Arguments<kGetUses>& arguments, std::string value,
                    const std::string& where) {
  if (!arguments.Has(kType)) return value;
  const auto type = arguments.Chosen<Type>(kType);
  const auto typed = TypedValue(type, value);
  if (!typed)
    throw Failure(kMalformedInput, Concat(where, ": ", Quoted(value),
                                          " is not ", Spelled(type)));
  return *typed;
}

// A default is in no line. What has a type is spelled as JSON spells it.
std::string JsonOf(const Arguments<kGetUses>& arguments, const IniFound& found,
                   const std::string& value) {
  return Concat(R"({"value":)",
                arguments.Has(kType) ? value : JsonString(value), R"(,"line":)",
                found ? std::to_string(found.entry.line) : "null", "}\n");
}

std::string Formatted(const Arguments<kGetUses>& arguments,
                      const std::string& key, const IniFound& found,
                      const std::string& value) {
  const auto format = arguments.Chosen<Format>(kAssignFormat);
  if (format == Format::kAssign) return Assignment("", key, value);
  if (format == Format::kJson) return JsonOf(arguments, found, value);
  return Single(format, value);
}

ExitStatus Get(const Arguments<kGetUses>& arguments, const Output& output) {
  const std::string file = arguments.Text(kFile);
  const Place place = PlaceOf(arguments);
  const bool has_default = arguments.Has(kDefault);
  std::optional<std::string> text =
      has_default ? ReadFileIfAny(file) : ReadFile(file);
  const IniDocument document = ParsedWithWarning(
      std::move(text).value_or(""), file, ReadingOf(arguments.Has(kRecords)));
  const IniFound found = FindIn(document, arguments, place);
  if (!found && !has_default) FailNotFound(found, place);
  const std::string value =
      found ? Checked(arguments, std::string(found.entry.value),
                      Concat(Visible(file), ":", found.entry.line))
            : Checked(arguments, arguments.Text(kDefault), "-default");
  Print(output, arguments.Chosen<Format>(kAssignFormat),
        Formatted(arguments, *place.key, found, value));
  return kDone;
}

ExitStatus Has(const Arguments<kHasUses>& arguments, const Output& /*output*/) {
  const std::string file = arguments.Text(kFile);
  const Place place = PlaceOf(arguments);
  std::optional<std::string> text = ReadFileIfAny(file);
  if (!text) return kAnswerIsNo;
  const IniDocument document = ParsedWithWarning(
      *std::move(text), file, ReadingOf(arguments.Has(kRecords)));
  const IniFound found = FindIn(document, arguments, place);
  if (found.code == IniResult::Code::kDisabled) FailNotFound(found, place);
  return found ? kDone : kAnswerIsNo;
}

constexpr auto kGetStatuses = std::to_array<Status>(
    {kSuccess,
     {kAnswerIsNo, "the section or the key does not exist, or is disabled"},
     kUsage,
     {kMalformedInput,
      "the file is malformed, or the value is not of the -type"},
     kUnprinted,
     kUnread});
constexpr auto kHasStatuses = std::to_array<Status>(
    {{kDone, "the section or the key exists"},
     {kAnswerIsNo, "it does not exist or is disabled, or there is no file"},
     kUsage,
     kMalformed,
     kUnprinted,
     kUnread});

constexpr auto kGetExamples = std::to_array<Example>({
    {"fairlead ini get -file box.ini -section server -key port",
     "Prints 7000."},
    {"fairlead ini get -file box.ini -section server -key port -default 80",
     "Prints 80 if there is no such key."},
    {"fairlead ini get -file box.ini -section cache -key limit -type size",
     "Prints 10485760 for limit=10M."},
});
constexpr auto kHasExamples = std::to_array<Example>({
    {"fairlead ini has -file box.ini -section server -key port",
     "Exits with 0 if the key exists."},
});

}  // namespace

constinit const Command kGet = {
    .name = "get",
    .parent = &kIniCommand,
    .summary = "print the value of a key",
    .description =
        "Prints the value of the key; of several keys of this name, the last "
        "one's. JSON also has the line, null for the default.",
    .action = ActionOf<kGetUses, Get>(),
    .examples = kGetExamples,
    .statuses = kGetStatuses,
};
constinit const Command kHas = {
    .name = "has",
    .parent = &kIniCommand,
    .summary = "return by exit status whether a section or a key exists",
    .description =
        "Prints nothing. Only for one that is disabled, there is a message on "
        "standard error.",
    .action = ActionOf<kHasUses, Has>(),
    .examples = kHasExamples,
    .statuses = kHasStatuses,
};

}  // namespace fairlead::tool::ini
