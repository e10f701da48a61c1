// Tests that a list with a gap is a list.

#include "fairlead/ini/gap_vector.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdio>
#include <random>
#include <vector>

#include "fairlead/testing/sanitizers.h"

namespace fairlead::internal::gap_vector_test {
namespace {

using List = GapVector<int>;

std::vector<int> ItemsOf(const List& list) {
  std::vector<int> items;
  for (std::size_t i = 0; i < list.size(); ++i) items.push_back(list[i]);
  return items;
}

List Of(const std::vector<int>& items) {
  List list;
  for (const int item : items) list.push_back(item);
  return list;
}

TEST(GapVectorTest, HasWhatWasAppended) {
  EXPECT_TRUE(List().empty());
  const List list = Of({1, 2, 3});
  EXPECT_FALSE(list.empty());
  EXPECT_EQ(ItemsOf(list), (std::vector<int>{1, 2, 3}));
  EXPECT_EQ(list.back(), 3);
}

TEST(GapVectorTest, ChangesWhereItIsAsked) {
  List list = Of({1, 2, 3});
  list.Insert(1, 9);
  EXPECT_EQ(ItemsOf(list), (std::vector<int>{1, 9, 2, 3}));
  list.Insert(4, 8);
  EXPECT_EQ(ItemsOf(list), (std::vector<int>{1, 9, 2, 3, 8}));
  EXPECT_EQ(list.back(), 8);
  list.Erase(0);
  EXPECT_EQ(ItemsOf(list), (std::vector<int>{9, 2, 3, 8}));
  list[3] = 7;
  list.Truncate(4);
  EXPECT_EQ(ItemsOf(list), (std::vector<int>{9, 2, 3, 7}));
  list.Truncate(2);
  EXPECT_EQ(ItemsOf(list), (std::vector<int>{9, 2}));
  list.Truncate(0);
  EXPECT_TRUE(list.empty());
  list.Insert(0, 5);
  EXPECT_EQ(ItemsOf(list), (std::vector<int>{5}));
}

TEST(GapVectorTest, IsAsAVector) {
  constexpr unsigned kSeed = 31'007;
  std::printf("seed %u\n", kSeed);
  std::mt19937 engine(kSeed);
  for (int round = Rounds(200); round > 0; --round) {
    std::vector<int> model(engine() % 40);
    for (int& item : model) item = static_cast<int>(engine());
    List list = Of(model);
    for (int i = 0; i < 100; ++i) {
      const std::size_t place = engine() % (model.size() + 1);
      const auto at = model.begin() + static_cast<std::ptrdiff_t>(place);
      if (engine() % 50 == 0) {
        list.Truncate(place);
        model.resize(place);
      } else if (engine() % 3 == 0 && place < model.size()) {
        list.Erase(place);
        model.erase(at);
      } else {
        list.Insert(place, i);
        model.insert(at, i);
      }
      ASSERT_EQ(ItemsOf(list), model);
    }
    EXPECT_EQ(ItemsOf(List(list)), model);
  }
}

}  // namespace
}  // namespace fairlead::internal::gap_vector_test
