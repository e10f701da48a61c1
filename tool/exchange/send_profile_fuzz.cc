// Reads any file as the settings of `send` and compares each setting with the
// value in the document, or the default; the command line takes precedence.

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "fairlead/ini/ini_document.h"
#include "fairlead/testing/fuzzing.h"
#include "fairlead/testing/memory_file.h"
#include "tool/base/failure.h"
#include "tool/command/arguments.h"
#include "tool/command/command_table.h"
#include "tool/exchange/send_profile.h"

namespace fairlead::tool {
namespace {

using internal::RequireLaw;

constexpr std::array<Profile::Listed, 6> kKept = {kHost, kPort, kTimeout,
                                                  kIdle, kEol,  kView};

bool IsAccepted(const Parameter& parameter, std::string_view value) {
  try {
    CheckValue(parameter, value);
    return true;
  } catch (const Failure&) {
    return false;
  }
}

std::optional<std::string> TextIn(const Profile& profile,
                                  Profile::Listed parameter) {
  try {
    return profile.Text(parameter);
  } catch (const Failure& failure) {
    RequireLaw(failure.status() == kMalformedInput);
    return std::nullopt;
  }
}

void CheckSettings(const IniDocument& document, const Profile& profile) {
  for (const Profile::Listed& parameter : kKept) {
    const std::string value(document.Value("p", parameter->name).value_or(""));
    const std::optional<std::string> read = TextIn(profile, parameter);
    if (value.empty())
      RequireLaw(read == std::string(parameter->fallback));
    else if (IsAccepted(*parameter, value))
      RequireLaw(read == value && profile.Has(parameter));
    else
      RequireLaw(!read);
  }
}

}  // namespace
}  // namespace fairlead::tool

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  using namespace fairlead::tool;
  if (size > 2000) return 0;
  static const fairlead::internal::MemoryFile file;
  const std::string text(fairlead::internal::InputText(data, size));
  file.Write(text);
  const fairlead::IniDocument document(text);
  try {
    // The parser refers to the arguments, so each view is used at once.
    std::string words[] = {"send",      "-port",     "7",        "-view", "hex",
                           "-settings", file.Path(), "-profile", "p"};
    std::vector<char*> arguments;
    for (std::string& word : words) arguments.push_back(word.data());
    const ParsedArguments given(kSendCommand, arguments);
    const Profile first{Arguments<kProfileUses>(given)};
    RequireLaw(TextIn(first, kPort) == "7" && TextIn(first, kView) == "hex");
    arguments.erase(arguments.begin() + 1, arguments.begin() + 5);
    const ParsedArguments bare(kSendCommand, arguments);
    CheckSettings(document, Profile{Arguments<kProfileUses>(bare)});
  } catch (const Failure& failure) {
    const bool exists =
        document.Find({"p"}).code == fairlead::IniResult::Code::kDone;
    RequireLaw(failure.status() == kMalformedInput ||
               (failure.status() == kAnswerIsNo && !exists));
  }
  return 0;
}
