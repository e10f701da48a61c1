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

namespace fairlead {
namespace {

using log_testing::Contents;
using log_testing::kSanitized;
using log_testing::StandardOutputTo;
using log_testing::StatusOfChild;
using log_testing::TempFolder;
using testing::ElementsAre;

using namespace std::string_literals;

static_assert(!std::is_copy_constructible_v<CLog>);
static_assert(!std::is_move_constructible_v<CLog>);
static_assert(!std::is_copy_assignable_v<CLog>);
static_assert(!std::is_move_assignable_v<CLog>);
static_assert(std::is_same_v<decltype(std::declval<CLog&>() << "text"), CLog&>);

// Names: a list of them, or one and a flag, which a second name is not.
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

// What two places hold at one moment.
struct Places {
  std::string file;
  std::string output;

  bool operator==(const Places&) const = default;
};

void PrintTo(const Places& places, std::ostream* out) {
  *out << "file " << testing::PrintToString(places.file) << ", output "
       << testing::PrintToString(places.output);
}

class LogTest : public testing::Test {
 protected:
  std::string Name() const { return folder_.Path("test.log"); }
  std::string OutputName() const { return folder_.Path("output"); }
  std::string Missing() const { return folder_.Path("missing/test.log"); }
  Places Now() const { return {Contents(Name()), Contents(OutputName())}; }

  // What the two places hold after a log has written `texts` and was closed.
  Places Written(const std::vector<std::string>& texts, bool crlf) {
    {
      const StandardOutputTo output(OutputName());
      CLog log(Name(), crlf);
      for (const std::string& text : texts) log << text;
    }
    return Now();
  }

  // The same of a log that was given a list of names.
  Places WrittenToFirstOf(const std::vector<std::string>& names,
                          const std::string& text) {
    {
      const StandardOutputTo output(OutputName());
      CLog log(names);
      log << text;
    }
    return Now();
  }

