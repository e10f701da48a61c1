// Every function of the library while memory is short: std::bad_alloc or a
// documented result, nothing leaked, files and objects old or new, and the
// object can be used afterwards.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <barrier>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <iterator>
#include <map>
#include <new>
#include <optional>
#include <ostream>
#include <regex>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "fairlead/allocations/allocations_testing.h"
#include "fairlead/allocations/operations_testing.h"
#include "fairlead/testing/captured_output.h"
#include "fairlead/testing/sanitizers.h"
#include "fairlead/testing/temp_folder.h"

namespace fairlead::internal::allocations_test {
namespace {

std::vector<Operation> Operations() {
  std::vector<Operation> all;
  for (const auto* const some : {&kBasicOperations, &kFileOperations,
                                 &kDocumentOperations, &kNetOperations})
    all.insert(all.end(), some->begin(), some->end());
  return all;
}

std::string StateOf(const Prepared& prepared, const TempFolder& folder) {
  std::map<std::string, std::string> files;
  for (const auto& file : std::filesystem::directory_iterator(folder.path()))
    files[file.path().filename()] = ReadFile(file.path());
  std::string state = prepared.state ? prepared.state() : "";
  for (const auto& [name, text] : files) state += name + ": " + text + "\n";
  return state;
}

std::ptrdiff_t OpenDescriptors() {
  using Entries = std::filesystem::directory_iterator;
  return std::distance(Entries("/proc/self/fd"), Entries());
}

// What an operation did; without a result, it threw std::bad_alloc.
struct Performed {
  std::optional<std::string> result = {};
  std::string before = {};
  std::string after = {};
  std::optional<std::string> again = {};  // Without a fault, if that failed.
  int made = 0;                           // Allocations.
  int failed = 0;
};

std::optional<std::string> Result(const Prepared& prepared) {
  try {
    return prepared.act();
  } catch (const std::bad_alloc&) {
    return std::nullopt;
  }
}

constexpr int kNever = -1;
constexpr int kMost = 3000;

// A thread that has let go of its client takes a moment to give its memory
// back.
bool ComesBackTo(long live, std::chrono::seconds limit) {
  const auto end = std::chrono::steady_clock::now() + limit;
  while (LiveAllocations() > live) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::yield();
  }
  return true;
}

constexpr int kThreads = 8;

class AllocationsTest : public testing::TestWithParam<Operation> {
 protected:
  // The system keeps the stacks of ended threads, with memory for each: as many
  // as any operation has at once are made here.
  static void SetUpTestSuite() {
    std::barrier together(kThreads);
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i)
      threads.emplace_back([&] { together.arrive_and_wait(); });
    for (std::thread& thread : threads) thread.join();
  }

  static bool TakesMemory() {
    const Memory memory = GetParam().memory;
    return memory == Memory::kTaken ||
           (memory == Memory::kTakenBySystem && !kSanitized);
  }

  bool Failed(const Performed& run) const {
    return !run.result ||
           std::ranges::count(GetParam().failures, *run.result) > 0;
  }

  Performed Perform(int first, bool lasts) const {
    const TempFolder folder;
    const CapturedOutput output;
    const Prepared prepared = GetParam().prepare(folder);
    Performed run;
    run.before = StateOf(prepared, folder);
    {
      FailingAllocations fault(first, lasts);
      run.result = Result(prepared);
      fault.Stop();
      run.made = FailingAllocations::made();
      run.failed = FailingAllocations::failed();
    }
    run.after = StateOf(prepared, folder);
    if (Failed(run) && run.after == run.before) run.again = Result(prepared);
    return run;
  }

  // The result of a failure is true, and what failed can be repeated.
  void Judge(const Performed& run, const Performed& right) const {
    if (!Failed(run)) {
      EXPECT_EQ(run.result, right.result);
      EXPECT_EQ(run.after, right.after);
      return;
    }
    EXPECT_GT(run.failed, 0) << run.result.value_or("");
    if (run.after == run.before)
      EXPECT_EQ(run.again, right.result);
    else
      EXPECT_TRUE(run.result && run.after == right.after) << run.after;
  }

