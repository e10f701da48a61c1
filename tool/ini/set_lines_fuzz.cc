// Passes any lines to `ini set -stdin` and `ini apply -stdin` as the commands
// run them, and compares the file with the edits of a document.
//
// The first byte selects the command. Each input edits a file in memory: its
// lock, its replacement and the rename are real.

#include <fcntl.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "fairlead/testing/fuzzing.h"
#include "fairlead/testing/memory_file.h"
#include "fairlead/testing/temp_folder.h"
#include "tool/base/failure.h"
#include "tool/command/arguments.h"
#include "tool/command/command_table.h"
#include "tool/ini/edit_script.h"
#include "tool/io/output.h"

namespace {

using fairlead::IniDocument;
using fairlead::internal::RequireLaw;
using fairlead::tool::ExitStatus;
using fairlead::tool::Failure;

constexpr std::string_view kText =
    "top=0\n[a]\nx = 1\n#y=2\ny=3\n[b]\r\nz=4\r\n; c\n[a]\nw=5";

// The file that is edited. Its folder is in memory where the system has one.
class Edited {
 public:
  Edited() {
    namespace fs = std::filesystem;
    if (fs::exists("/dev/shm")) setenv("TMPDIR", "/dev/shm", 1);
    folder_.emplace();
  }
  std::string Path() const { return folder_->Path("f.ini"); }

 private:
  std::optional<fairlead::internal::TempFolder> folder_;
};

// Makes the bytes those of standard input.
void FeedInput(std::string_view bytes) {
  static const fairlead::internal::MemoryFile input;
  static const bool is_open = [] {
    const int file = open(input.Path().c_str(), O_RDONLY | O_CLOEXEC);
    return dup2(file, STDIN_FILENO) == STDIN_FILENO && close(file) == 0;
  }();
  input.Write(bytes);
  RequireLaw(is_open && lseek(STDIN_FILENO, 0, SEEK_SET) == 0);
}

// Returns the status of `ini NAME -file FILE -stdin`.
ExitStatus Run(std::string_view name, std::string path) {
  static const fairlead::tool::Output output;
  const auto& command =
      fairlead::tool::KnownSubcommand(fairlead::tool::kIniCommand, name);
  std::string words[] = {std::string(name), "-file", std::move(path), "-stdin"};
  std::vector<char*> arguments;
  for (std::string& word : words) arguments.push_back(word.data());
  const fairlead::tool::ParsedArguments parsed(command, arguments);
  try {
    return command.action.run(parsed, output);
  } catch (const Failure& failure) {
    return failure.status();
  }
}

// Makes the edits of `ini set -stdin`. Returns whether all can be made.
bool SetAll(std::string_view lines, IniDocument& document) {
  while (!lines.empty()) {
    const std::string_view line = lines.substr(0, lines.find('\n'));
    lines.remove_prefix(line.size() + (line.size() < lines.size() ? 1 : 0));
    const std::size_t first = line.find('\t');
    if (first == std::string_view::npos) return false;
    const std::string_view rest = line.substr(first + 1);
    const std::size_t second = rest.find('\t');
    if (second == std::string_view::npos) return false;
    const auto result =
        document.Set({line.substr(0, first), rest.substr(0, second)},
                     rest.substr(second + 1));
    if (!result.IsOk()) return false;
  }
  return true;
}

bool ApplyAll(std::string_view lines, IniDocument& document) {
  using namespace fairlead::tool::ini;
  try {
    RunScript(ParseScript(lines, "s"), "s", document, "f");
    return true;
  } catch (const Failure&) {
    return false;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  if (size == 0 || size > 1000) return 0;
  static const Edited file;
  const bool applies = data[0] == 'A';
  const auto lines = fairlead::internal::InputText(data, size).substr(1);
  constexpr std::string_view kByteOrderMark = "\xef\xbb\xbf";
  const std::string_view read = lines.substr(
      lines.starts_with(kByteOrderMark) ? kByteOrderMark.size() : 0);
  IniDocument expected{std::string(kText)};
  const bool is_valid =
      applies ? ApplyAll(read, expected) : SetAll(read, expected);
  fairlead::internal::WriteFile(file.Path(), kText);
  FeedInput(lines);
  const ExitStatus status = Run(applies ? "apply" : "set", file.Path());
  RequireLaw((status == fairlead::tool::kDone) == is_valid);
  RequireLaw(fairlead::internal::ReadFile(file.Path()) ==
             (is_valid ? expected.Text() : kText));
  return 0;
}
