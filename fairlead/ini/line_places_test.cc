// Tests where the lines of an edited text begin, beside a plain list of them.

#include "fairlead/ini/line_places.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "fairlead/testing/sanitizers.h"

namespace fairlead::internal::line_places_test {
namespace {

// The lines of a text, of which each knows where it begins, and the same
// places.
struct Pair {
  // A line, and what LinePlaces counts.
  struct Line {
    std::size_t begin;
    std::size_t number;
  };

  Pair(std::size_t lines, std::size_t length)
      : places(lines, lines * length), originals(lines) {
    for (std::size_t i = 0; i < lines; ++i) Make(length);
    list = made;
    for (const Line& line : list) places.Append(line.begin);
  }

  const Line& Make(std::size_t length) {
    made.push_back({size, made.size()});
    size += length;
    return made.back();
  }

  std::size_t There(std::size_t line) const {
    return line < list.size() ? list[line].begin : 0;
  }
  auto At(std::size_t line) {
    return list.begin() + static_cast<std::ptrdiff_t>(line);
  }

  void Insert(std::size_t line) {
    const std::size_t there = There(line);
    const Line added = Make(7);
    places.Insert(line, there, added.begin);
    list.insert(At(line), added);
  }
  void Replace(std::size_t line) {
    const std::size_t there = There(line);
    const Line added = Make(5);
    places.Replace(line, there, added.begin);
    list[line] = added;
  }
  void Erase(const LineSet& gone) {
    places.Erase(gone);
    std::vector<Line> kept;
    for (std::size_t i = 0; i < list.size(); ++i)
      if (!gone.Contains(i)) kept.push_back(list[i]);
    list = kept;
  }

  // Returns how many lines follow each other, of the text or of new ones.
  std::size_t Run(std::size_t line, std::size_t most) const {
    std::size_t run = 1;
    while (run < most && line + run < list.size() &&
           list[line + run].number == list[line].number + run &&
           list[line + run].number != originals)
      ++run;
    return run;
  }

  void Check() const {
    ASSERT_EQ(places.numbers(), made.size());
    for (std::size_t i = 0; i < list.size(); ++i) {
      const LinePlaces::Place place = places.At(i);
      ASSERT_EQ(place.number, list[i].number) << i;
      const Line& first = made[place.number - place.skip];
      ASSERT_EQ(place.begin, first.begin) << i;
      ASSERT_EQ(places.RunAt(i, 40), Run(i, 40)) << i;
    }
  }

  LinePlaces places;
  std::size_t originals;
  std::size_t size = 0;
  std::vector<Line> made;
  std::vector<Line> list;
};

class Random {
 public:
  std::size_t Number(std::size_t limit) { return engine_() % limit; }

 private:
  std::mt19937 engine_{8'117};
};

LineSet SomeOf(std::size_t lines, Random& random) {
  LineSet gone;
  const std::size_t share = 1 + random.Number(9);
  for (std::size_t i = 0; i < lines; ++i)
    if (random.Number(share + 1) == 0) gone.Add(i);
  return gone;
}

void Step(Pair& pair, Random& random) {
  const std::size_t lines = pair.list.size();
  const std::size_t line = random.Number(lines + 1);
  const std::size_t kind = random.Number(12);
  if (line == lines || kind < 5) {
    for (std::size_t i = random.Number(4); i < 4; ++i) pair.Insert(line);
  } else if (kind < 10) {
    for (std::size_t i = line; i < lines && i < line + kind; ++i)
      pair.Replace(i);
  } else if (kind == 10) {
    LineSet gone;
    for (std::size_t i = random.Number(lines - line) + 1; i > 0; --i)
      gone.Add(line + i - 1);
    pair.Erase(gone);
  } else if (const LineSet gone = SomeOf(lines, random); !gone.empty()) {
    pair.Erase(gone);
  }
}

TEST(LinePlacesTest, AgreeWithAListAfterEveryStep) {
  Random random;
  for (int round = Rounds(60); round > 0; --round) {
    const std::size_t length = 1 + random.Number(40);
    Pair pair(random.Number(3'000), length);
    for (int step = 0; step < 12; ++step) {
      Step(pair, random);
      ASSERT_NO_FATAL_FAILURE(pair.Check());
    }
  }
}

TEST(LinePlacesTest, BlocksOfLongLinesAmongShortOnesAreShort) {
  constexpr std::size_t kLines = 10'000;
  LinePlaces places(2 * kLines, kLines * 1'002);
  for (std::size_t i = 0; i < kLines; ++i) places.Append(i * 2);
  for (std::size_t i = 0; i < kLines; ++i)
    places.Append(kLines * 2 + i * 1'000);
  for (std::size_t i = kLines; i < 2 * kLines; ++i)
    EXPECT_LE(places.At(i).skip, 9U);
}

TEST(LineSetTest, HasItsLines) {
  LineSet set;
  EXPECT_TRUE(set.empty());
  EXPECT_EQ(set.begin(), set.end());
  for (const std::size_t line : {130U, 3U, 63U, 64U, 3U, 1'000U}) set.Add(line);
  EXPECT_EQ(std::vector<std::size_t>(set.begin(), set.end()),
            (std::vector<std::size_t>{3, 63, 64, 130, 1'000}));
  EXPECT_EQ(set.size(), 5U);
  auto at = set.begin();
  EXPECT_EQ(*at++, 3U);
  EXPECT_EQ(*at, 63U);
  EXPECT_EQ(set.front(), 3U);
  EXPECT_EQ(set.back(), 1'000U);
  EXPECT_EQ(set.At(0), 3U);
  EXPECT_EQ(set.At(3), 130U);
  EXPECT_TRUE(set.Contains(64));
  EXPECT_FALSE(set.Contains(65));
  EXPECT_FALSE(set.Contains(100'000));
  EXPECT_EQ(set.Pop(), 1'000U);
  EXPECT_EQ(set.back(), 130U);
  for (const std::size_t line : {130U, 64U, 63U, 3U})
    EXPECT_EQ(set.Pop(), line);
  EXPECT_TRUE(set.empty());
}

}  // namespace
}  // namespace fairlead::internal::line_places_test
