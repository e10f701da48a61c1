// Tests of the log without errors.

#include "fairlead/log/log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <optional>
#include <random>
#include <sstream>
#include <string>
#include <string_view>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include "fairlead/log/log_testing.h"
#include "fairlead/testing/sanitizers.h"

namespace fairlead::internal::log_test {
namespace {

using testing::ElementsAre;

using namespace std::string_literals;

static_assert(!std::is_copy_constructible_v<CLog>);
static_assert(!std::is_move_constructible_v<CLog>);
static_assert(!std::is_copy_assignable_v<CLog>);
static_assert(!std::is_move_assignable_v<CLog>);
static_assert(std::is_same_v<decltype(std::declval<CLog&>() << "text"), CLog&>);

// A list of names, or a name and a flag. A second name is no flag.
static_assert(std::is_constructible_v<CLog, std::vector<std::string>>);
static_assert(std::is_constructible_v<CLog, std::string, bool>);
static_assert(std::is_constructible_v<CLog, const char (&)[6], bool>);
static_assert(std::is_constructible_v<CLog, const char*, int>);
static_assert(
    !std::is_constructible_v<CLog, const char (&)[6], const char (&)[6]>);
static_assert(!std::is_constructible_v<CLog, const char*, const char*>);
static_assert(!std::is_constructible_v<CLog, std::string, const char*>);
static_assert(!std::is_constructible_v<CLog, std::string, char*>);
static_assert(!std::is_constructible_v<CLog, std::string, std::string>);
static_assert(!std::is_constructible_v<CLog, std::string>);

// The contents of the log file and of standard output.
struct Contents {
  std::string file;
  std::string output;

  bool operator==(const Contents&) const = default;
};

void PrintTo(const Contents& contents, std::ostream* out) {
  *out << "file " << testing::PrintToString(contents.file) << ", output "
       << testing::PrintToString(contents.output);
}

class LogTest : public LogFolderTest {
 protected:
  std::string Missing() const { return folder_.Path("missing/test.log"); }
  Contents Now() const { return {ReadFile(Name()), ReadFile(OutputName())}; }

  // Returns the contents after a log has written `texts` and was destroyed.
  Contents Written(const std::vector<std::string>& texts, bool crlf) {
    {
      const StandardOutputTo output(OutputName());
      CLog log(Name(), crlf);
      for (const std::string& text : texts) log << text;
    }
    return Now();
  }

  // The same for a log constructed from a list of names.
  Contents WrittenToFirstOf(const std::vector<std::string>& names,
                            const std::string& text) {
    {
      const StandardOutputTo output(OutputName());
      CLog log(names);
      log << text;
    }
    return Now();
  }
};

TEST_F(LogTest, WritesATextToTheFileAndToStandardOutput) {
  EXPECT_EQ(Written({"one line\n"}, false),
            (Contents{"one line\n", "one line\n"}));
}

TEST_F(LogTest, AddsNothing) {
  EXPECT_EQ(Written({"a", "b", "", "\n", "c"}, false),
            (Contents{"ab\nc", "ab\nc"}));
}

TEST_F(LogTest, WritesChainInTheirOrder) {
  {
    const StandardOutputTo output(OutputName());
    CLog log(Name(), false);
    const std::string a = "a";
    CLog& same = log << a << "b"
                     << "c\n"s;
    EXPECT_EQ(&same, &log);
  }
  EXPECT_EQ(Now(), (Contents{"abc\n", "abc\n"}));
}

TEST_F(LogTest, WritesEveryByteAsItIsWithoutCrlf) {
  std::string text;
  for (int byte = 0; byte < 256; ++byte) text += static_cast<char>(byte);
  EXPECT_EQ(Written({text, "x\r\n", "a\0b\n"s}, false),
            (Contents{text + "x\r\na\0b\n"s, text + "x\r\na\0b\n"s}));
}

TEST_F(LogTest, IgnoresTheFormatOfStandardOutput) {
  {
    const StandardOutputTo output(OutputName());
    CLog log(Name(), false);
    std::cout.width(10);
    log << "a\n";
    std::cout.width(0);
  }
  EXPECT_EQ(Now(), (Contents{"a\n", "a\n"}));
}

struct CrlfCase {
  std::string text;
  std::string written;
};

TEST_F(LogTest, CrlfPutsACarriageReturnBeforeEveryNewline) {
  const CrlfCase cases[] = {
      {"a\nb\n", "a\r\nb\r\n"},
      {"x\r\n", "x\r\r\n"},  // A CR that is there already does not count.
      {"\n", "\r\n"},
      {"\n\n", "\r\n\r\n"},
      {"\n\r", "\r\n\r"},
      {"\r", "\r"},
      {"a\0\nb"s, "a\0\r\nb"s},
      {"no break", "no break"},
      {"", ""},
      {std::string(5000, '\n') + "!",
       [] {
         std::string pairs;
         for (int i = 0; i < 5000; ++i) pairs += "\r\n";
         return pairs + "!";
       }()},
  };
  for (const CrlfCase& c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.text));
    std::filesystem::remove(Name());
    std::filesystem::remove(OutputName());
    EXPECT_EQ(Written({c.text}, true), (Contents{c.written, c.written}));
    std::filesystem::remove(Name());
    std::filesystem::remove(OutputName());
    EXPECT_EQ(Written({c.text}, false), (Contents{c.text, c.text}));
  }
}

