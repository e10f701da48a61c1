// Tests loading and saving on random files against a simple second
// implementation of both.

#include <gtest/gtest.h>

#include <cstddef>
#include <istream>
#include <random>
#include <sstream>
#include <stdexcept>
#include <string>

#include "fairlead/ini/ini_file.h"
#include "fairlead/ini/ini_testing.h"
#include "fairlead/testing/memory_file.h"

namespace fairlead::internal::ini_file_model_test {
namespace {

using namespace std::string_literals;

void ModelTrim(std::string& text) {
  text.erase(0, text.find_first_not_of(" \t\n\r"));
  text.erase(text.find_last_not_of(" \t\n\r") + 1);
}

// Loads with a stream and strings that are trimmed in place.
void ModelLoad(std::istream& in, Records& content) {
  content.clear();
  std::string pending;
  std::string current;
  for (std::string line; std::getline(in, line);) {
    ModelTrim(line);
    if (line.empty()) continue;
    Record record;
    const bool hash = line[0] == '#' || line[0] == ';';
    const bool pure = hash && line.find('[') == std::string::npos &&
                      line.find('=') == std::string::npos;
    if (pure) pending += line + "\n";
    if (hash && !pure) {
      record.Commented = line[0];
      line.erase(0, 1);
      ModelTrim(line);
    }
    if (line[0] == '[') {
      line.erase(0, 1);
      line.erase(line.find(']'));
      record.Comments.swap(pending);
      record.Section = current = line;
    } else if (const std::size_t at = line.find('='); at < line.size()) {
      record.Comments.swap(pending);
      record.Section = current;
      record.Key = line.substr(0, at);
      record.Value = line.substr(at + 1);
      ModelTrim(record.Key);
      ModelTrim(record.Value);
    }
    if (pending.empty()) content.push_back(record);
  }
}

std::string ModelSave(const Records& content) {
  std::ostringstream out;
  for (const Record& record : content) {
    out << record.Comments;
    if (record.Commented != ' ') out << record.Commented;
    if (!record.Key.empty())
      out << record.Key << '=' << record.Value << '\n';
    else
      out << '[' << record.Section << "]\n";
  }
  return out.str();
}

// Returns what saving prints.
std::string ModelTrace(const Records& content) {
  std::string trace;
  for (const Record& record : content)
    if (record.Commented != ' ') trace += "<"s + record.Commented + "> ";
  return trace;
}

// Returns what a loaded list becomes when saved and loaded again: a value
// without a key is lost, and a key is in the section of the last line that was
// written as a header.
Records AfterARoundTrip(Records records) {
  std::string current;
  for (Record& record : records) {
    if (record.Key.empty()) {
      record.Value.clear();
      current = record.Section;
    }
    record.Section = current;
  }
  return records;
}

std::string RandomText(std::mt19937& random) {
  static const std::string kLetters = "[[]]]==##;;aab  \t\n\n\n\n\r\0"s;
  std::uniform_int_distribution<std::size_t> letter(0, kLetters.size() - 1);
  std::uniform_int_distribution<std::size_t> length(0, 60);
  std::string text(length(random), ' ');
  for (char& c : text) c = kLetters[letter(random)];
  return text;
}

// Loads with both and compares lists and errors; returns whether none threw.
bool LoadBoth(const std::string& path, const std::string& text,
              Records& records) {
  Records expected;
  bool expected_throw = false;
  try {
    std::istringstream in(text);
    ModelLoad(in, expected);
  } catch (const std::out_of_range&) {
    expected_throw = true;
  }
  bool threw = false;
  try {
    EXPECT_TRUE(CIniFile::Load(path, records));
  } catch (const std::out_of_range&) {
    threw = true;
  }
  EXPECT_EQ(threw, expected_throw);
  EXPECT_EQ(records, expected);
  return !threw;
}

class IniFileModelTest : public testing::Test {
 protected:
  // Checks loading and saving of one text; returns whether it loads.
  bool Check(const std::string& text) {
    Records records(1);
    file_.Write(text);
    const bool whole = LoadBoth(file_.Path(), text, records);
    const std::string saved = ModelSave(records);
    if (whole) {
      EXPECT_EQ(CIniFile::Content(file_.Path()), saved);
    }
    // The records before a malformed header round-trip as well.
    CheckRoundTrip(records, saved);
    return whole;
  }

  void CheckRoundTrip(const Records& records, const std::string& saved) {
    EXPECT_TRUE(CIniFile::Save(file_.Path(), records));
    trace_ += ModelTrace(records);
    EXPECT_EQ(file_.Read(), saved);
    Records again;
    EXPECT_TRUE(CIniFile::Load(file_.Path(), again));
    EXPECT_EQ(again, AfterARoundTrip(records));
    EXPECT_EQ(CIniFile::Content(file_.Path()), saved);
  }

  MemoryFile file_;
  std::string trace_;  // What should have been printed.
};

TEST_F(IniFileModelTest, AgreesOnRandomFiles) {
  constexpr unsigned kSeed = 20'240'317;
  constexpr int kRounds = 10'000;
  std::mt19937 random(kSeed);
  int whole = 0;
  CapturedOutput output;
  for (int round = 0; round < kRounds && !HasFailure(); ++round) {
    const std::string text = RandomText(random);
    SCOPED_TRACE(testing::Message() << "seed " << kSeed << ", round " << round
                                    << ": " << testing::PrintToString(text));
    if (Check(text)) ++whole;
  }
  const std::string printed = output.Take();
  ASSERT_FALSE(HasFailure()) << printed;  // Has the failures.
  EXPECT_EQ(printed, trace_);

  // Many texts load, and many do not.
  EXPECT_GT(whole, kRounds / 4);
  EXPECT_LT(whole, kRounds * 3 / 4);
}

}  // namespace
}  // namespace fairlead::internal::ini_file_model_test
