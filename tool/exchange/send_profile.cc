// Reads and saves the settings of an exchange in an INI file.

#include "tool/exchange/send_profile.h"

#include <array>
#include <optional>
#include <string_view>

#include "fairlead/file/file_edit.h"
#include "fairlead/ini/ini_document.h"
#include "tool/base/concat.h"
#include "tool/base/escapes.h"
#include "tool/base/failure.h"
#include "tool/command/command.h"
#include "tool/exchange/body.h"
#include "tool/ini/ini_place.h"
#include "tool/ini/ini_source.h"
#include "tool/io/file_failure.h"
#include "tool/io/output.h"
#include "tool/io/read_file.h"
#include "tool/traffic/parameters.h"

namespace fairlead::tool {
namespace {

constexpr std::array<Profile::Listed, 6> kKept = {kHost, kPort, kTimeout,
                                                  kIdle, kEol,  kView};

// Throws if no file can have the section.
void CheckSection(const Arguments<kKeptUses>& arguments) {
  IniDocument document;
  const std::string section = arguments.Text(kProfile);
  const IniResult result = document.Add({section});
  if (!result.IsOk()) throw Failure(kWrongUsage, std::string(result.reason));
}

}  // namespace

Profile::Profile(const Arguments<kProfileUses>& arguments)
    : arguments_(arguments.parsed()) {
  CheckSection(arguments_);
  if (arguments_.Has(kSettings)) ReadFile();
}

void Profile::ReadFile() {
  file_ = arguments_.Text(kSettings);
  section_ = arguments_.Text(kProfile);
  const bool may_be_missing = arguments_.Has(kSaveprofile);
  const std::string text = may_be_missing ? ReadFileIfAny(file_).value_or("")
                                          : tool::ReadFile(file_);
  document_ = ini::Parsed(text, file_);
  const IniFound found = document_->Find({section_});
  if (!may_be_missing && !found)
    throw Failure(kAnswerIsNo,
                  Concat(ini::WhyNotFound(found.code, {.section = section_}),
                         " in ", Quoted(file_)));
}

// Returns the value in the file, or "".
std::string Profile::InFile(const Parameter& parameter) const {
  std::string value(document_->Value(section_, parameter.name).value_or(""));
  if (value.empty()) return "";
  try {
    CheckValue(parameter, value);
  } catch (const Failure& failure) {
    throw Failure(
        kMalformedInput,
        Concat(Visible(file_), ": [", Shown(section_), "]: ", failure.what()));
  }
  return value;
}

bool Profile::Has(Listed parameter) const {
  return arguments_.Has(parameter) ||
         (document_ && !InFile(*parameter).empty());
}

std::string Profile::Text(Listed parameter) const {
  if (arguments_.Has(parameter) || !document_)
    return arguments_.Text(parameter);
  const std::string value = InFile(*parameter);
  return value.empty() ? std::string(parameter->fallback) : value;
}

std::optional<std::chrono::milliseconds> Profile::Duration(
    Arguments<kKeptUses>::ListedDuration parameter) const {
  return DurationIn(Text(parameter));
}

void Profile::Save() const {
  if (!document_ || !arguments_.Has(kSaveprofile)) return;
  const auto change = [this](const std::optional<std::string>& text) {
    IniDocument document = ini::Parsed(text.value_or(""), file_);
    WriteGiven(document);
    return document.Text();
  };
  const auto notify = [this] {
    PrintNote(TopName(arguments_.parsed().command()),
              Concat("waiting for another edit of ", Quoted(file_)));
  };
  Check(EditFile(file_, change, {.on_wait = notify}),
        " ('fairlead ini set -inplace' overwrites the file itself)");
}

void Profile::WriteGiven(IniDocument& document) const {
  for (const Listed& parameter : kKept) {
    if (!arguments_.Has(parameter)) continue;
    const std::string given = arguments_.Text(parameter);
    const std::string text =
        parameter->kind == Kind::kNumber ? Concat(NumberIn(given)) : given;
    const ini::Place place = {.section = section_,
                              .key = std::string(parameter->name)};
    ini::Require(document.Set(place.Name(), text), file_, place);
  }
}

}  // namespace fairlead::tool
