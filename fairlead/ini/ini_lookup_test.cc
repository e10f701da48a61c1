// Tests of the lookups in a loaded CIniFile.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <barrier>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <limits>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "fairlead/ini/ini_file.h"
#include "fairlead/ini/ini_testing.h"
#include "fairlead/testing/sanitizers.h"

namespace fairlead::internal::ini_lookup_test {
namespace {

using testing::ElementsAre;

class IniLookupTest : public IniTest {
 protected:
  // Loads a section of the keys k1, k2, ...: key kN is at position N.
  void LoadKeys(int count) {
    std::string text = "[s]\n";
    for (int i = 1; i < count; ++i)
      text += "k" + std::to_string(i) + "=" + std::to_string(i) + "\n";
    ini_.Load(Write(text));
    first_ = ini_.cursor - count;
  }

  std::string Statistics() const {
    return std::to_string(ini_.rediscovered) + " of " +
           std::to_string(ini_.researches) + " of " +
           std::to_string(ini_.searches) + ", " + ini_.lastLookup;
  }

  // Looks the keys up; returns what that printed.
  std::string PrintedBy(const std::vector<std::string>& keys) {
    CapturedOutput output;
    for (const std::string& key : keys) ini_.GetRecord(key, "s");
    return output.Take();
  }

  CIniFile ini_;
  Records::iterator first_;
};

TEST_F(IniLookupTest, FindsNothingBeforeLoading) {
  CapturedOutput output;
  EXPECT_THAT(ini_.GetRecord("k", "s"), ElementsAre());
  EXPECT_EQ(ini_.GetValueDef("s", "k", "d"), "d");
  EXPECT_EQ(output.Take(), "");
  EXPECT_EQ(Statistics(), "0 of 0 of 0, ");
}

TEST_F(IniLookupTest, FindsNothingAfterALoadThatFailed) {
  Write("[s]\nk=v\n");
  ini_.Load(Path());
  ini_.GetRecord("k", "s");
  Write("[s]\nk=v\n[open\n");
  EXPECT_THROW(ini_.Load(Path()), std::out_of_range);
  EXPECT_FALSE(ini_.loaded);
  EXPECT_THAT(ini_.GetRecord("k", "s"), ElementsAre());
  EXPECT_EQ(ini_.GetValueDef("s", "k", "d"), "d");
  EXPECT_EQ(Statistics(), "0 of 0 of 0, ");
  ini_.loaded = true;  // The list itself is empty.
  EXPECT_THAT(ini_.GetRecord("k", "s"), ElementsAre());
  EXPECT_EQ(Statistics(), "0 of 0 of 1, s/k");
}

TEST_F(IniLookupTest, SearchesAMissingFileAsAnEmptyOne) {
  EXPECT_TRUE(ini_.Load(Path("missing.ini")));
  EXPECT_THAT(ini_.GetRecord("k", "s"), ElementsAre());
  EXPECT_EQ(Statistics(), "0 of 0 of 1, s/k");
}

TEST_F(IniLookupTest, CopiesTheRecordFound) {
  ini_.Load(Write("k=0\n[s]\n#c\n;k=1\n"));
  EXPECT_THAT(ini_.GetRecord("k", "s"),
              ElementsAre(Record{"#c\n", ';', "s", "k", "1"}));
  EXPECT_THAT(ini_.GetRecord("k", ""),
              ElementsAre(Record{"", ' ', "", "k", "0"}));
  EXPECT_THAT(ini_.GetRecord("", "s"),
              ElementsAre(Record{"", ' ', "s", "", ""}));
  EXPECT_THAT(ini_.GetRecord(" k", "s"), ElementsAre());
  EXPECT_THAT(ini_.GetRecord("K", "s"), ElementsAre());
}

TEST_F(IniLookupTest, TheFirstLookupStartsAtTheBeginning) {
  for (const int length : {1, 2, 5, 6, 7, 30}) {
    SCOPED_TRACE(length);
    LoadKeys(length);
    EXPECT_EQ(PrintedBy({""}), "");  // The header, at position 0.
    EXPECT_EQ(ini_.cursor, first_);
    EXPECT_EQ(Statistics(), "0 of 0 of 1, s/");
  }
}

TEST_F(IniLookupTest, ThreeLookupsAt20And2And21) {
  LoadKeys(30);
  EXPECT_EQ(PrintedBy({"k20"}), "");
  EXPECT_EQ(Statistics(), "0 of 0 of 1, s/k20");
  EXPECT_EQ(PrintedBy({"k2"}),
            "re-search: [s/k2] after [s/k20] discovered 1 from 1; "
            "total searches=2\n");
  EXPECT_EQ(Statistics(), "1 of 1 of 2, s/k2");
  EXPECT_EQ(ini_.cursor - first_, 2);
  EXPECT_EQ(PrintedBy({"k21"}), "");
  EXPECT_EQ(Statistics(), "1 of 1 of 3, s/k21");
  EXPECT_EQ(ini_.cursor - first_, 21);
}

TEST_F(IniLookupTest, StepsBackFiveRecordsIfMorePrecede) {
  struct Step {
    int from;
    int to;
    bool again;
  };
  constexpr Step kSteps[] = {{0, 0, false},   {1, 0, true},   {5, 5, false},
                             {5, 4, true},    {5, 0, true},   {6, 1, false},
                             {6, 0, true},    {7, 2, false},  {7, 1, true},
                             {29, 24, false}, {29, 23, true}, {0, 29, false},
                             {6, 29, false},  {29, 29, false}};
  for (const Step& step : kSteps) {
    SCOPED_TRACE(testing::Message() << step.from << " to " << step.to);
    LoadKeys(30);
    ini_.cursor = first_ + step.from;
    const std::string key = step.to == 0 ? "" : "k" + std::to_string(step.to);
    EXPECT_EQ(PrintedBy({key}), "");  // Never at the first search.
    EXPECT_EQ(ini_.cursor - first_, step.to);
    EXPECT_EQ(ini_.researches, step.again ? 1 : 0);
    EXPECT_EQ(ini_.rediscovered, step.again ? 1 : 0);
    EXPECT_EQ(ini_.searches, 1);
  }
}

TEST_F(IniLookupTest, AFailedLookupKeepsTheCursor) {
  LoadKeys(30);
  EXPECT_EQ(PrintedBy({"none"}), "");
  EXPECT_EQ(ini_.cursor - first_, 30);
  EXPECT_EQ(Statistics(), "0 of 0 of 1, s/none");  // One pass: it started at 0.
  EXPECT_EQ(PrintedBy({"k20", "none"}), "");
  EXPECT_EQ(ini_.cursor - first_, 20);
  EXPECT_EQ(Statistics(), "0 of 1 of 3, s/none");
  EXPECT_EQ(PrintedBy({"k1"}),
            "re-search: [s/k1] after [s/none] discovered 1 from 2; "
            "total searches=4\n");
}

TEST_F(IniLookupTest, TheCursorDecidesBetweenDuplicates) {
  ini_.Load(Write("[s]\nk=1\na=2\nb=3\nc=4\nd=5\ne=6\nk=7\nf=8\n"));
  first_ = ini_.cursor - 9;
  EXPECT_EQ(ini_.GetValueDef("s", "k", "-"), "1");
  EXPECT_EQ(ini_.GetValueDef("s", "a", "-"), "2");
  EXPECT_EQ(ini_.GetValueDef("s", "k", "-"), "7");  // From a, at 2.
  EXPECT_EQ(ini_.GetValueDef("s", "f", "-"), "8");
  EXPECT_EQ(ini_.GetValueDef("s", "k", "-"), "7");  // From b, at 3.
  CapturedOutput output;
  EXPECT_EQ(ini_.GetValueDef("s", "", "-"), "");  // The header: a second pass.
  EXPECT_EQ(ini_.GetValueDef("s", "k", "-"), "1");
  EXPECT_EQ(output.Take(),
            "re-search: [s/] after [s/k] discovered 1 from 1; "
            "total searches=6\n");
  ini_.cursor = first_ + 6;  // The search starts at 1.
  EXPECT_EQ(ini_.GetValueDef("s", "k", "-"), "1");
  ini_.cursor = first_ + 7;  // The search starts at 2.
  EXPECT_EQ(ini_.GetValueDef("s", "k", "-"), "7");
  ini_.cursor = first_ + 9;  // Nothing found yet: it starts at 0.
  EXPECT_EQ(ini_.GetValueDef("s", "k", "-"), "1");
}

TEST_F(IniLookupTest, LoadingAgainResetsTheStatistics) {
  LoadKeys(30);
  PrintedBy({"k20", "k2", "k21"});
  ini_.Load(Write("[t]\nk20=other\n"));
  EXPECT_EQ(Statistics(), "0 of 0 of 0, ");
  EXPECT_THAT(ini_.GetRecord("k20", "s"), ElementsAre());
  EXPECT_EQ(ini_.GetValueDef("t", "k20", ""), "other");
}

TEST_F(IniLookupTest, CountersWrapAround) {
  LoadKeys(10);
  constexpr std::int32_t kMax = std::numeric_limits<std::int32_t>::max();
  ini_.searches = ini_.researches = ini_.rediscovered = kMax;
  ini_.cursor = first_ + 9;
  EXPECT_EQ(PrintedBy({"k1"}),
            "re-search: [s/k1] after [] discovered -2147483648 from "
            "-2147483648; total searches=-2147483648\n");
}

// The buffer of a printed line grows and is used again.
TEST_F(IniLookupTest, PrintsNamesOfAnyLength) {
  const std::string section(300, 's');
  const std::string key(5'000, 'k');
  ini_.Load(Write("[" + section + "]\n" + key + "=1\nx=2\n"));
  CapturedOutput output;
  ini_.GetRecord("x", section);
  ini_.GetRecord(key, section);
  ini_.GetRecord("", section);
  ini_.trace = true;
  ini_.GetValueDef("", "", "d");
  const std::string name = section + "/" + key;
  EXPECT_EQ(output.Take(), "re-search: [" + name + "] after [" + section +
                               "/x] discovered 1 from 1; total searches=2\n"
                               "re-search: [" +
                               section + "/] after [" + name +
                               "] discovered 2 from 2; total searches=3\n"
                               "[]  --> d\n");
}

TEST_F(IniLookupTest, PrintsInOrderWithTheProgram) {
  LoadKeys(30);
  ini_.GetRecord("k20", "s");
  CapturedOutput output;
  std::printf("before, ");
  ini_.GetRecord("k2", "s");
  std::printf("after\n");
  EXPECT_EQ(output.Take(),
            "before, re-search: [s/k2] after [s/k20] discovered 1 from 1; "
            "total searches=2\nafter\n");
}

// The stream is locked only if there are threads.
TEST_F(IniLookupTest, LinesOfTwoThreadsStayWhole) {
  constexpr int kLines = Rounds(100'000);
  std::barrier start(2);
  LoadKeys(30);
  const auto print = [&] {
    CIniFile ini;
    ini.Load(Path());
    start.arrive_and_wait();
    for (int i = 0; i < kLines; ++i) {
      ini.GetRecord("k20", "s");
      ini.GetRecord("k2", "s");
    }
  };
  CapturedOutput output;
  std::thread other(print);
  print();
  other.join();
  std::istringstream printed(output.Take());
  std::map<std::string, int> lines;
  for (std::string line; std::getline(printed, line);) ++lines[line];
  EXPECT_EQ(lines.size(), std::size_t{kLines});
  for (int i = 1; i <= kLines; ++i) {
    const std::string n = std::to_string(i);
    ASSERT_EQ(lines["re-search: [s/k2] after [s/k20] discovered " + n +
                    " from " + n + "; total searches=" + std::to_string(2 * i)],
              2)
        << n;
  }
}

TEST_F(IniLookupTest, FindsAValueChangedThroughTheCursor) {
  LoadKeys(30);
  for (const char* value : {"one", "two", "a longer value than was loaded"}) {
    ini_.cursor = first_ + 20;
    ini_.cursor->Value = value;
    EXPECT_EQ(ini_.GetValueDef("s", "k20", "d"), value);
    EXPECT_EQ(ini_.GetRecord("k20", "s").at(0).Value, value);
  }
}

// After lookups in file order, the next record is a likely place: a header, or
// the key below it.
TEST_F(IniLookupTest, AnEarlierDuplicateGoesBeforeTheLikelyPlace) {
  ini_.Load(Write("[s]\nk=1\na=2\n[t]\nk=3\n[s]\n[u]\nk=4\n[s]\nk=5\n"));
  first_ = ini_.cursor - 10;
  CapturedOutput output;
  for (int i = 0; i < 10; ++i) ini_.GetRecord("k", "u");
  EXPECT_EQ(ini_.cursor - first_, 7);
  const auto find_u = [this] {  // The header and its key, at 6 and 7.
    ini_.GetRecord("", "u");
    EXPECT_EQ(ini_.GetValueDef("u", "k", "d"), "4");
  };
  find_u();
  EXPECT_EQ(ini_.GetValueDef("s", "k", "d"), "5");  // From 2, the place of a.
  find_u();
  ini_.cursor = first_ + 6;                         // The search starts at 1.
  EXPECT_EQ(ini_.GetValueDef("s", "k", "d"), "1");  // Not 5, at a likely place.
  output.Take();
}

TEST_F(IniLookupTest, ALikelyPlaceBeforeTheStartIsNotTaken) {
  LoadKeys(30);
  PrintedBy({"k28", "k28", "k5", "k6", "k7"});
  ini_.cursor = first_ + 29;  // The search starts at 24, after k8.
  EXPECT_EQ(PrintedBy({"k8"}),
            "re-search: [s/k8] after [s/k7] discovered 2 from 2; "
            "total searches=6\n");
}

TEST_F(IniLookupTest, TheEndOfTheListIsALikelyPlace) {
  LoadKeys(30);
  PrintedBy({"k28", "k28", "k29"});
  EXPECT_EQ(PrintedBy({"none"}), "");
  EXPECT_EQ(PrintedBy({"k29"}), "");
  EXPECT_EQ(Statistics(), "0 of 1 of 5, s/k29");
}

TEST_F(IniLookupTest, AValueIsReturnedEvenIfEmpty) {
  ini_.Load(Write("[s]\nk=\n"));
  EXPECT_EQ(ini_.GetValueDef("s", "k", "d"), "");
  EXPECT_EQ(ini_.GetValueDef("s", "none", "d"), "d");
  EXPECT_EQ(ini_.GetValueDef("k", "s", "d"), "d");  // The section comes first.
  EXPECT_EQ(Statistics(), "0 of 2 of 3, k/s");
}

TEST_F(IniLookupTest, TracePrintsEveryValue) {
  ini_.Load(Write("[s]\nk=v w\ne=\n"));
  CapturedOutput silence;
  ini_.GetValueDef("s", "k", "d");
  EXPECT_EQ(silence.Take(), "");
  ini_.trace = true;
  CapturedOutput output;
  ini_.GetValueDef("s", "k", "d");
  ini_.GetValueDef("s", "none", "d");
  ini_.GetValueDef("s", "e", "d");
  ini_.GetRecord("k", "s");  // Prints no trace line.
  EXPECT_EQ(output.Take(),
            "[s] k ==> v w\n"
            "[s] none --> d\n"
            "[s] e ==> \n"
            "re-search: [s/k] after [s/e] discovered 1 from 2; "
            "total searches=5\n");
}

TEST_F(IniLookupTest, TraceFollowsTheReSearchLine) {
  LoadKeys(30);
  ini_.GetValueDef("s", "k20", "");
  ini_.trace = true;
  CapturedOutput output;
  ini_.GetValueDef("s", "k2", "");
  EXPECT_EQ(output.Take(),
            "re-search: [s/k2] after [s/k20] discovered 1 from 1; "
            "total searches=2\n"
            "[s] k2 ==> 2\n");
}

TEST_F(IniLookupTest, TracePrintsDefaultsBeforeLoading) {
  ini_.trace = true;
  CapturedOutput output;
  ini_.GetValueDef("s", "k", "d");
  EXPECT_EQ(output.Take(), "[s] k --> d\n");
  EXPECT_EQ(Statistics(), "0 of 0 of 0, ");
}

// As with printf. The value itself is returned whole.
TEST_F(IniLookupTest, AZeroByteEndsATextInAPrintedLine) {
  const std::string value("a\0b", 3);
  ini_.Load(Write("[s]\nk=" + value + "\nx=1\n"));
  ini_.trace = true;
  CapturedOutput output;
  EXPECT_EQ(ini_.GetValueDef("s", "k", ""), value);
  ini_.GetRecord("x", "s");
  ini_.GetRecord(std::string("k\0", 2), std::string("s\0t", 3));
  ini_.GetRecord("k", "s");
  EXPECT_EQ(output.Take(),
            "[s] k ==> a\n"
            "re-search: [s/k] after [s] discovered 1 from 2; "
            "total searches=4\n");
}

TEST_F(IniLookupTest, AZeroByteEndsANameInAPrintedLine) {
  const std::string section("s\0t", 3);
  const std::string key("k\0u", 3);
  ini_.Load(Write("[" + section + "]\n" + key + "=1\n"));
  CapturedOutput output;
  ini_.GetRecord(key, section);
  ini_.GetRecord("", section);
  ini_.GetRecord(key, section);
  ini_.GetRecord("", section);
  EXPECT_EQ(output.Take(),
            "re-search: [s/] after [s] discovered 1 from 1; "
            "total searches=2\n"
            "re-search: [s/] after [s] discovered 2 from 2; "
            "total searches=4\n");
  ini_.Load(Write("[]\n" + key + "=1\nx=2\n"));
  CapturedOutput other;
  ini_.GetRecord("x", "");
  ini_.GetRecord(key, "");
  EXPECT_EQ(other.Take(),
            "re-search: [/k] after [/x] discovered 1 from 1; "
            "total searches=2\n");
}

TEST_F(IniLookupTest, LoadingKeepsTrace) {
  ini_.trace = true;
  ini_.Load(Write(""));
  EXPECT_TRUE(ini_.trace);
}

// They must be read before lastLookup changes.
TEST_F(IniLookupTest, ArgumentsMayReferToTheObject) {
  ini_.Load(Write("[s]\nk=1\nx=2\n[s/k]\ns/k=3\n[t]\ns/k=4\n"));
  ini_.GetRecord("k", "s");
  ini_.trace = true;
  CapturedOutput output;
  // The key would be "t/s" if lastLookup changed before the trace.
  EXPECT_EQ(ini_.GetValueDef("t", ini_.lastLookup, "d"), "4");
  ini_.cursor = ini_.cursor + 1;
  ini_.GetRecord("k", "s");
  EXPECT_EQ(ini_.GetValueDef("", "none", ini_.lastLookup), "s/k");
  ini_.GetRecord("k", "s");
  EXPECT_EQ(ini_.GetValueDef(ini_.lastLookup, ini_.lastLookup, "d"), "3");
  EXPECT_EQ(output.Take(),
            "[t] s/k ==> 4\n"
            "[] none --> s/k\n"
            "[s/k] s/k ==> 3\n");
  EXPECT_EQ(ini_.lastLookup, "s/k/s/k");
  ini_.GetRecord(ini_.cursor->Key, ini_.cursor->Section);
  EXPECT_EQ(ini_.lastLookup, "s/k/s/k");
}

TEST_F(IniLookupTest, LookupsDoNotTouchTheFile) {
  const std::string text = " [s] \n ;k = v";
  ini_.Load(Write(text));
  std::filesystem::remove(Path());
  EXPECT_EQ(ini_.GetValueDef("s", "k", "d"), "v");
  EXPECT_FALSE(std::filesystem::exists(Path()));
}

}  // namespace
}  // namespace fairlead::internal::ini_lookup_test
