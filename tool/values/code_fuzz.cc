// Reads any text with `code read`, in any layout; what is read makes the same
// text again with `code make`.
//
// The first three bytes select the bits, the width and the group.

#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "fairlead/bits/converter.h"
#include "fairlead/testing/fuzzing.h"
#include "fairlead/testing/memory_file.h"
#include "tool/base/failure.h"
#include "tool/command/arguments.h"
#include "tool/command/command_table.h"
#include "tool/command/usage.h"
#include "tool/io/output.h"

namespace {

using fairlead::CConverter;
using fairlead::internal::MemoryFile;
using fairlead::internal::RequireLaw;
using fairlead::tool::Failure;
using fairlead::tool::Output;
using Words = std::vector<std::string>;

// Standard output as a file in memory. Closed again, so that the library's own
// lines go where the fuzzer's go.
struct Captured {
  Captured() {
    const int kept = dup(STDOUT_FILENO);
    RequireLaw(dup2(file.descriptor(), STDOUT_FILENO) == STDOUT_FILENO);
    output.emplace();
    RequireLaw(kept == -1 || close(kept) == 0);
  }

  MemoryFile file;
  std::optional<Output> output;
};

// Returns what `code` prints, without the last newline; nothing if it refuses.
std::optional<std::string> Run(Words words) {
  static const Captured captured;
  const auto& command = fairlead::tool::KnownSubcommand(
      fairlead::tool::kCodeCommand, words.front());
  std::vector<char*> arguments;
  for (std::string& word : words) arguments.push_back(word.data());
  captured.file.Write("");
  RequireLaw(lseek(captured.file.descriptor(), 0, SEEK_SET) == 0);
  try {
    const fairlead::tool::ParsedArguments parsed(command, arguments);
    CheckUses(parsed);
    command.action.run(parsed, *captured.output);
  } catch (const Failure&) {
    RequireLaw(captured.file.Read().empty());
    return std::nullopt;
  }
  std::string text = captured.file.Read();
  RequireLaw(text.ends_with('\n'));
  text.pop_back();
  return text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  constexpr std::size_t kSettings = 3;
  if (size <= kSettings || size > 300) return 0;
  const std::string bits = std::to_string(data[0] * 2 + 1);
  const std::string width = std::to_string(data[1] % 9);
  const std::string group = std::to_string(data[2] % 16);
  const auto rest = fairlead::internal::InputText(data, size).substr(kSettings);
  const std::string text(rest.substr(0, rest.find('\0')));
  const Words layout = {"-bits", bits, "-width", width};

  Words read = {"read", "-text", text, "-form", "hex"};
  read.insert(read.end(), layout.begin(), layout.end());
  const auto hex = Run(read);
  if (!hex) return 0;
  Words make = {"make", "-hex", *hex, "-group", group};
  make.insert(make.end(), layout.begin(), layout.end());
  const auto made = Run(make);
  // With 7 and 8 bits, text has only the values below 64.
  RequireLaw(made.has_value());
  const std::string meat = CConverter::ExtractMeat(text);
  if (data[1] % 9 != 0) RequireLaw(CConverter::ExtractMeat(*made) == meat);
  Words again = read;
  again[2] = *made;
  RequireLaw(Run(again) == hex);
  return 0;
}
