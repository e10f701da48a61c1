// Messages with their length before them.

#ifndef FAIRLEAD_TOOL_EXCHANGE_FRAMES_H_
#define FAIRLEAD_TOOL_EXCHANGE_FRAMES_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "tool/command/arguments.h"
#include "tool/command/parameters.h"

namespace fairlead::tool {

enum class PrefixForm { kU8, kU16Be, kU16Le, kU32Be, kU32Le };

inline constexpr auto kPrefixForms = std::to_array<Choice>({
    {PrefixForm::kU8, "u8", "one byte"},
    {PrefixForm::kU16Be, "u16be", "two bytes, the highest first"},
    {PrefixForm::kU16Le, "u16le", "two bytes, the lowest first"},
    {PrefixForm::kU32Be, "u32be", "four bytes, the highest first"},
    {PrefixForm::kU32Le, "u32le", "four bytes, the lowest first"},
});

inline constexpr Parameter kPrefix = {
    .name = "prefix",
    .kind = Kind::kChoice,
    .group = Group::kHow,
    .help =
        "frame every message, both ways, with a length prefix (not shown) of "
        "this format",
    .choices = kPrefixForms};
inline constexpr Parameter kPrefixadd = {
    .name = "prefixadd",
    .placeholder = "N",
    .kind = Kind::kInteger,
    .group = Group::kHow,
    .help =
        "the number in the prefix is the length plus N: 4 if a prefix of four "
        "bytes counts itself, too; ' -4', with a space, for a negative one",
    .range = {.least = 0, .most = 65535},
    .remedy = kLeadWithSpace};

/// What PrefixOf() reads.
inline constexpr auto kPrefixUses =
    Uses(Optional(kPrefix, Optional(kPrefixadd)));

/// How the length of a message is written before it.
struct FramePrefix {
  PrefixForm form = PrefixForm::kU8;
  std::int64_t add = 0;  ///< To the length.

  /// Returns how many bytes it has.
  std::size_t size() const;
};

/// Returns the prefix that the arguments describe, or nothing.
std::optional<FramePrefix> PrefixOf(const Arguments<kPrefixUses>& arguments);

/// Returns the prefix of a message of that many bytes.
///
/// @throws Failure with kWrongUsage if it cannot hold the number
std::string PrefixBefore(std::uint64_t size, const FramePrefix& prefix);

/// Returns the frame of the message.
///
/// @throws Failure with kWrongUsage if the prefix cannot hold its length
std::string Framed(const FramePrefix& prefix, std::string_view message);

/// Finds the messages in a stream of frames that is cut anywhere.
///
/// @par Cost
/// Keeps no more than a prefix, however long a frame is.
class FrameReader {
 public:
  /// The next bytes of a message, all or some.
  struct Piece {
    std::string_view bytes;
    bool ends_message = false;
  };

  /// @param block frames begin at multiples of it; what is between them is
  ///     skipped, as the padding of a cipher
  explicit FrameReader(FramePrefix prefix, std::size_t block = 1)
      : prefix_(prefix), block_(block) {}

  /// Returns the next piece, and removes it from `bytes` with what is before
  /// it. Call it until it returns nothing: then all bytes are taken, unless
  /// IsMalformed(). A message of 0 bytes is one empty piece.
  std::optional<Piece> Take(std::string_view& bytes);

  /// Returns whether the number in the last prefix is less than
  /// FramePrefix::add, so that no length is right. Take() then takes nothing.
  bool IsMalformed() const;

  /// Returns the number in the last prefix, and the length of its message.
  std::uint64_t number() const { return number_; }
  std::uint64_t length() const { return length_; }

  /// Returns how much there is of a frame that has begun, "3 of 5 bytes of a
  /// frame", or "".
  std::string Missing() const;

 private:
  bool TakePrefix(std::string_view& bytes);
  void EndFrame();

  const FramePrefix prefix_;
  const std::size_t block_;
  std::size_t padding_ = 0;       // To skip before the next frame.
  std::size_t prefix_taken_ = 0;  // Bytes.
  std::uint64_t number_ = 0;
  std::uint64_t length_ = 0;
  std::uint64_t left_ = 0;  // Bytes of the message.
};

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_EXCHANGE_FRAMES_H_
