// Tests of edits whose new text comes in pieces.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "fairlead/file/edit_testing.h"
#include "fairlead/file/file_edit.h"

namespace fairlead::internal::file_rewrite_test {
namespace {

namespace fs = std::filesystem;

// Passes the old text on, and then a line.
bool AppendLine(const std::optional<std::string>& old,
                const PieceWriter& write) {
  write(old.value_or(""));
  write("");
  write("ours\n");
  return true;
}

TEST(FileRewriteTest, WritesThePiecesInTheirOrder) {
  for (const bool in_place : kBothWays) {
    const TempFolder folder;
    const std::string path = Put(folder, "f", "old\n");
    const ino_t before = StatusOf(path).st_ino;
    const FileResult result =
        RewriteFile(path, AppendLine, {.in_place = in_place});
    EXPECT_EQ(result, kWritten);
    EXPECT_EQ(result.path, path);
    EXPECT_EQ(ReadFile(path), "old\nours\n");
    EXPECT_EQ(StatusOf(path).st_ino == before, in_place);
    EXPECT_EQ(FilesIn(folder), 1U);
  }
}

TEST(FileRewriteTest, CreatesAMissingFile) {
  for (const bool in_place : kBothWays) {
    const TempFolder folder;
    const std::string path = folder.Path("f");
    EXPECT_EQ(RewriteFile(path,
                          [](const auto& old, const PieceWriter& write) {
                            EXPECT_FALSE(old);
                            write("text\n");
                            return true;
                          },
                          {.in_place = in_place}),
              kWritten);
    EXPECT_EQ(ReadFile(path), "text\n");
  }
}

// Around the size of the buffer, 65,536 bytes.
TEST(FileRewriteTest, WritesPiecesOfAnySize) {
  for (const bool in_place : kBothWays)
    for (const std::size_t size : {1U, 7U, 65'535U, 65'536U, 65'537U, 200'000U})
      for (const std::size_t first : {0U, 1U, 65'536U}) {
        const TempFolder folder;
        const std::string path = Put(folder, "f", "old\n");
        std::string expected(first, 'a');
        for (int i = 0; i < 3; ++i)
          expected += std::string(size, static_cast<char>('b' + i));
        const auto rewrite = [&](const auto&, const PieceWriter& write) {
          write(std::string_view(expected).substr(0, first));
          for (std::size_t at = first; at < expected.size(); at += size)
            write(std::string_view(expected).substr(at, size));
          return true;
        };
        EXPECT_EQ(RewriteFile(path, rewrite, {.in_place = in_place}), kWritten);
        EXPECT_TRUE(ReadFile(path) == expected) << size << ", " << first;
      }
}

TEST(FileRewriteTest, WithoutPiecesTheFileBecomesEmpty) {
  const auto empty = [](const auto&, const PieceWriter&) { return true; };
  for (const bool in_place : kBothWays) {
    const TempFolder folder;
    const std::string path = Put(folder, "f", "old\n");
    for (const std::string& name : {path, folder.Path("g")}) {
      EXPECT_EQ(RewriteFile(name, empty, {.in_place = in_place}), kWritten);
      EXPECT_EQ(StatusOf(name).st_size, 0);
    }
  }
}

TEST(FileRewriteTest, PiecesAreDiscardedUnlessTheFileIsToBeWritten) {
  const auto discard = [](const auto&, const PieceWriter& write) {
    write(std::string(100'000, 'x'));
    return false;
  };
  const auto fail = [](const auto&, const PieceWriter& write) -> bool {
    write(std::string(100'000, 'x'));
    throw 7;
  };
  for (const bool in_place : kBothWays) {
    const TempFolder folder;
    const std::string path = Put(folder, "f", "old\n");
    const struct stat before = StatusOf(path);
    const FileEditOptions options = {.in_place = in_place,
                                     .backup_suffix = "~"};
    for (const std::string& name : {path, folder.Path("none")}) {
      EXPECT_EQ(RewriteFile(name, discard, options), kUnchanged);
      EXPECT_THROW(RewriteFile(name, fail, options), int);
    }
    EXPECT_EQ(ReadFile(path), "old\n");
    EXPECT_EQ(StatusOf(path).st_ctim.tv_nsec, before.st_ctim.tv_nsec);
    EXPECT_EQ(FilesIn(folder), 1U);
    EXPECT_EQ(SetNew(path, in_place), kWritten);  // It is not locked.
  }
}

TEST(FileRewriteTest, AnEqualTextIsWritten) {
  const TempFolder folder;
  const std::string path = Put(folder, "f", "old\n");
  const ino_t before = StatusOf(path).st_ino;
  const auto same = [](const auto& old, const PieceWriter& write) {
    write(*old);
    return true;
  };
  EXPECT_EQ(RewriteFile(path, same), kWritten);
  EXPECT_NE(StatusOf(path).st_ino, before);
  EXPECT_EQ(ReadFile(path), "old\n");
}

// By a program that ignores the lock.
TEST(FileRewriteTest, AFileChangedInTheMeantimeIsRewrittenAfresh) {
  for (const bool in_place : kBothWays)
    for (const bool exists : {false, true}) {
      const TempFolder folder;
      const std::string path = folder.Path("f");
      if (exists) Put(folder, "f", "old\n");
      int calls = 0;
      const auto rewrite = [&](std::optional<std::string> old,
                               const PieceWriter& write) {
        if (++calls == 1) Put(folder, "f", "theirs\n");
        return AppendLine(old, write);
      };
      EXPECT_EQ(RewriteFile(path, rewrite,
                            {.in_place = in_place, .backup_suffix = "~"}),
                kWritten);
      EXPECT_EQ(calls, 2);
      EXPECT_EQ(ReadFile(path), "theirs\nours\n");
      EXPECT_EQ(ReadFile(path + "~"), "theirs\n");
      EXPECT_EQ(FilesIn(folder), 2U);
    }
}

TEST(FileRewriteTest, AFailureIsReportedWhenAllPiecesHaveCome) {
  const TempFolder folder;
  const std::string path = Put(folder, "f", "old\n");
  fs::create_hard_link(path, folder.Path("second"));
  int calls = 0;
  const auto rewrite = [&](const auto& old, const PieceWriter& write) {
    ++calls;
    return AppendLine(old, write);
  };
  EXPECT_EQ(RewriteFile(path, rewrite),
            Expected{.error = FileError::kOnlyInPlace});
  EXPECT_EQ(
      RewriteFile(folder.Path("none/f"), rewrite),
      (Expected{.error = FileError::kCannotWrite, .system_error = ENOENT}));
  EXPECT_EQ(calls, 2);
  EXPECT_EQ(ReadFile(path), "old\n");
  EXPECT_EQ(RewriteFile(path, rewrite, {.in_place = true}), kWritten);
  EXPECT_EQ(ReadFile(folder.Path("second")), "old\nours\n");
}

}  // namespace
}  // namespace fairlead::internal::file_rewrite_test
