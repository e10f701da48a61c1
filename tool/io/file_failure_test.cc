// Tests of how failed edits are reported.

#include "tool/io/file_failure.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <string_view>

#include "tool/base/failure.h"

namespace fairlead::tool::file_failure_test {
namespace {

constexpr std::string_view kRemedy = " (overwrite it)";

FileResult Result(FileError error, int system_error,
                  std::string_view reason = "why") {
  FileResult result;
  result.error = error;
  result.system_error = system_error;
  result.path = "a\nb";
  result.reason = reason;
  return result;
}

// Expects the failure that a result is.
void ExpectFailure(const FileResult& result, ExitStatus status,
                   std::string_view text) {
  try {
    Check(result, kRemedy);
    ADD_FAILURE() << "no failure: " << text;
  } catch (const Failure& failure) {
    EXPECT_EQ(failure.status(), status);
    EXPECT_EQ(failure.what(), text);
  }
}

TEST(FileFailureTest, ASuccessIsNone) { EXPECT_NO_THROW(Check(FileResult())); }

TEST(FileFailureTest, EachErrorHasItsStatusAndText) {
  ExpectFailure(Result(FileError::kCannotRead, EIO), kCannotRead,
                "cannot read 'a\\nb': why");
  ExpectFailure(Result(FileError::kCannotWrite, EIO), kCannotWrite,
                "cannot write 'a\\nb': why");
  ExpectFailure(Result(FileError::kOnlyInPlace, EPERM), kCannotWrite,
                "cannot write 'a\\nb': why (overwrite it)");
  ExpectFailure(Result(FileError::kBusy, 0), kTimeIsOver,
                "another edit of 'a\\nb' did not end in time: try again");
}

TEST(FileFailureTest, AFullDiskHasARemedy) {
  for (const int error : {ENOSPC, EDQUOT})
    ExpectFailure(Result(FileError::kCannotWrite, error), kCannotWrite,
                  "cannot write 'a\\nb': why (free space on the disk)");
  ExpectFailure(Result(FileError::kCannotRead, EMFILE), kCannotRead,
                "cannot read 'a\\nb': why (raise 'ulimit -n')");
  ExpectFailure(Result(FileError::kCannotWrite, EFBIG), kCannotWrite,
                "cannot write 'a\\nb': why (raise 'ulimit -f')");
}

TEST(FileFailureTest, AFileThatIsWrittenIsSaidToBe) {
  FileResult result = Result(FileError::kCannotWrite, EIO);
  result.state = FileState::kNew;
  ExpectFailure(result, kCannotWrite,
                "'a\\nb' was written, but a power failure may undo it: why");
}

TEST(FileFailureTest, ALockFileIsNamed) {
  FileResult result = Result(FileError::kBusy, 0);
  result.lock_file = "./.fairlead.lock";
  ExpectFailure(result, kTimeIsOver,
                "another edit of 'a\\nb' did not end in time: try again; if "
                "there is none, delete './.fairlead.lock'");
}

}  // namespace
}  // namespace fairlead::tool::file_failure_test
