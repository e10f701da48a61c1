// Tests of the attributes that a replaced file keeps.

#include "fairlead/file/file_attributes.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <initializer_list>
#include <string>

#include "fairlead/file/edit_testing.h"

namespace fairlead::internal::file_attributes_test {
namespace {

// Returns an access control list in the format of the kernel.
std::string Acl(std::initializer_list<std::array<unsigned, 3>> entries) {
  std::string list("\2\0\0\0", 4);
  const auto append = [&list](unsigned number, unsigned bytes) {
    for (unsigned i = 0; i < bytes; ++i)
      list += static_cast<char>(number >> (8 * i));
  };
  for (const auto& [tag, rights, id] : entries) {
    append(tag, 2);
    append(rights, 2);
    append(id, 4);
  }
  return list;
}

constexpr unsigned kNone = 0xffffffff;

// user::rw- user:nobody:rw- group::r-- mask::rw- other::---
const std::string kAcl = Acl({{1, 6, kNone},
                              {2, 6, kNobody},
                              {4, 4, kNone},
                              {16, 6, kNone},
                              {32, 0, kNone}});
constexpr char kAccess[] = "system.posix_acl_access";
constexpr char kDefault[] = "system.posix_acl_default";
constexpr char kTag[] = "user.tag";

bool SetAttribute(const std::string& path, const char* name,
                  const std::string& value) {
  return setxattr(path.c_str(), name, value.data(), value.size(), 0) == 0;
}

// Returns the value of the attribute, or "" if there is none.
std::string Attribute(const std::string& path, const char* name) {
  std::string value(1000, '\0');
  const ssize_t size = getxattr(path.c_str(), name, value.data(), value.size());
  value.resize(static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
  return value;
}

TEST(FileAttributesTest, KeepsTheAccessControlListAndTheAttributes) {
  for (const bool in_place : kBothWays) {
    const TempFolder folder;
    const std::string path = Put(folder, "f", "old\n");
    if (!SetAttribute(path, kAccess, kAcl) ||
        !SetAttribute(path, kTag, "a b") || !SetAttribute(path, "user.e", ""))
      GTEST_SKIP() << "no access control lists or attributes in "
                   << folder.path();
    EXPECT_EQ(SetNew(path, in_place), kWritten);
    EXPECT_EQ(Attribute(path, kAccess), kAcl);
    EXPECT_EQ(Attribute(path, kTag), "a b");
    EXPECT_EQ(getxattr(path.c_str(), "user.e", nullptr, 0), 0);
    // The group bits of the mode are the mask, not group::r--.
    EXPECT_EQ(StatusOf(path).st_mode & 0777U, 0660U);
  }
}

// A default list of the folder must not widen access.
TEST(FileAttributesTest, ADefaultListOfTheFolderIsNotAdded) {
  const TempFolder folder;
  const std::string path = Put(folder, "f", "old\n");
  ASSERT_EQ(chmod(path.c_str(), 0640), 0);
  if (!SetAttribute(folder.path(), kDefault, kAcl))
    GTEST_SKIP() << "no access control lists in " << folder.path();
  EXPECT_EQ(SetNew(path, false), kWritten);
  EXPECT_EQ(Attribute(path, kAccess), "");
  EXPECT_EQ(StatusOf(path).st_mode & 0777U, 0640U);
  // A new file inherits it.
  EXPECT_EQ(SetNew(folder.Path("g"), false), kWritten);
  EXPECT_EQ(Attribute(folder.Path("g"), kAccess), kAcl);
}

TEST(FileAttributesTest, AnAttributeThatCannotBeKeptIsAnError) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can set such an attribute";
  const TempFolder folder;
  const std::string path = Put(folder, "f", "old\n");
  if (!SetAttribute(path, "security.fairlead", "x"))
    GTEST_SKIP() << "no such attributes in " << folder.path();
  ASSERT_EQ(chown(path.c_str(), kNobody, kNobody), 0);
  ASSERT_EQ(chown(folder.path().c_str(), kNobody, kNobody), 0);
  const OtherUser nobody;
  const FileResult result = SetNew(path, false);
  EXPECT_EQ(result, (Expected{.error = FileError::kOnlyInPlace,
                              .system_error = EPERM}));
  EXPECT_EQ(result.reason,
            "its attribute 'security.fairlead' cannot be kept: Operation not "
            "permitted");
  EXPECT_EQ(ReadFile(path), "old\n");
  EXPECT_EQ(FilesIn(folder), 1U);
  EXPECT_EQ(SetNew(path, true), kWritten);
  EXPECT_EQ(Attribute(path, "security.fairlead"), "x");
}

}  // namespace
}  // namespace fairlead::internal::file_attributes_test
