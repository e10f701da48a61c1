// Streamed bodies: cut anywhere, they are what the whole would be, and what
// needs no change is not copied.

#include "tool/exchange/body_stream.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "fairlead/testing/memory_file.h"
#include "tool/exchange/body.h"
#include "tool/exchange/frames.h"
#include "tool/io/read_file.h"

namespace fairlead::tool::body_stream_test {
namespace {

constexpr std::string_view kText = "one\ntwo, and no newline at the end";

const FramePrefix kPrefixOf4 = {.form = PrefixForm::kU32Be};

// Every plan for the whole of a text.
std::vector<BodyPlan> WholePlans() {
  std::vector<BodyPlan> plans;
  for (const std::optional<int> rotation : {std::optional<int>(), {5}})
    for (const std::string_view line_end : {"", "\r\n"})
      for (const auto& prefix :
           {std::optional<FramePrefix>(), std::optional(kPrefixOf4)}) {
        BodyPlan plan;
        plan.rotation = rotation;
        plan.line_end = line_end;
        plan.prefix = prefix;
        plans.push_back(plan);
      }
  return plans;
}

// What a stream gave for a text that comes in pieces of `size` bytes.
struct Streamed {
  Streamed(const BodyPlan& plan, std::string_view text, std::size_t size) {
    const internal::MemoryFile file;
    file.Write(text);
    const Input input(file.Path());
    BodyStream stream(plan, input, std::nullopt,
                      [this](std::string_view piece, bool /*ends_message*/) {
                        message += piece;
                      });
    announced = stream.sent_size();
    for (; !text.empty(); text.remove_prefix(std::min(size, text.size())))
      Take(stream, text.substr(0, size), false);
    Take(stream, {}, true);
  }

  void Take(BodyStream& stream, std::string_view piece, bool at_end) {
    const auto bytes = stream.Take(piece, at_end);
    ASSERT_TRUE(bytes);
    sent += *bytes;
    if (!piece.empty() && bytes->data() == piece.data()) ++uncopied;
  }

  std::string sent;
  std::string message;
  std::uint64_t announced = 0;
  int uncopied = 0;  // Pieces.
};

TEST(BodyStreamTest, SendsInPiecesWhatTheWholeWouldBe) {
  for (const BodyPlan& plan : WholePlans()) {
    const std::string message =
        Completed(plan, std::string(kText), NewSum(plan));
    const std::string whole = Prefixed(plan, message);
    for (std::size_t size = 1; size <= kText.size() + 1; ++size) {
      const Streamed streamed(plan, kText, size);
      EXPECT_EQ(streamed.sent, whole);
      EXPECT_EQ(streamed.message, message);
      EXPECT_EQ(streamed.announced, whole.size());
    }
  }
}

TEST(BodyStreamTest, CopiesNothingThatIsSentAsItIsRead) {
  for (const BodyPlan& plan : WholePlans())
    EXPECT_EQ(Streamed(plan, kText, 10).uncopied, plan.prefix ? 0 : 4);
}

}  // namespace
}  // namespace fairlead::tool::body_stream_test