  const TempFolder folder_;
};

TEST_F(LogTest, WritesATextToTheFileAndToStandardOutput) {
  EXPECT_EQ(Written({"one line\n"}, false),
            (Places{"one line\n", "one line\n"}));
}

TEST_F(LogTest, AddsNothingOfItsOwn) {
  EXPECT_EQ(Written({"a", "b", "", "\n", "c"}, false),
            (Places{"ab\nc", "ab\nc"}));
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
  EXPECT_EQ(Now(), (Places{"abc\n", "abc\n"}));
}

TEST_F(LogTest, WritesEveryByteAsItIsWithoutCrlf) {
  std::string text;
  for (int byte = 0; byte < 256; ++byte) text += static_cast<char>(byte);
  EXPECT_EQ(Written({text, "x\r\n", "a\0b\n"s}, false),
            (Places{text + "x\r\na\0b\n"s, text + "x\r\na\0b\n"s}));
}

TEST_F(LogTest, IsNotConfusedByTheFormatOfStandardOutput) {
  {
    const StandardOutputTo output(OutputName());
    CLog log(Name(), false);
    std::cout.width(10);
    log << "a\n";
    std::cout.width(0);
  }
  EXPECT_EQ(Now(), (Places{"a\n", "a\n"}));
}

struct CrlfCase {
  std::string text;
  std::string written;
};

TEST_F(LogTest, CrlfPutsACarriageReturnBeforeEveryLineFeed) {
  const CrlfCase cases[] = {
      {"a\nb\n", "a\r\nb\r\n"},
      {"x\r\n", "x\r\r\n"},  // What stands there already is not looked at.
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
    EXPECT_EQ(Written({c.text}, true), (Places{c.written, c.written}));
    std::filesystem::remove(Name());
    std::filesystem::remove(OutputName());
    EXPECT_EQ(Written({c.text}, false), (Places{c.text, c.text}));
  }
}

TEST_F(LogTest, FlushesBothAtALineBreakAndNothingBefore) {
  std::vector<Places> seen;
  {
    const StandardOutputTo output(OutputName());
    CLog log(Name(), false);
    for (const char* text : {"abc", "\n", "d", "e", "f\r", "g", "h\ni", "j"}) {
      log << text;
      seen.push_back(Now());
    }
  }
  seen.push_back(Now());

  EXPECT_THAT(seen,
              ElementsAre(Places{"", ""}, Places{"abc\n", "abc\n"},
                          Places{"abc\n", "abc\n"}, Places{"abc\n", "abc\n"},
                          Places{"abc\ndef\r", "abc\ndef\r"},
                          Places{"abc\ndef\r", "abc\ndef\r"},
                          Places{"abc\ndef\rgh\ni", "abc\ndef\rgh\ni"},
                          Places{"abc\ndef\rgh\ni", "abc\ndef\rgh\ni"},
                          Places{"abc\ndef\rgh\nij", "abc\ndef\rgh\nij"}));
}

TEST_F(LogTest, FlushesInCrlfModeAsWell) {
  std::vector<Places> seen;
  {
    const StandardOutputTo output(OutputName());
    CLog log(Name(), true);
    for (const char* text : {"abc", "\n", "d", "\r", "e"}) {
      log << text;
      seen.push_back(Now());
    }
  }
  EXPECT_THAT(seen, ElementsAre(Places{"", ""}, Places{"abc\r\n", "abc\r\n"},
                                Places{"abc\r\n", "abc\r\n"},
                                Places{"abc\r\nd\r", "abc\r\nd\r"},
                                Places{"abc\r\nd\r", "abc\r\nd\r"}));
}

TEST_F(LogTest, TextWithoutEndIsNotHeldBackWithoutEnd) {
  std::size_t written = 0;
  {
    const StandardOutputTo output(OutputName());
    CLog log(Name(), false);
    for (int i = 0; i < 1000; ++i) log << std::string(1000, '.');
    written = Contents(Name()).size();
  }
  EXPECT_GE(written, 980000);
  EXPECT_EQ(Contents(Name()).size(), 1000000);
}

TEST_F(LogTest, TextWithoutALineBreakWaitsUpToEightKibibytes) {
  std::vector<std::size_t> written;
  {
    const StandardOutputTo output(OutputName());
    CLog log(Name(), false);
    for (int i = 0; i < 8; ++i) log << std::string(1024, '.');
    written.push_back(Contents(Name()).size());
    log << ".";
    written.push_back(Contents(Name()).size());
    log << "!";
    written.push_back(Contents(Name()).size());
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
    seen.push_back(Contents(OutputName()));
    log << "\n";
    seen.push_back(Contents(OutputName()));
  }
  EXPECT_THAT(seen, ElementsAre("", "printf cout log \n"));
}

TEST_F(LogTest, FlushesBothBuffersOfAProgramThatHasPartedThem) {
  const int status = StatusOfChild(OutputName(), [this] {
    std::ios::sync_with_stdio(false);
    CLog log(Name(), false);
    std::printf("printf ");
    log << "log ";
    if (Now() != Places{"", ""}) _exit(2);
    log << "line\n";
    if (Contents(Name()) != "log line\n") _exit(3);
    const std::string output = Contents(OutputName());
    _exit(output == "log line\nprintf " ? 0 : 4);
  });
  EXPECT_EQ(status, 0);
}

// Writes down what is asked of it.
class Witness : public std::stringbuf {
 public:
  int syncs = 0;

