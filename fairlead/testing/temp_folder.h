// A folder for a test's files, and their contents. Not installed.

#ifndef FAIRLEAD_TESTING_TEMP_FOLDER_H_
#define FAIRLEAD_TESTING_TEMP_FOLDER_H_

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <string_view>
#include <system_error>

namespace fairlead::internal {

// A new empty folder, removed with all its files at the end of its scope.
class TempFolder {
 public:
  // mkdtemp() replaces the six letters X at the end.
  TempFolder() : path_(std::filesystem::temp_directory_path() / "fairlead.") {
    path_.append(6, 'X');
    if (mkdtemp(path_.data()) == nullptr) std::abort();
  }
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;
  ~TempFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }

  const std::string& path() const { return path_; }

  // The path of a file in the folder, whether it exists or not.
  std::string Path(std::string_view name) const {
    return path_ + "/" + std::string(name);
  }

 private:
  std::string path_;
};

// The bytes of a file; empty if there is none.
inline std::string ReadFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream bytes;
  bytes << file.rdbuf();
  return bytes.str();
}

// Creates or replaces a file.
inline void WriteFile(const std::string& path, std::string_view bytes) {
  std::ofstream file(path, std::ios::binary);
  file << bytes;
  if (!file.flush()) std::abort();
}

}  // namespace fairlead::internal

#endif  // FAIRLEAD_TESTING_TEMP_FOLDER_H_
