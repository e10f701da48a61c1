// Fuzzes loading and saving: any text round-trips as documented.

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
#include "fairlead/testing/memory_file.h"

namespace {

using Records = std::vector<fairlead::CIniFile::Record>;

void Require(bool condition) {
  if (!condition) std::abort();
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

// Returns what a loaded list becomes when saved and loaded again: a value
// without a key is lost, and a key is in the section of the last line that was
// written as a header.
Records AfterARoundTrip(Records records) {
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

// Loads a file; returns whether it loaded. If not, the records before the
// malformed header are in the list.
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

// Discards what saving prints.
extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
  const int null = open("/dev/null", O_WRONLY | O_CLOEXEC);
  Require(dup2(null, STDOUT_FILENO) == STDOUT_FILENO);
  return close(null);
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  static const fairlead::internal::MemoryFile file;
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
  Require(Equal(again, AfterARoundTrip(records)));
  Require(fairlead::CIniFile::Save(path, again));
  Require(file.Read() == saved);
  return 0;
}
