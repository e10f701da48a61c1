// Generates the man page and the completions: make_documents FOLDER

#include <cstdio>
#include <string>

#include "tool/help/completion_scripts.h"
#include "tool/help/man_page.h"

namespace {

bool WriteFile(const std::string& path, const std::string& text) {
  std::FILE* const file = std::fopen(path.c_str(), "w");
  if (file == nullptr) return false;
  const bool written =
      std::fwrite(text.data(), 1, text.size(), file) == text.size();
  return std::fclose(file) == 0 && written;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  const std::string folder = argv[1];
  using namespace fairlead::tool;
  const bool written =
      WriteFile(folder + "/fairlead.1", ManPage()) &&
      WriteFile(folder + "/completions/fairlead", BashCompletion()) &&
      WriteFile(folder + "/completions/_fairlead", ZshCompletion());
  if (!written) std::perror(folder.c_str());
  return written ? 0 : 23;
}
