// Tests of the index of a document's keys, also against the document.

#include "fairlead/ini/ini_keys.h"

#include <gtest/gtest.h>

#include <random>
#include <set>
#include <string>
#include <utility>

namespace fairlead::ini_keys_test {
namespace {

using Which = IniKeys::Which;

TEST(IniKeysTest, FollowsItsExample) {
  const IniDocument document("[net]\nport=80\nport=7000\n");
  const IniKeys keys(document);
  EXPECT_EQ(keys.Find("net", "port")->value, "7000");
}

struct KeyCase {
  const char* what;
  const char* text;
  std::size_t live;           // The line of key k in section s; 0 for none.
  std::size_t with_disabled;  // The same with kDisabledToo.
  std::size_t records;
};

constexpr KeyCase kKeyCases[] = {
    {"one", "[s]\nk=1\n", 2, 2, 2},
    {"the last one counts, or the first", "[s]\nk=1\nk=2\n", 3, 3, 2},
    {"in another part of the section", "[s]\nk=1\n[t]\nk=2\n[s]\nk=3\n", 6, 6,
     2},
    {"a disabled one", "[s]\n#k=1\n#k=2\n", 0, 3, 2},
    {"a disabled one above", "[s]\n#k=1\nk=2\n", 3, 3, 2},
    {"a disabled one below", "[s]\nk=1\n#k=2\n", 2, 2, 2},
    {"in a disabled section", "#[s]\n#k=1\n", 0, 2, 2},
    {"in the section of the name only", "k=1\n[t]\nk=2\n", 0, 0, 0},
    {"only a key", "[s]\n[k]\nk\n=k\n", 0, 0, 0},
    {"not below an unclosed header", "[s]\n[open\nk=1\n", 0, 0, 0},
    {"above one", "[s]\nk=1\n[s\nk=2\n", 2, 2, 2},
    {"nothing", "", 0, 0, 0},
};

std::size_t LineOf(const std::string& text, IniReading reading, Which which) {
  const IniDocument document(text, reading);
  const auto found = IniKeys(document, which).Find("s", " k ");
  return found ? found->line : 0;
}

TEST(IniKeysTest, FindsTheKeyThatCounts) {
  for (const KeyCase& c : kKeyCases) {
    SCOPED_TRACE(c.what);
    EXPECT_EQ(LineOf(c.text, IniReading::kLive, Which::kCounting), c.live);
    EXPECT_EQ(LineOf(c.text, IniReading::kLive, Which::kDisabledToo),
              c.with_disabled);
    for (const Which which : {Which::kCounting, Which::kDisabledToo})
      EXPECT_EQ(LineOf(c.text, IniReading::kRecords, which), c.records);
  }
}

TEST(IniKeysTest, AnEntryIsComplete) {
  const IniDocument document("[s]\n ;k = v \n");
  const auto found = IniKeys(document, Which::kDisabledToo).Find("s", "k");
  ASSERT_TRUE(found);
  EXPECT_EQ(found->section, "s");
  EXPECT_EQ(found->key, "k");
  EXPECT_EQ(found->value, "v");
  EXPECT_EQ(found->mark, ';');
}

// The lines of few sections and keys, so that many are equal.
std::string RandomText(std::mt19937& random) {
  std::string text;
  for (auto lines = random() % 40; lines > 0; --lines) {
    const char* const marks[] = {"", "", "", "#"};
    const char* const kinds[] = {"[s]", "[t]", "[open", "junk"};
    text += marks[random() % 4];
    if (random() % 4 == 0)
      text += kinds[random() % 4];
    else
      text += static_cast<char>('a' + random() % 3) + std::string("=v");
    text += '\n';
  }
  return text;
}

TEST(IniKeysTest, AgreesWithTheDocument) {
  constexpr unsigned kSeed = 20261122;
  SCOPED_TRACE(testing::Message() << "seed " << kSeed);
  std::mt19937 random(kSeed);
  for (int i = 0; i < 3000; ++i) {
    const std::string text = RandomText(random);
    SCOPED_TRACE(text);
    for (const IniReading reading : {IniReading::kLive, IniReading::kRecords}) {
      const IniDocument document(text, reading);
      const IniKeys keys(document);
      std::set<std::pair<std::string, std::string>> seen;
      for (const IniEntry& entry : document) {
        const bool counts =
            !entry.IsHeader() &&
            (reading == IniReading::kRecords || !entry.IsDisabled());
        ASSERT_EQ(keys.IsFirst(entry),
                  counts && seen.emplace(entry.section, entry.key).second);
      }
      EXPECT_EQ(keys.size(), seen.size());
      for (const char* const section : {"", "s", "t", "open"})
        for (const char* const key : {"a", "b", "c", "d"}) {
          const auto found = keys.Find(section, key);
          const IniFound expected =
              document.Find({.section = section, .key = key});
          ASSERT_EQ(found.has_value(), bool(expected)) << section << key;
          if (found) {
            ASSERT_EQ(found->line, expected.entry.line);
          }
        }
    }
  }
}

}  // namespace
}  // namespace fairlead::ini_keys_test