TEST_F(LogTest, FlushesBothAtANewlineAndNotBefore) {
  std::vector<Contents> seen;
  {
    const StandardOutputTo output(OutputName());
    CLog log(Name(), false);
    for (const char* text : {"abc", "\n", "d", "e", "f\r", "g", "h\ni", "j"}) {
      log << text;
      seen.push_back(Now());
    }
  }
  seen.push_back(Now());

  EXPECT_THAT(
      seen, ElementsAre(Contents{"", ""}, Contents{"abc\n", "abc\n"},
                        Contents{"abc\n", "abc\n"}, Contents{"abc\n", "abc\n"},
                        Contents{"abc\ndef\r", "abc\ndef\r"},
                        Contents{"abc\ndef\r", "abc\ndef\r"},
                        Contents{"abc\ndef\rgh\ni", "abc\ndef\rgh\ni"},
                        Contents{"abc\ndef\rgh\ni", "abc\ndef\rgh\ni"},
                        Contents{"abc\ndef\rgh\nij", "abc\ndef\rgh\nij"}));
}

TEST_F(LogTest, FlushesInCrlfModeAsWell) {
  std::vector<Contents> seen;
  {
    const StandardOutputTo output(OutputName());
    CLog log(Name(), true);
    for (const char* text : {"abc", "\n", "d", "\r", "e"}) {
      log << text;
      seen.push_back(Now());
    }
  }
  EXPECT_THAT(seen,
              ElementsAre(Contents{"", ""}, Contents{"abc\r\n", "abc\r\n"},
                          Contents{"abc\r\n", "abc\r\n"},
                          Contents{"abc\r\nd\r", "abc\r\nd\r"},
                          Contents{"abc\r\nd\r", "abc\r\nd\r"}));
}

TEST_F(LogTest, EndlessTextIsNotBufferedEndlessly) {
  std::size_t written = 0;
  {
    const StandardOutputTo output(OutputName());
    CLog log(Name(), false);
    for (int i = 0; i < 1000; ++i) log << std::string(1000, '.');
    written = ReadFile(Name()).size();
  }
  EXPECT_GE(written, 980000);
  EXPECT_EQ(ReadFile(Name()).size(), 1000000);
}

TEST_F(LogTest, TextWithoutANewlineIsBufferedUpToEightKibibytes) {
  std::vector<std::size_t> written;
  {
    const StandardOutputTo output(OutputName());
    CLog log(Name(), false);
    for (int i = 0; i < 8; ++i) log << std::string(1024, '.');
    written.push_back(ReadFile(Name()).size());
    log << ".";
    written.push_back(ReadFile(Name()).size());
    log << "!";
    written.push_back(ReadFile(Name()).size());
  }
  EXPECT_THAT(written, ElementsAre(0, 8193, 8193));
}

TEST_F(LogTest, ALineFlushesWhatTheProgramPrintedBefore) {
  std::vector<std::string> seen;
  {
    const StandardOutputTo output(OutputName());
    CLog log(Name(), false);
    std::printf("printf ");
    std::cout << "cout ";
    log << "log ";
    seen.push_back(ReadFile(OutputName()));
    log << "\n";
    seen.push_back(ReadFile(OutputName()));
  }
  EXPECT_THAT(seen, ElementsAre("", "printf cout log \n"));
}

TEST_F(LogTest, FlushesBothBuffersAfterSyncWithStdioFalse) {
  const int status = StatusOfChild(OutputName(), [this] {
    std::ios::sync_with_stdio(false);
    CLog log(Name(), false);
    std::printf("printf ");
    log << "log ";
    if (Now() != Contents{"", ""}) _exit(2);
    log << "line\n";
    if (ReadFile(Name()) != "log line\n") _exit(3);
    const std::string output = ReadFile(OutputName());
    _exit(output == "log line\nprintf " ? 0 : 4);
  });
  EXPECT_EQ(status, 0);
}

