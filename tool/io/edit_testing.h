// For tests that edit files: changes, and acting as another user.

#ifndef FAIRLEAD_TOOL_IO_EDIT_TESTING_H_
#define FAIRLEAD_TOOL_IO_EDIT_TESTING_H_

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <iterator>
#include <optional>
#include <string>

#include "tool/base/exit_status.h"
#include "tool/base/failure.h"
#include "tool/io/atomic_edit.h"
#include "tool/testing.h"

namespace fairlead::tool {

inline constexpr uid_t kNobody = 65534;
inline constexpr Writing kBothWays[] = {Writing::kReplace, Writing::kInPlace};

// Acts as another user if the test runs as root.
class OtherUser {
 public:
  OtherUser() {
    if (is_root_) {
      EXPECT_EQ(setegid(kNobody), 0);
      EXPECT_EQ(seteuid(kNobody), 0);
    }
  }
  OtherUser(const OtherUser&) = delete;
  OtherUser& operator=(const OtherUser&) = delete;
  ~OtherUser() {
    if (is_root_) {
      EXPECT_EQ(seteuid(0), 0);
      EXPECT_EQ(setegid(0), 0);
    }
  }

 private:
  const bool is_root_ = geteuid() == 0;
};

inline Change To(const std::string& text) {
  return [text](const std::optional<std::string>&) { return text; };
}

inline Change Appending(const std::string& text) {
  return [text](const std::optional<std::string>& old) {
    return old.value_or("") + text;
  };
}

inline struct stat StatusOf(const std::string& path) {
  struct stat status = {};
  EXPECT_EQ(lstat(path.c_str(), &status), 0) << path;
  return status;
}

// Returns the message of an edit that fails, or "". Waits for no other edit.
inline std::string Fault(const std::string& path, Writing writing,
                         ExitStatus status = kCannotWrite) {
  try {
    EditFile(path, writing, To("new\n"),
             {.limit = std::chrono::milliseconds(0)});
  } catch (const Failure& failure) {
    EXPECT_EQ(failure.status(), status);
    return failure.what();
  }
  return "";
}

inline std::size_t FilesIn(const TempFolder& folder) {
  return static_cast<std::size_t>(
      std::distance(std::filesystem::directory_iterator(folder.path()),
                    std::filesystem::directory_iterator()));
}

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_IO_EDIT_TESTING_H_
