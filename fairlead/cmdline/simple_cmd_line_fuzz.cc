// Parses any bytes in both forms and compares every lookup with the model. The
// first byte selects the form; an argument vector has one argument per line.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "fairlead/cmdline/simple_cmd_line.h"
#include "fairlead/cmdline/simple_cmd_line_model.h"

namespace {

constexpr std::size_t kMaxInput = 32;  // Every substring is looked up.

void Compare(const fairlead::CSimpleCmdLine& args,
             const fairlead::internal::ParameterTable& table,
             const std::vector<std::string>& texts) {
  std::set<std::string> names = fairlead::internal::NamesWithin(texts);
  for (const auto& [name, value] : table) names.insert(name);
  const std::string name =
      fairlead::internal::FirstDifference(args, table, names);
  if (name.empty()) return;
  static_cast<void>(
      std::fprintf(stderr, "wrong result for %s\n", name.c_str()));
  std::abort();
}

void TryLine(const std::string& line) {
  Compare(fairlead::CSimpleCmdLine(line), fairlead::internal::TableOfLine(line),
          {line});
}

// A zero byte ends an argument.
std::vector<std::string> Lines(std::string_view text) {
  std::vector<std::string> lines;
  for (std::size_t end = 0; end != std::string_view::npos;) {
    end = text.find('\n');
    const std::string_view line = text.substr(0, end);
    lines.emplace_back(line.substr(0, line.find('\0')));
    text.remove_prefix(line.size());
    if (!text.empty()) text.remove_prefix(1);
  }
  return lines;
}

void TryArguments(std::string_view text) {
  const std::vector<std::string> texts = Lines(text);
  std::vector<const char*> argv = {"-tool"};
  for (const std::string& argument : texts) argv.push_back(argument.c_str());
  argv.push_back(nullptr);
  const fairlead::CSimpleCmdLine args(static_cast<int>(argv.size()) - 1,
                                      argv.data());
  Compare(args, fairlead::internal::TableOfArguments(texts), texts);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  if (size == 0 || size > kMaxInput) return 0;
  const std::string_view text(reinterpret_cast<const char*>(data) + 1,
                              size - 1);
  if (data[0] == 'V')
    TryArguments(text);
  else
    TryLine(std::string(text));
  return 0;
}