// Stores what is written and counts flushes.
class RecordingBuffer : public std::stringbuf {
 public:
  int syncs = 0;

 protected:
  int sync() override {
    ++syncs;
    return 0;
  }
};

TEST_F(LogTest, WritesToTheStreamThatStandardOutputIs) {
  RecordingBuffer buffer;
  std::streambuf* const before = std::cout.rdbuf(&buffer);
  int syncs = -1;
  {
    CLog log(Name(), false);
    log << "abc";
    syncs = buffer.syncs;
    log << "\n";
  }
  std::cout.rdbuf(before);
  EXPECT_EQ(syncs, 0);
  EXPECT_EQ(buffer.syncs, 1);
  EXPECT_EQ(buffer.str(), "abc\n");
  EXPECT_EQ(ReadFile(Name()), "abc\n");
}

TEST_F(LogTest, FlushesTheStreamThatStandardOutputIsTiedTo) {
  RecordingBuffer buffer;
  std::ostream tied(&buffer);
  {
    const StandardOutputTo output(OutputName());
    CLog log(Name(), false);
    std::ostream* const before = std::cout.tie(&tied);
    log << "abc\n";
    std::cout.tie(before);
  }
  EXPECT_GE(buffer.syncs, 1);
  EXPECT_EQ(Now(), (Contents{"abc\n", "abc\n"}));
}

// Returns how many times this process has called `write`, or nothing if the
// system does not count.
std::optional<std::int64_t> CallsOfWrite() {
  std::ifstream file("/proc/self/io");
  std::string word;
  std::int64_t count = 0;
  while (file >> word >> count)
    if (word == "syscw:") return count;
  return std::nullopt;
}

TEST_F(LogTest, ALineIsOneWriteToFileAndStandardOutput) {
  if (!CallsOfWrite()) GTEST_SKIP() << "the system does not count";
  constexpr int kLines = 100;
  std::int64_t calls = 0;
  {
    const StandardOutputTo output(OutputName());
    CLog log(Name(), false);
    const std::int64_t before = *CallsOfWrite();
    for (int i = 0; i < kLines; ++i)
      log << "a "
          << "few " << std::string(static_cast<std::size_t>(i), '.') << "\n";
    calls = *CallsOfWrite() - before;
  }
  // The thread sanitizer itself writes now and then.
  EXPECT_GE(calls, 2 * kLines);
  EXPECT_LE(calls, 2 * kLines + 2);
}

TEST_F(LogTest, AppendsToWhatTheFileHolds) {
  Written({"first\n"}, false);
  EXPECT_EQ(Written({"second\n"}, false).file, "first\nsecond\n");
  EXPECT_EQ(Written({"third"}, true).file, "first\nsecond\nthird");
  WrittenToFirstOf({Name()}, " and fourth\n");
  EXPECT_EQ(ReadFile(Name()), "first\nsecond\nthird and fourth\n");
}

TEST_F(LogTest, AppendsWhateverOthersDoToTheFile) {
  {
    const StandardOutputTo output(OutputName());
    CLog log(Name(), false);
    CLog other(Name(), false);
    log << "old\n";
    std::filesystem::resize_file(Name(), 0);
    log << "1\n";
    other << "2\n";
    log << "3\n";
  }
  EXPECT_EQ(ReadFile(Name()), "1\n2\n3\n");
}

TEST_F(LogTest, TakesTheFirstNameThatOpens) {
  const std::string second = folder_.Path("second.log");
  EXPECT_EQ(WrittenToFirstOf({Missing(), Name(), second}, "a\n"),
            (Contents{"a\n", "a\n"}));
  EXPECT_FALSE(std::filesystem::exists(second));

  EXPECT_EQ(WrittenToFirstOf({Name(), second}, "b\n").file, "a\nb\n");
  EXPECT_FALSE(std::filesystem::exists(second));

  WrittenToFirstOf({"", folder_.Path(""), Missing(), second, Name()}, "c\n");
  EXPECT_EQ(ReadFile(second), "c\n");
  EXPECT_EQ(ReadFile(Name()), "a\nb\n");
}

TEST_F(LogTest, AListMayBeABracedList) {
  {
    const StandardOutputTo output(OutputName());
    CLog log({Missing(), Name()});
    log << "a\n";
  }
  EXPECT_EQ(ReadFile(Name()), "a\n");
}

