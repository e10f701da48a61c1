// Answers that are shown only when they change: -changes.

#ifndef FAIRLEAD_TOOL_TRAFFIC_ANSWER_CHANGES_H_
#define FAIRLEAD_TOOL_TRAFFIC_ANSWER_CHANGES_H_

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "fairlead/time/the_time.h"

namespace fairlead::tool {

/// Keeps an answer until it is whole, and the last one that was shown. An
/// answer that is too long to keep is not compared: it is shown, and so is the
/// next.
///
/// @par Cost
/// At most two answers of kMaxBytes, and the times of kMaxPieces.
class AnswerChanges {
 public:
  static constexpr std::size_t kMaxBytes = 1U << 20U;
  static constexpr std::size_t kMaxPieces = 1U << 16U;

  /// A message, or a piece of one.
  struct Piece {
    std::string_view bytes;
    TheTime time;  ///< Of its receipt.
    bool ends_message = true;
  };
  using Show = std::function<void(const Piece& piece)>;

  /// Begins an answer; what is kept of one that has not ended is dropped.
  void Begin();

  /// Adds to the answer, and shows what there is of it if that is too long to
  /// keep.
  void Add(const Piece& piece, const Show& show);

  /// Ends the answer, and shows its pieces if its bytes differ from those
  /// shown last. One without bytes is no answer.
  ///
  /// @return whether it was shown, now or before
  bool End(const Show& show);

  /// Ends an answer that a failure has cut, and shows its pieces. It is
  /// compared with no other, so the next answer is shown, too.
  ///
  /// @return whether it was shown, now or before
  bool Cut(const Show& show);

 private:
  struct Kept {
    std::size_t size;
    TheTime time;
    bool ends_message;
  };

  void ShowKept(const Show& show) const;

  std::string answer_;
  std::vector<Kept> pieces_;  // Of the answer.
  bool is_too_long_ = false;  // It is shown as it comes.
  std::optional<std::string> shown_;
};

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_TRAFFIC_ANSWER_CHANGES_H_
