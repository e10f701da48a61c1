// Tests random edits, after every step, against a second implementation, and
// random lookups against a linear scan.

#include "fairlead/ini/ini_edit_model.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "fairlead/ini/ini_file.h"
#include "fairlead/ini/ini_testing.h"
#include "fairlead/testing/memory_file.h"
#include "fairlead/testing/sanitizers.h"

namespace fairlead::internal::ini_edit_model_test {
namespace {

constexpr int kSteps = Rounds(100'000);

class RandomSource {
 public:
  explicit RandomSource(unsigned seed) : engine_(seed) {}

  // Returns a number below the limit.
  std::size_t Number(std::size_t limit) {
    return std::uniform_int_distribution<std::size_t>(0, limit - 1)(engine_);
  }

  bool OneOf(std::size_t count) { return Number(count) == 0; }

  template <typename Values>
  const auto& Pick(const Values& values) {
    return values[Number(std::size(values))];
  }

 private:
  std::mt19937 engine_;
};

const std::vector<std::string> kSections = {"", "s", "t", " s", "s]x"};
const std::vector<std::string> kKeys = {"",  "k", "j",  " k ", "\tj",
                                        " ", "i", "#k", "a b", "[s]"};
const std::vector<std::string> kRest = {
    "", "v", " w ", ";", "#", "#c", "#c\n", ";c\n#d", "\n", "x=y", "u\nk=2"};
const std::vector<std::string> kRareRest = {"u\njunk", "u\n[s]", "u\n[open",
                                            "#x=[",    "u\n=w",  "u\n;[t]"};
const std::vector<std::string> kTextLines = {
    "[s]",  "[t]",   ";[s]", " [s] x", "k=1", "j = 2 ", "#k=3", ";i=4",
    "junk", "",      "=v",   "#c",     ";c",  "\tk=5",  "[]",   "[ s]",
    "i=6",  "a b=7", "k=",   "# i=",   "[t]", "#[t]"};

EditStep RandomStep(RandomSource& random) {
  EditStep step{random.Pick(kEditOperations).operation, {}};
  step.arguments[0] = random.Pick(kSections);
  step.arguments[1] = random.Pick(kKeys);
  step.arguments[2] = random.Pick(random.OneOf(20) ? kRareRest : kRest);
  if (step.operation == EditOperation::kRenameSection)
    step.arguments[1] = random.Pick(kSections);
  if (step.operation == EditOperation::kCommentSection)
    step.arguments[1] = random.OneOf(20) ? "!" : random.OneOf(2) ? "#" : ";";
  return step;
}

std::string RandomText(RandomSource& random) {
  std::string text;
  for (std::size_t lines = random.Number(12); lines > 0; --lines)
    text += random.Pick(kTextLines) + (random.OneOf(9) ? "\r\n" : "\n");
  return text;
}

// Returns whether the text should be replaced: every edit of one that throws
// fails, and a long one takes too much time.
bool IsSpent(const std::string& text) {
  return text.size() > 300 || text.find("[open") != std::string::npos;
}

TEST(IniEditModelTest, AgreesAfterEveryStep) {
  constexpr unsigned kSeed = 73'009;
  std::printf("seed %u\n", kSeed);
  RandomSource random(kSeed);
  const MemoryFile file;
  FileStore store{file.Path()};
  FileModel model;
  CapturedOutput output;
  int renewed = 0;
  std::ostringstream difference;
  for (int i = 0; i < kSteps && difference.str().empty(); ++i) {
    if (IsSpent(model.text) || random.OneOf(40)) {
      model.text = RandomText(random);
      file.Write(model.text);
      ++renewed;
    }
    const std::string before = model.text;
    const EditStep step = RandomStep(random);
    const std::string expected = Outcome(step, model);
    const std::string outcome = Outcome(step, store);
    const std::string after = file.Read();
    if (outcome == expected && after == model.text) continue;
    difference << "step " << i << " of seed " << kSeed << ": "
               << NameOf(step.operation) << ' '
               << testing::PrintToString(step.arguments) << " on "
               << testing::PrintToString(before) << "\nreturned " << outcome
               << ", not " << expected << "\nleft "
               << testing::PrintToString(after) << ", not "
               << testing::PrintToString(model.text);
  }
  const std::string printed = output.Take();
  ASSERT_EQ(difference.str(), "");
  EXPECT_TRUE(printed == model.printed);
  EXPECT_LT(renewed, kSteps / 4);  // Most texts last for several steps.
}

// The lookups of an object as linear scans.
struct PlainLookups {
  Records records;
  bool loaded = true;
  std::size_t cursor = 0;
  std::int32_t rediscovered = 0;
  std::int32_t researches = 0;
  std::int32_t searches = 0;
  std::string last;
  std::string printed;

  std::size_t Scan(std::size_t from, const std::string& section,
                   const std::string& key) const {
    while (from < records.size() &&
           (records[from].Section != section || records[from].Key != key))
      ++from;
    return from;
  }

  // Returns the place of the record, or the size of the list if there is none.
  std::size_t Find(const std::string& section, const std::string& key) {
    const std::size_t end = records.size();
    if (!loaded) return end;
    std::size_t from = cursor > 5 ? cursor - 5 : cursor;
    if (cursor == end) from = 0;
    std::size_t found = Scan(from, section, key);
    ++searches;
    if (found == end && from != 0) {
      found = Scan(0, section, key);
      ++researches;
      if (found != end) {
        ++rediscovered;
        if (searches != 1) PrintReSearch(section, key);
      }
    }
    last = section + "/" + key;
    if (found != end) cursor = found;
    return found;
  }

  void PrintReSearch(const std::string& section, const std::string& key) {
    printed += "re-search: [" + section + "/" + key + "] after [" + last +
               "] discovered " + std::to_string(rediscovered) + " from " +
               std::to_string(researches) +
               "; total searches=" + std::to_string(searches) + "\n";
  }
};

class IniLookupModelTest : public testing::Test {
 protected:
  // Loads a random list of fewer than `max_records` records into both.
  void LoadBoth(std::size_t max_records, std::size_t names,
                RandomSource& random) {
    std::string text;
    for (std::size_t lines = random.Number(max_records); lines > 0; --lines) {
      const std::string name = std::to_string(random.Number(names));
      text += random.OneOf(6) ? "[s" + name + "]\n"
                              : "k" + name + "=" + std::to_string(lines) + "\n";
    }
    file_.Write(text);
    plain_ = {};
    CIniFile::Load(file_.Path(), plain_.records);
    plain_.cursor = plain_.records.size();
    ini_.Load(file_.Path());
    first_ = ini_.cursor - static_cast<std::ptrdiff_t>(plain_.records.size());
  }

  // Changes a field in both, as a program may between two lookups.
  void ChangeField(RandomSource& random) {
    switch (random.Number(6)) {
      case 0:
        plain_.loaded = ini_.loaded = !ini_.loaded;
        break;
      case 1:
        plain_.searches = ini_.searches = 0;
        break;
      case 2:
        plain_.last = ini_.lastLookup = "moved";
        break;
      case 3:
        if (plain_.cursor == plain_.records.size()) break;
        plain_.records[plain_.cursor].Value += "+";
        ini_.cursor->Value += "+";
        break;
      default:
        plain_.cursor = random.Number(plain_.records.size() + 1);
        ini_.cursor = first_ + static_cast<std::ptrdiff_t>(plain_.cursor);
    }
  }

  // Looks a record up in both; returns whether they agree.
  bool Agree(const std::string& section, const std::string& key, bool trace) {
    ini_.trace = trace;
    const std::size_t place = plain_.Find(section, key);
    const bool found = place < plain_.records.size();
    const std::string value = found ? plain_.records[place].Value : "none";
    if (trace) {
      plain_.printed += "[" + section + "] " + key + (found ? " ==" : " --") +
                        "> " + value + "\n";
      if (ini_.GetValueDef(section, key, "none") != value) return false;
    } else {
      const Records copies = ini_.GetRecord(key, section);
      if (copies.size() != (found ? 1U : 0U)) return false;
      if (found && !(copies[0] == plain_.records[place])) return false;
    }
    return ini_.cursor - first_ == static_cast<std::ptrdiff_t>(plain_.cursor) &&
           ini_.searches == plain_.searches &&
           ini_.researches == plain_.researches &&
           ini_.rediscovered == plain_.rediscovered &&
           ini_.lastLookup == plain_.last;
  }

  // Compares a series of lookups after one load, and what they print.
  void Check(std::size_t names, int lookups, RandomSource& random) {
    CapturedOutput output;
    bool agree = true;
    int done = 0;
    for (; agree && done < lookups; ++done) {
      if (random.OneOf(8)) ChangeField(random);
      const std::string name = std::to_string(random.Number(names + 1));
      const std::string section = "s" + std::to_string(random.Number(names));
      agree = Agree(random.OneOf(9) ? "" : section,
                    random.OneOf(9) ? "" : "k" + name, random.OneOf(4));
    }
    const std::string printed = output.Take();
    EXPECT_TRUE(agree) << "lookup " << done << " in "
                       << testing::PrintToString(file_.Read());
    EXPECT_EQ(printed, plain_.printed);
  }

  MemoryFile file_;
  PlainLookups plain_;
  CIniFile ini_;
  Records::iterator first_;
};

TEST_F(IniLookupModelTest, AgreesOnShortListsOfManyDuplicates) {
  constexpr unsigned kSeed = 40'127;
  std::printf("seed %u\n", kSeed);
  RandomSource random(kSeed);
  for (int round = 0; round < kSteps / 100 && !HasFailure(); ++round) {
    SCOPED_TRACE(testing::Message() << "seed " << kSeed << ", round " << round);
    const std::size_t names = 1 + random.Number(4);
    LoadBoth(40, names, random);
    Check(names, 100, random);
  }
}

TEST_F(IniLookupModelTest, AgreesOnLongLists) {
  constexpr unsigned kSeed = 40'128;
  std::printf("seed %u\n", kSeed);
  RandomSource random(kSeed);
  for (int round = 0; round < 5 && !HasFailure(); ++round) {
    SCOPED_TRACE(testing::Message() << "seed " << kSeed << ", round " << round);
    LoadBoth(3'000, 40, random);
    Check(40, kSteps / 100, random);
  }
}

}  // namespace
}  // namespace fairlead::internal::ini_edit_model_test
