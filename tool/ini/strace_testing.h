// For tests: runs an edit under strace, which kills it or fails its calls.

#ifndef FAIRLEAD_TOOL_INI_STRACE_TESTING_H_
#define FAIRLEAD_TOOL_INI_STRACE_TESTING_H_

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <csignal>
#include <exception>
#include <filesystem>
#include <iterator>
#include <string>

#include "tool/base/concat.h"
#include "tool/io/read_file.h"
#include "tool/testing.h"

namespace fairlead::tool {

inline constexpr char kOld[] = "[a]\nx=1\n";
inline constexpr char kNew[] = "[a]\nx=1\ny=2\n";
inline constexpr unsigned kMode = 0640;
inline constexpr int kMaxCalls = 200;

// Leak detection does not work under strace.
inline const Words kEnvironment = {"ASAN_OPTIONS=detect_leaks=0"};

inline bool StraceWorks() {
  return RunProgram({.arguments = {"-qq", "-e", "inject=exit_group:signal=KILL",
                                   "/bin/true"},
                     .program = "strace"})
             .signal == SIGKILL;
}

struct Traced {
  Outcome outcome;
  std::string log;

  // Returns whether the fault was injected.
  bool IsReached() const { return log.find("INJECTED") != std::string::npos; }
};

// Runs the command under strace, which injects the fault.
inline Traced RunReaching(const std::string& fault, const Words& arguments,
                          const Words& options = {}) {
  const TempFolder folder;
  const std::string log = folder.path() + "/log";
  Traced run;
  run.outcome = RunProgram({.arguments = Words{"-f", "-qq", "-o", log, "-e",
                                               Concat("inject=", fault)} +
                                         options + Words{Program()} + arguments,
                            .environment = kEnvironment,
                            .program = "strace"});
  run.log = ReadFile(log);
  return run;
}

inline Outcome RunWith(const std::string& fault, const Words& arguments,
                       const Words& options = {}) {
  return RunReaching(fault, arguments, options).outcome;
}

struct Folder {
  TempFolder folder;
  std::string file = folder.path() + "/box.ini";
  std::string link = folder.path() + "/link.ini";

  Folder() { std::filesystem::create_symlink("box.ini", link); }

  void WriteOld() const {
    folder.File("box.ini", kOld);
    EXPECT_EQ(chmod(file.c_str(), kMode), 0);
  }

  Words Set() const {
    return {"ini", "set",  "-file", link,     "-section",
            "a",   "-key", "y",     "-value", "2"};
  }

  // Expects the file and the link only.
  void ExpectNoOtherFiles() const {
    const auto files = std::filesystem::directory_iterator(folder.path());
    EXPECT_EQ(std::distance(begin(files), end(files)), 2);
  }
};

// Returns the fault of a file system without unnamed files: the open with
// O_TMPFILE, found by counting, fails.
inline std::string NoUnnamedFiles(const Traced& run) {
  const std::string& log = run.log;
  const std::size_t end = log.find("O_TMPFILE");
  EXPECT_NE(end, std::string::npos) << log;
  std::size_t count = 0;
  for (std::size_t at = 0; (at = log.find("openat(", at)) < end; ++at) ++count;
  return Concat("openat:error=EOPNOTSUPP:when=", count);
}

inline std::string NoUnnamedFiles() {
  const Folder folder;
  folder.WriteOld();
  return NoUnnamedFiles(
      RunReaching("openat:error=EIO:when=1000", folder.Set()));
}

class StraceTest : public testing::Test {
 protected:
  void SetUp() override {
    try {
      if (!StraceWorks()) GTEST_SKIP() << "strace may not trace here";
    } catch (const std::exception&) {
      GTEST_SKIP() << "strace is not installed";
    }
  }
};

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_INI_STRACE_TESTING_H_
