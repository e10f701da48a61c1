// Sets one option in an INI file and changes nothing else in it:
//
//     set_option /etc/box.ini server port 7000
//
// Comments, layout and every other line are kept, byte for byte. Any number of
// programs may edit the file at once. Exit status: 0 if the option has the
// value now, 1 if it cannot be set there, 2 for wrong usage, 23 if the file
// cannot be read or written.

#include <fairlead/fairlead.h>

#include <cstdio>
#include <optional>
#include <string>
#include <utility>

namespace {

enum Status { kDone = 0, kNotSet = 1, kWrongUsage = 2, kFileFailed = 23 };

struct Option {
  std::string section;
  std::string key;
  std::string value;
};

// What happened to the option in the text that was edited last.
struct Outcome {
  std::optional<std::string> old_value;
  fairlead::IniResult result;
};

// Returns the text with the option set; nothing if it cannot be set, or is so
// already.
std::optional<std::string> WithOption(std::string text, const Option& option,
                                      Outcome& outcome) {
  fairlead::IniDocument document(std::move(text));
  outcome.old_value = document.Value(option.section, option.key);
  outcome.result = document.Set({option.section, option.key}, option.value);
  if (outcome.result.code != fairlead::IniResult::Code::kDone)
    return std::nullopt;
  return document.Text();
}

Status Refused(const std::string& file, const fairlead::IniResult& result) {
  const std::string reason(result.reason);
  if (result.line == 0)
    std::fprintf(stderr, "set_option: %s\n", reason.c_str());
  else
    std::fprintf(stderr, "set_option: %s:%zu: %s\n", file.c_str(), result.line,
                 reason.c_str());
  return kNotSet;
}

void Report(const Option& option, const Outcome& outcome) {
  using Code = fairlead::IniResult::Code;
  const char* const key = option.key.c_str();
  if (outcome.result.code == Code::kUnchanged)
    std::printf("%s was %s already\n", key, option.value.c_str());
  else if (outcome.old_value)
    std::printf("%s: %s, now %s\n", key, outcome.old_value->c_str(),
                option.value.c_str());
  else
    std::printf("%s: new, %s\n", key, option.value.c_str());
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 5) {
    std::fputs("usage: set_option FILE SECTION KEY VALUE\n", stderr);
    return kWrongUsage;
  }
  const std::string file = argv[1];
  const Option option = {argv[2], argv[3], argv[4]};

  // EditFile() may call this twice: the last call decides.
  Outcome outcome;
  const auto set = [&](const std::optional<std::string>& text) {
    return WithOption(text.value_or(""), option, outcome);
  };
  const fairlead::FileResult edited = fairlead::EditFile(file, set);
  if (!edited.Succeeded()) {
    std::fprintf(stderr, "set_option: %s\n", edited.Message().c_str());
    return kFileFailed;
  }
  if (!outcome.result.IsOk()) return Refused(file, outcome.result);
  Report(option, outcome);
  return kDone;
}
