// The main of a fuzzer without an engine: runs it on each file that is named,
// and on each file of a folder that is named. So every build tests the inputs
// that are kept.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size);
extern "C" [[gnu::weak]] int LLVMFuzzerInitialize(int* count,
                                                  char*** arguments);

namespace {

namespace fs = std::filesystem;

// Returns whether the file could be read.
bool ReplayFile(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return false;
  const std::string bytes(std::istreambuf_iterator<char>(in), {});
  // A fuzzer aborts at a fault, so name the input first.
  std::fprintf(stderr, "%s\n", path.c_str());
  LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()),
                         bytes.size());
  return true;
}

// Returns whether there was a file, and all could be read.
bool Replay(const fs::path& path) {
  if (!fs::is_directory(path)) return ReplayFile(path);
  int count = 0;
  for (const auto& entry : fs::directory_iterator(path)) {
    if (!ReplayFile(entry.path())) return false;
    ++count;
  }
  return count > 0;
}

}  // namespace

int main(int count, char** arguments) {
  if (LLVMFuzzerInitialize != nullptr) LLVMFuzzerInitialize(&count, &arguments);
  if (count < 2) return 2;
  for (int i = 1; i < count; ++i)
    if (!Replay(arguments[i])) return 1;
  return 0;
}
