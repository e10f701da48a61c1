// Any bytes as an INI file: what loading and saving promise of each other.

#include <fcntl.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "fairlead/ini/ini_file.h"
#include "fairlead/ini/memory_file.h"

namespace {

using Records = std::vector<fairlead::CIniFile::Record>;

void Require(bool promise) {
  if (!promise) std::abort();
}

bool Equal(const Records& a, const Records& b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (a[i].Comments != b[i].Comments || a[i].Commented != b[i].Commented ||
        a[i].Section != b[i].Section || a[i].Key != b[i].Key ||
        a[i].Value != b[i].Value)
      return false;
  }
  return true;
}

// What saving keeps of a list: no value without a key, and every key in the
// section of what was written as a header above it.
Records AfterATrip(Records records) {
  std::string current;
  for (auto& record : records) {
    if (record.Key.empty()) {
      record.Value.clear();
      current = record.Section;
    }
    record.Section = current;
  }
  return records;
}

// Whether the file loads without a fault; a fault leaves what stood before it.
bool Loads(const std::string& path, Records& records) {
  try {
    Require(fairlead::CIniFile::Load(path, records));
    return true;
  } catch (const std::out_of_range& error) {
    Require(std::string_view(error.what()) == "basic_string::erase");
    return false;
  }
}

}  // namespace

// Saving prints, which is nothing to look at here.
extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
  const int null = open("/dev/null", O_WRONLY | O_CLOEXEC);
  Require(dup2(null, STDOUT_FILENO) == STDOUT_FILENO);
  return close(null);
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  static const fairlead::MemoryFile file;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const std::string path = file.Path();
  file.Write(text);
  Records records(1);
  const bool whole = Loads(path, records);
  const std::string content =
      whole ? fairlead::CIniFile::Content(path) : std::string();

  Require(fairlead::CIniFile::Save(path, records));
  const std::string saved = file.Read();
  if (whole) Require(saved == content);
  Require(fairlead::CIniFile::Content(path) == saved);

  Records again;
  Require(Loads(path, again));
  Require(Equal(again, AfterATrip(records)));
  Require(fairlead::CIniFile::Save(path, again));
  Require(file.Read() == saved);
  return 0;
}
