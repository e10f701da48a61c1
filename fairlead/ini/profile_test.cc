// Tests of reading and writing one setting per call.

#include "fairlead/ini/profile.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <limits>
#include <stdexcept>
#include <string>

#include "fairlead/fairlead.h"
#include "fairlead/ini/ini_testing.h"

namespace fairlead::internal::profile_test {
namespace {

using ProfileTest = IniTest;

struct NumberCase {
  const char* line;
  int number;  // The default is 7.
};

constexpr NumberCase kNumbers[] = {
    {"k=12", 12},         {"k=12abc", 12},
    {"k = -3", -3},       {"k=+4", 4},
    {"k=007", 7},         {"k=0", 0},
    {"k=0x10", 0},        {";k=5", 5},  // disabled keys are read too
    {"k=abc", 7},         {"k=", 7},
    {"k=-", 7},           {"k=- 1", 7},
    {"other=12", 7},      {"k=2147483647", 2147483647},
    {"k=2147483648", 7},  {"k=-2147483648", std::numeric_limits<int>::min()},
    {"k=-2147483649", 7}, {"k=99999999999999999999", 7},
    {"k=1.5", 1},
};

TEST_F(ProfileTest, ReadsNumbers) {
  for (const NumberCase& c : kNumbers) {
    SCOPED_TRACE(c.line);
    Write(std::string("[s]\n") + c.line + "\n");
    EXPECT_EQ(GetPrivateProfileInteger("s", "k", 7, Path()), c.number);
  }
}

TEST_F(ProfileTest, ReadsTexts) {
  Write("k=0\n[s]\nk = v w \nempty=\n;off=1\n");
  EXPECT_EQ(GetPrivateProfileStr("s", "k", "d", Path()), "v w");
  EXPECT_EQ(GetPrivateProfileStr("", "k", "d", Path()), "0");
  EXPECT_EQ(GetPrivateProfileStr("s", "off", "d", Path()), "1");
  EXPECT_EQ(GetPrivateProfileStr("s", "empty", "d", Path()), "d");
  EXPECT_EQ(GetPrivateProfileStr("s", "none", "d", Path()), "d");
  EXPECT_EQ(GetPrivateProfileStr("none", "k", "d", Path()), "d");
  EXPECT_EQ(GetPrivateProfileStr("k", "s", "d", Path()), "d");
  EXPECT_EQ(GetPrivateProfileStr("s", " k", "d", Path()), "d");
  EXPECT_EQ(GetPrivateProfileStr("s", "none", "", Path()), "");
}

TEST_F(ProfileTest, ReadingAMissingFileReturnsDefaultsAndCreatesNothing) {
  EXPECT_EQ(GetPrivateProfileStr("s", "k", "d", Path()), "d");
  EXPECT_EQ(GetPrivateProfileInteger("s", "k", 7, Path()), 7);
  EXPECT_FALSE(std::filesystem::exists(Path()));
}

TEST_F(ProfileTest, WritingCreatesFileSectionAndKey) {
  WritePrivateProfileStr("s", "k", "v", Path());
  EXPECT_EQ(Read(), "[s]\nk=v\n");
  WritePrivateProfileStr("s", "l", "w", Path());
  EXPECT_EQ(Read(), "[s]\nl=w\nk=v\n");
  WritePrivateProfileStr("s", " k ", "x", Path());
  EXPECT_EQ(Read(), "[s]\nl=w\nk=x\n");
  WritePrivateProfileStr("t", " k ", "y", Path());
  EXPECT_EQ(Read(), "[s]\nl=w\nk=x\n[t]\n k =y\n");
}

TEST_F(ProfileTest, WritesNumbers) {
  WritePrivateProfileInteger("s", "k", -42, Path());
  EXPECT_EQ(Read(), "[s]\nk=-42\n");
  EXPECT_EQ(GetPrivateProfileInteger("s", "k", 7, Path()), -42);
  for (const int number : {0, 7, std::numeric_limits<int>::max(),
                           std::numeric_limits<int>::min()}) {
    WritePrivateProfileInteger("s", "k", number, Path());
    EXPECT_EQ(Read(), "[s]\nk=" + std::to_string(number) + "\n");
    EXPECT_EQ(GetPrivateProfileInteger("s", "k", 7, Path()), number);
  }
}

TEST_F(ProfileTest, AFailedWriteIsNotReported) {
  CapturedOutput output;
  CapturedOutput errors(STDERR_FILENO);
  EXPECT_NO_THROW(WritePrivateProfileStr("s", "k", "v", Path("none/a.ini")));
  EXPECT_NO_THROW(WritePrivateProfileInteger("s", "k", 1, Path("none/a.ini")));
  EXPECT_EQ(output.Take(), "");
  EXPECT_EQ(errors.Take(), "");
}

TEST_F(ProfileTest, AllThrowAtAHeaderWithoutBracket) {
  const std::string text = "[s]\nk=1\n[open";
  Write(text);
  EXPECT_THROW(GetPrivateProfileStr("s", "k", "", Path()), std::out_of_range);
  EXPECT_THROW(GetPrivateProfileInteger("s", "k", 7, Path()),
               std::out_of_range);
  EXPECT_THROW(WritePrivateProfileStr("s", "k", "", Path()), std::out_of_range);
  EXPECT_THROW(WritePrivateProfileInteger("s", "k", 7, Path()),
               std::out_of_range);
  EXPECT_EQ(Read(), text);
}

TEST_F(ProfileTest, ARelativeNameIsRelativeToTheWorkingDirectory) {
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::current_path(folder_.path());
  WritePrivateProfileStr("s", "k", "v", "a.ini");
  EXPECT_EQ(GetPrivateProfileStr("s", "k", "d", "a.ini"), "v");
  std::filesystem::current_path(before);
  EXPECT_EQ(Read(), "[s]\nk=v\n");
}

}  // namespace
}  // namespace fairlead::internal::profile_test