 protected:
  int sync() override {
    ++syncs;
    return 0;
  }
};

TEST_F(LogTest, WritesToTheStreamThatStandardOutputIs) {
  Witness witness;
  std::streambuf* const before = std::cout.rdbuf(&witness);
  int syncs = -1;
  {
    CLog log(Name(), false);
    log << "abc";
    syncs = witness.syncs;
    log << "\n";
  }
  std::cout.rdbuf(before);
  EXPECT_EQ(syncs, 0);
  EXPECT_EQ(witness.syncs, 1);
  EXPECT_EQ(witness.str(), "abc\n");
  EXPECT_EQ(Contents(Name()), "abc\n");
}

// How many times this process has called write, or nothing where the system
// does not count.
std::optional<std::int64_t> CallsOfWrite() {
  std::ifstream file("/proc/self/io");
  std::string word;
  std::int64_t count = 0;
  while (file >> word >> count)
    if (word == "syscw:") return count;
  return std::nullopt;
}

TEST_F(LogTest, ALineIsOneWriteToEachPlace) {
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
  // Thread sanitizer writes to a pipe of its own now and then.
  EXPECT_GE(calls, 2 * kLines);
  EXPECT_LE(calls, 2 * kLines + 2);
}

TEST_F(LogTest, AppendsToWhatTheFileHolds) {
  Written({"first\n"}, false);
  EXPECT_EQ(Written({"second\n"}, false).file, "first\nsecond\n");
  EXPECT_EQ(Written({"third"}, true).file, "first\nsecond\nthird");
  WrittenToFirstOf({Name()}, " and fourth\n");
  EXPECT_EQ(Contents(Name()), "first\nsecond\nthird and fourth\n");
}

TEST_F(LogTest, WritesAtTheEndWhateverOthersDoToTheFile) {
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
  EXPECT_EQ(Contents(Name()), "1\n2\n3\n");
}

TEST_F(LogTest, TakesTheFirstNameThatOpens) {
  const std::string second = folder_.Path("second.log");
  EXPECT_EQ(WrittenToFirstOf({Missing(), Name(), second}, "a\n"),
            (Places{"a\n", "a\n"}));
  EXPECT_FALSE(std::filesystem::exists(second));

  EXPECT_EQ(WrittenToFirstOf({Name(), second}, "b\n").file, "a\nb\n");
  EXPECT_FALSE(std::filesystem::exists(second));

  WrittenToFirstOf({"", folder_.Path(""), Missing(), second, Name()}, "c\n");
  EXPECT_EQ(Contents(second), "c\n");
  EXPECT_EQ(Contents(Name()), "a\nb\n");
}

TEST_F(LogTest, AListCanStandInBraces) {
  {
    const StandardOutputTo output(OutputName());
    CLog log({Missing(), Name()});
    log << "a\n";
  }
  EXPECT_EQ(Contents(Name()), "a\n");
}

TEST_F(LogTest, TwoNamesInBracesAreAListAndNotANameAndAFlag) {
  const std::string second = folder_.Path("second.log");
  {
    const StandardOutputTo output(OutputName());
    CLog log({Name().c_str(), second.c_str()});
    log << "a\n";
  }
  EXPECT_EQ(Contents(Name()), "a\n");
  EXPECT_FALSE(std::filesystem::exists(second));
}

TEST_F(LogTest, AListKeepsLineFeedsAsTheyAre) {
  EXPECT_EQ(WrittenToFirstOf({Name()}, "a\nb\r\n"),
            (Places{"a\nb\r\n", "a\nb\r\n"}));
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
  EXPECT_EQ(Contents(OutputName()),
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
  EXPECT_EQ(Contents(OutputName()), "by name\nby list\n");
  EXPECT_FALSE(std::filesystem::exists(Missing()));
}

// Any mixture of texts is all there at the end, in both places, and both hold
// everything up to the last text with a line break at any time.
TEST_F(LogTest, RandomTextsArriveAsTheyShould) {
  constexpr unsigned kSeed = 20261121;
  SCOPED_TRACE(testing::Message() << "seed " << kSeed);
  std::mt19937 random(kSeed);
  for (int round = 0; round < (kSanitized ? 4 : 16); ++round) {
    const bool crlf = round % 2 == 0;
    const std::string name = folder_.Path(std::to_string(round));
    const std::string output_name = name + ".output";
    std::string all;
    std::string flushed;
    std::vector<std::string> early;
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
        for (const std::string& place : {name, output_name})
          if (!Contents(place).starts_with(flushed)) early.push_back(place);
      }
    }
    EXPECT_TRUE(early.empty()) << early.front();
    ASSERT_EQ(Contents(name), all);
    ASSERT_EQ(Contents(output_name), all);
  }
}

// "thread number" twice, with enough between them to be torn.
std::string LineOf(int thread, int number) {
  const std::string mark =
      std::to_string(thread) + " " + std::to_string(number);
  const auto size = static_cast<std::size_t>((thread * 7 + number) % 90);
  return mark + "\n" + std::string(size, '-') + mark + "\n";
}

TEST_F(LogTest, LinesOfManyThreadsAreWholeAndInOneOrder) {
  constexpr int kThreads = 8;
  constexpr int kLines = kSanitized ? 1000 : 10000;
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

  const Places places = Now();
  ASSERT_TRUE(places.file == places.output);
  std::map<int, int> seen;
  std::string_view rest = places.file;
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
}  // namespace fairlead
