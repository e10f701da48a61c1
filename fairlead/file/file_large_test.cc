// Tests that a very large file is read into one buffer of its size.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <new>
#include <string>

#include "fairlead/base/descriptor.h"
#include "fairlead/file/file_edit.h"
#include "fairlead/testing/sanitizers.h"

namespace fairlead::internal::file_large_test {
namespace {

// A file without blocks: it takes no memory, but the size.
class SparseFile {
 public:
  explicit SparseFile(off_t size) {
    EXPECT_EQ(ftruncate(file_.number(), size), 0);
  }

  std::string path() const {
    return "/proc/self/fd/" + std::to_string(file_.number());
  }

 private:
  const Descriptor file_{memfd_create("sparse", MFD_CLOEXEC)};
};

TEST(LargeFileTest, IsReadIntoOneBuffer) {
  if (kSanitized) GTEST_SKIP() << "sanitizers need memory too";
  constexpr std::size_t kSize = (std::size_t{1} << 30) + 100'000'000;
  const SparseFile file(kSize);
  const FileContent content = fairlead::ReadFileContent(file.path());
  EXPECT_TRUE(content.result.Succeeded());
  EXPECT_EQ(content.text.size(), kSize);
  EXPECT_LE(content.text.capacity(), kSize + 4096);
}

// No address space has this size, and no string.
TEST(LargeFileTest, WithoutEnoughMemoryThrows) {
  if (kSanitized) GTEST_SKIP() << "a sanitizer ends such a program";
  for (const int bits : {50, 62}) {
    const SparseFile file(off_t{1} << bits);
    EXPECT_THROW(fairlead::ReadFileContent(file.path()), std::bad_alloc)
        << bits;
  }
}

}  // namespace
}  // namespace fairlead::internal::file_large_test