  // A leak grows each time; a table of the system, such as of a time zone that
  // could not be read, does not.
  void ExpectNoLeak(long live, int first, bool lasts) const {
    if (ComesBackTo(live, std::chrono::seconds(1))) return;
    const long grown = LiveAllocations();
    Perform(first, lasts);
    EXPECT_TRUE(ComesBackTo(grown, std::chrono::minutes(1)))
        << LiveAllocations() - grown << " leaked";
  }

  // Returns whether there was such an allocation.
  bool FailOne(int first, bool lasts, const Performed& right) const {
    SCOPED_TRACE(testing::Message() << "allocation " << first
                                    << (lasts ? " and all after it" : ""));
    const long live = LiveAllocations();
    const std::ptrdiff_t descriptors = OpenDescriptors();
    bool failed = false;
    {
      const Performed run = Perform(first, lasts);
      failed = run.failed > 0;
      Judge(run, right);
    }
    if (HasFailure()) return false;  // Its messages take memory.
    ExpectNoLeak(live, first, lasts);
    EXPECT_EQ(OpenDescriptors(), descriptors);
    return failed;
  }
};

TEST_P(AllocationsTest, AFailureIsReportedAndLosesNothing) {
  Perform(kNever, false);  // The first time, the system reads tables.
  const Performed right = Perform(kNever, false);
  ASSERT_NE(right.result.value_or(""), "");
  EXPECT_EQ(right.made > 0, TakesMemory()) << right.made;
  for (const bool lasts : {false, true}) {
    int first = 0;
    while (first < kMost && !HasFailure() && FailOne(first, lasts, right))
      ++first;
    EXPECT_EQ(first > 0, TakesMemory());
    EXPECT_LT(first, kMost);
  }
}

INSTANTIATE_TEST_SUITE_P(Operations, AllocationsTest,
                         testing::ValuesIn(Operations()),
                         [](const auto& test) { return test.param.name; });

#ifdef FAIRLEAD_LIBRARY

// Replaces each of these by a shorter name.
std::string Shortened(std::string name) {
  static const std::pair<std::regex, const char*> kShorter[] = {
      {std::regex(R"(\[abi:cxx11\]|fairlead::)"), ""},
      {std::regex(R"(std::basic_string_view<char, std::char_traits<char> >)"),
       "std::string_view"},
      {std::regex(
           R"(std::basic_string_view<wchar_t, std::char_traits<wchar_t> >)"),
       "std::wstring_view"},
      {std::regex(R"(std::__cxx11::basic_string<char, std::char_traits<char>, )"
                  R"(std::allocator<char> >)"),
       "std::string"},
      {std::regex(R"(, std::allocator<[^<>]*> >)"), ">"},
      {std::regex(R"( >)"), ">"}};
  for (const auto& [pattern, text] : kShorter)
    name = std::regex_replace(name, pattern, text);
  return name;
}

// The functions that the shared library exports, without templates of the
// standard library: _ZSt, _ZNSt, _ZNKSt.
std::set<std::string> ExportedFunctions() {
  std::set<std::string> functions;
  FILE* const names = popen("nm -D --defined-only " FAIRLEAD_LIBRARY
                            " | grep -vE ' _Z(NK?)?(S|9__gnu_cxx)' | c++filt",
                            "r");
  char line[2000];
  while (names != nullptr && std::fgets(line, sizeof line, names) != nullptr) {
    char type = 0;
    int end = 0;
    if (std::sscanf(line, "%*x %c %n", &type, &end) != 1) continue;
    std::string name = line + end;
    name.pop_back();
    if (type == 'T' || type == 'W' || type == 'i')
      functions.insert(Shortened(name));
  }
  EXPECT_EQ(names == nullptr ? -1 : pclose(names), 0);
  return functions;
}

TEST(AllocationsTableTest, NamesEveryFunctionOfTheLibrary) {
  std::set<std::string> named;
  for (const Operation& operation : Operations())
    for (const std::string_view function : operation.functions)
      EXPECT_TRUE(named.emplace(function).second) << function << " twice";
  std::erase_if(named, [&](const std::string& name) {
    return name.starts_with("inline ");
  });
  const std::set<std::string> exported = ExportedFunctions();
  EXPECT_GT(exported.size(), 150U);
  EXPECT_EQ(named, exported);
}

#endif

}  // namespace
}  // namespace fairlead::internal::allocations_test
