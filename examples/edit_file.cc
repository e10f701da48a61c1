// Counts its runs in a settings file, in the line "runs=N":
//
//     edit_file tool.ini
//
// Any number of them may run at once, and no run is lost. Everything else in
// the file is kept, byte for byte.

#include <fairlead/fairlead.h>

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <optional>
#include <string>

namespace {

// Increments the count in the text and stores it in `runs`.
std::string Counted(const std::string& text, int& runs) {
  const std::size_t line = ("\n" + text).find("\nruns=");
  if (line == std::string::npos) {
    runs = 1;
    return "runs=1\n" + text;
  }
  const std::size_t begin = line + std::string("runs=").size();
  const std::size_t end = std::min(text.find('\n', begin), text.size());
  if (!fairlead::getval<int>(text.substr(begin, end - begin), runs)) runs = 0;
  ++runs;
  return text.substr(0, begin) + std::to_string(runs) + text.substr(end);
}

}  // namespace

int main(int argc, char** argv) {
  const std::string file = argc > 1 ? argv[1] : "tool.ini";
  int runs = 0;
  const auto count = [&runs](const std::optional<std::string>& text) {
    return Counted(text.value_or(""), runs);
  };
  const auto notify = [] { std::fputs("waiting for another run\n", stderr); };

  const fairlead::FileResult result =
      fairlead::EditFile(file, count, {.on_wait = notify});
  if (!result.Succeeded()) {
    std::fprintf(stderr, "edit_file: %s\n", result.Message().c_str());
    return 1;
  }
  std::printf("run %d\n", runs);
  return 0;
}
