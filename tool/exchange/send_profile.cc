// Reads and saves the settings of `send` in an INI file.

#include "tool/exchange/send_profile.h"

#include <array>
#include <optional>
#include <string_view>

#include "fairlead/ini/file_edit.h"
#include "fairlead/ini/ini_file.h"
#include "fairlead/ini/profile.h"
#include "fairlead/text/strings.h"
#include "tool/base/concat.h"
#include "tool/base/escapes.h"
#include "tool/base/failure.h"
#include "tool/exchange/body.h"
#include "tool/exchange/parameters.h"
#include "tool/ini/ini_lines.h"
#include "tool/ini/ini_names.h"
#include "tool/ini/ini_store.h"
#include "tool/io/file_failure.h"
#include "tool/io/output.h"
#include "tool/io/read_file.h"

namespace fairlead::tool {
namespace {

using Listed = Profile::Listed;

constexpr std::array<Listed, 6> kKept = {kHost, kPort, kTimeout,
                                         kIdle, kEol,  kView};

void CheckSection(const Arguments<kProfileUses>& arguments) {
  const std::string_view fault = ini::SectionFault(arguments.Text(kProfile));
  if (!fault.empty()) throw Failure(kWrongUsage, std::string(fault));
}

}  // namespace

Profile::Profile(const Arguments<kProfileUses>& arguments)
    : arguments_(arguments) {
  CheckSection(arguments);
  if (arguments.Has(kSettings)) ReadFile();
}

void Profile::ReadFile() {
  file_ = arguments_.Text(kSettings);
  section_ = arguments_.Text(kProfile);
  const bool may_be_missing = arguments_.Has(kSaveprofile);
  const std::string text = may_be_missing ? ReadFileIfAny(file_).value_or("")
                                          : tool::ReadFile(file_);
  records_ = ini::ContentOf(text, file_).records;
  if (!may_be_missing && !ini::HasSection(*records_, section_))
    throw Failure(kAnswerIsNo, Concat("there is no section ", Quoted(section_),
                                      " in ", Quoted(file_)));
}

// Returns the value in the file, or "".
std::string Profile::InFile(const Parameter& parameter) const {
  const ini::Record* const found =
      ini::Find(*records_, section_, parameter.name);
  if (found == nullptr || found->Value.empty()) return "";
  const std::string& value = found->Value;
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
  return arguments_.Has(parameter) || (records_ && !InFile(*parameter).empty());
}

std::string Profile::Text(Listed parameter) const {
  if (arguments_.Has(parameter) || !records_) return arguments_.Text(parameter);
  const std::string value = InFile(*parameter);
  return value.empty() ? std::string(parameter->fallback) : value;
}

int Profile::Number(Listed parameter) const {
  const int number = arguments_.Number(parameter);
  if (arguments_.Has(parameter) || !records_ || InFile(*parameter).empty())
    return number;
  int value = 0;
  return getval<int>(InFile(*parameter), value) ? value : number;
}

void Profile::Save() const {
  if (!records_ || !arguments_.Has(kSaveprofile)) return;
  const auto change = [this](const std::optional<std::string>& text) {
    return ini::Edited(text.value_or(""), file_,
                       [this](ini::Records& records) { WriteGiven(records); });
  };
  const auto notify = [this] {
    PrintNote("send", Concat("waiting for another edit of ", Quoted(file_)));
  };
  Check(EditFile(file_, change, {.on_wait = notify}),
        " ('fairlead ini set -inplace' overwrites the file itself)");
}

void Profile::WriteGiven(ini::Records& records) const {
  for (const Listed& parameter : kKept) {
    if (!arguments_.Has(parameter)) continue;
    const std::string text = arguments_.Text(parameter);
    const std::string_view fault = ini::ValueFault(text);
    if (!fault.empty()) throw Failure(kWrongUsage, std::string(fault));
    ini::SetValue(records, section_, parameter->name,
                  parameter->kind == Kind::kNumber
                      ? Concat(arguments_.Number(parameter))
                      : text);
  }
}

}  // namespace fairlead::tool
