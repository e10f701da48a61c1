// How often the parser allocates. A program of its own, which counts every
// allocation.

#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <vector>

#include "fairlead/cmdline/simple_cmd_line.h"
#include "fairlead/testing/allocation_count.h"

namespace fairlead::internal {
namespace {

// Returns how many allocations parsing and three lookups make.
std::size_t Allocations(const std::vector<std::string>& texts) {
  std::vector<const char*> argv = {"p"};
  for (const std::string& text : texts) argv.push_back(text.c_str());
  const std::size_t before = allocations;
  const CSimpleCmdLine args(static_cast<int>(argv.size()), argv.data());
  const bool present = args.PresentParam("A-Name-Of-No-More-Than-32-Bytes!");
  const int number = args.GetIntParam("NUMBER", 7);
  const std::string value = args.GetStrParam("name", "short");
  const std::size_t made = allocations - before;
  EXPECT_FALSE(present);
  EXPECT_EQ(number, 7);
  EXPECT_EQ(value, "short");
  return made;
}

TEST(CmdLineAllocationTest, ThirtyTwoArgumentsOf600BytesTakeNone) {
  std::vector<std::string> texts(32, "-eighteen-bytes-ab");
  texts.back() += std::string(600 - 32 * 18, 'c');
  EXPECT_EQ(Allocations({}), 0U);
  EXPECT_EQ(Allocations({"-a", "1"}), 0U);
  EXPECT_EQ(Allocations(texts), 0U);
}

TEST(CmdLineAllocationTest, MoreTakeAFew) {
  EXPECT_GT(Allocations(std::vector<std::string>(100, "-a")), 0U);
  EXPECT_LT(Allocations(std::vector<std::string>(10'000, "-a")), 20U);
}

}  // namespace
}  // namespace fairlead::internal