TEST_F(LogTest, TwoNamesInBracesAreAListAndNotANameAndAFlag) {
  const std::string second = folder_.Path("second.log");
  {
    const StandardOutputTo output(OutputName());
    CLog log({Name().c_str(), second.c_str()});
    log << "a\n";
  }
  EXPECT_EQ(ReadFile(Name()), "a\n");
  EXPECT_FALSE(std::filesystem::exists(second));
}

TEST_F(LogTest, AListOfNamesTurnsCrlfOff) {
  EXPECT_EQ(WrittenToFirstOf({Name()}, "a\nb\r\n"),
            (Contents{"a\nb\r\n", "a\nb\r\n"}));
}

TEST_F(LogTest, WithoutAFileItWritesToStandardOutput) {
  {
    const StandardOutputTo output(OutputName());
    CLog by_name(Missing(), true);
    by_name << "1"
            << "\n";
    CLog by_list({Missing(), folder_.Path("")});
    by_list << "2\n";
    CLog by_empty_list((std::vector<std::string>()));
    by_empty_list << "3\n" << std::string(20000, '.') << "4\n";
  }
  EXPECT_EQ(ReadFile(OutputName()),
            "1\r\n2\n3\n" + std::string(20000, '.') + "4\n");
}

TEST_F(LogTest, NeverTriesToOpenAgain) {
  {
    const StandardOutputTo output(OutputName());
    CLog by_name(Missing(), false);
    CLog by_list({Missing()});
    std::filesystem::create_directory(folder_.Path("missing"));
    by_name << "by name\n";
    by_list << "by list\n";
  }
  EXPECT_EQ(ReadFile(OutputName()), "by name\nby list\n");
  EXPECT_FALSE(std::filesystem::exists(Missing()));
}

// At any time, file and standard output have everything up to the last text
// with a newline; at the end they have everything.
TEST_F(LogTest, RandomTextsArriveInFull) {
  constexpr unsigned kSeed = 20261121;
  SCOPED_TRACE(testing::Message() << "seed " << kSeed);
  std::mt19937 random(kSeed);
  for (int round = 0; round < (kSanitized ? 4 : 16); ++round) {
    const bool crlf = round % 2 == 0;
    const std::string name = folder_.Path(std::to_string(round));
    const std::string output_name = name + ".output";
    std::string all;
    std::string flushed;
    std::vector<std::string> behind;
    {
      const StandardOutputTo output(output_name);
      CLog log(name, crlf);
      for (int i = 0; i < 100; ++i) {
        std::string text;
        const std::size_t size =
            random() % 5 == 0 ? random() % 9000 : random() % 30;
        for (std::size_t j = 0; j < size; ++j)
          text += random() % 60 == 0 ? "\n\r\0"[random() % 3]
                                     : static_cast<char>('a' + random() % 26);
        log << text;
        for (const char c : text) all += crlf && c == '\n' ? "\r\n"s : ""s + c;
        if (text.find_first_of("\r\n") != std::string::npos) flushed = all;
        for (const std::string& path : {name, output_name})
          if (!ReadFile(path).starts_with(flushed)) behind.push_back(path);
      }
    }
    EXPECT_TRUE(behind.empty()) << behind.front();
    ASSERT_EQ(ReadFile(name), all);
    ASSERT_EQ(ReadFile(output_name), all);
  }
}

// Returns "thread number" twice, with enough in between to be torn.
std::string LineOf(int thread, int number) {
  const std::string mark =
      std::to_string(thread) + " " + std::to_string(number);
  const auto size = static_cast<std::size_t>((thread * 7 + number) % 90);
  return mark + "\n" + std::string(size, '-') + mark + "\n";
}

TEST_F(LogTest, LinesOfManyThreadsAreWholeAndInOneOrder) {
  constexpr int kThreads = 8;
  constexpr int kLines = Rounds(10'000);
  {
    const StandardOutputTo output(OutputName());
    CLog log(Name(), false);
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread)
      threads.emplace_back([&log, thread] {
        for (int i = 0; i < kLines; ++i) log << LineOf(thread, i);
      });
    for (std::thread& thread : threads) thread.join();
  }

  const Contents contents = Now();
  ASSERT_TRUE(contents.file == contents.output);
  std::map<int, int> seen;
  std::string_view rest = contents.file;
  while (!rest.empty()) {
    const int thread = rest.front() - '0';
    const std::string expected = LineOf(thread, seen[thread]++);
    ASSERT_EQ(rest.substr(0, expected.size()), expected);
    rest.remove_prefix(expected.size());
  }
  for (int thread = 0; thread < kThreads; ++thread)
    EXPECT_EQ(seen[thread], kLines) << "thread " << thread;
}

}  // namespace
}  // namespace fairlead::internal::log_test
