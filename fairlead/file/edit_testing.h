// For tests that edit files: changes, results, and acting as another user. Not
// installed.

#ifndef FAIRLEAD_FILE_EDIT_TESTING_H_
#define FAIRLEAD_FILE_EDIT_TESTING_H_

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <iterator>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>

#include "fairlead/base/descriptor.h"
#include "fairlead/file/file_edit.h"
#include "fairlead/testing/temp_folder.h"

namespace fairlead {

// Found by argument-dependent lookup.
inline void PrintTo(const FileResult& result, std::ostream* out) {
  *out << "{error " << static_cast<int>(result.error) << ", state "
       << static_cast<int>(result.state) << ", errno " << result.system_error
       << ", " << result.Message() << '}';
}

}  // namespace fairlead

namespace fairlead::internal {

inline constexpr uid_t kNobody = 65534;
inline constexpr bool kBothWays[] = {false, true};  // In place?

// Locks the whole file through its open file description, as an edit does.
inline bool LockAll(const Descriptor& file, short type) {
  struct flock lock = {};
  lock.l_type = type;
  return fcntl(file.number(), F_OFD_SETLK, &lock) == 0;
}

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

// Writes a file in the folder. Returns its path.
inline std::string Put(const TempFolder& folder, std::string_view name,
                       std::string_view text) {
  WriteFile(folder.Path(name), text);
  return folder.Path(name);
}

inline FileChange To(const std::string& text) {
  return [text](const std::optional<std::string>&) { return text; };
}

inline FileChange Appending(const std::string& text) {
  return [text](const std::optional<std::string>& old) {
    return old.value_or("") + text;
  };
}

inline struct stat StatusOf(const std::string& path) {
  struct stat status = {};
  EXPECT_EQ(lstat(path.c_str(), &status), 0) << path;
  return status;
}

// Changes the text to "new". Waits for no other edit.
inline FileResult SetNew(const std::string& path, bool in_place) {
  return EditFile(
      path, To("new\n"),
      {.in_place = in_place, .lock_limit = std::chrono::milliseconds(0)});
}

inline std::size_t FilesIn(const TempFolder& folder) {
  return static_cast<std::size_t>(
      std::distance(std::filesystem::directory_iterator(folder.path()),
                    std::filesystem::directory_iterator()));
}

// What a test checks in a result.
struct Expected {
  FileError error = FileError::kNone;
  FileState state = FileState::kOld;
  int system_error = 0;
};

inline bool operator==(const FileResult& result, const Expected& expected) {
  return result.error == expected.error && result.state == expected.state &&
         result.system_error == expected.system_error;
}

inline void PrintTo(const Expected& expected, std::ostream* out) {
  *out << "{error " << static_cast<int>(expected.error) << ", state "
       << static_cast<int>(expected.state) << ", errno "
       << expected.system_error << '}';
}

inline constexpr Expected kWritten = {.state = FileState::kNew};
inline constexpr Expected kUnchanged = {};

}  // namespace fairlead::internal

#endif  // FAIRLEAD_FILE_EDIT_TESTING_H_
