// Reads and writes frames.

#include "tool/exchange/frames.h"

#include <algorithm>

#include "tool/base/bytes_text.h"
#include "tool/base/concat.h"
#include "tool/base/failure.h"

namespace fairlead::tool {
namespace {

bool IsLittleEndian(PrefixForm form) {
  return form == PrefixForm::kU16Le || form == PrefixForm::kU32Le;
}

}  // namespace

std::size_t FramePrefix::size() const {
  switch (form) {
    case PrefixForm::kU8:
      return 1;
    case PrefixForm::kU16Be:
    case PrefixForm::kU16Le:
      return 2;
    case PrefixForm::kU32Be:
    case PrefixForm::kU32Le:
      return 4;
  }
  return 0;
}

std::optional<FramePrefix> PrefixOf(const Arguments<kPrefixUses>& arguments) {
  if (!arguments.Has(kPrefix)) return std::nullopt;
  return FramePrefix{.form = arguments.Chosen<PrefixForm>(kPrefix),
                     .add = arguments.Integer(kPrefixadd)};
}

std::string PrefixBefore(std::uint64_t size, const FramePrefix& prefix) {
  const std::int64_t most = (std::int64_t{1} << 8 * prefix.size()) - 1;
  const std::int64_t number = static_cast<std::int64_t>(size) + prefix.add;
  if (number < 0 || number > most)
    throw Failure(
        kWrongUsage,
        Concat("a message of ", BytesText(size), ": its prefix would be ",
               number, "; -prefix ", ChoiceName(kPrefix, prefix.form),
               " holds 0 to ", most));
  std::string bytes;
  for (std::size_t i = prefix.size(); i-- > 0;)
    bytes += static_cast<char>(number >> 8 * i);
  if (IsLittleEndian(prefix.form)) std::ranges::reverse(bytes);
  return bytes;
}

std::string Framed(const FramePrefix& prefix, std::string_view message) {
  return PrefixBefore(message.size(), prefix).append(message);
}

std::optional<FrameReader::Piece> FrameReader::Take(std::string_view& bytes) {
  const std::size_t skipped = std::min(padding_, bytes.size());
  bytes.remove_prefix(skipped);
  padding_ -= skipped;
  if (!TakePrefix(bytes) || (left_ > 0 && bytes.empty())) return std::nullopt;
  const auto taken =
      static_cast<std::size_t>(std::min<std::uint64_t>(left_, bytes.size()));
  const Piece piece = {.bytes = bytes.substr(0, taken),
                       .ends_message = taken == left_};
  bytes.remove_prefix(taken);
  left_ -= taken;
  if (left_ == 0) EndFrame();
  return piece;
}

// Returns whether there is a prefix, and it is well-formed.
bool FrameReader::TakePrefix(std::string_view& bytes) {
  if (prefix_taken_ == 0) number_ = 0;
  while (prefix_taken_ < prefix_.size()) {
    if (bytes.empty()) return false;
    const std::uint64_t byte = static_cast<unsigned char>(bytes[0]);
    bytes.remove_prefix(1);
    number_ = IsLittleEndian(prefix_.form) ? number_ | byte << 8 * prefix_taken_
                                           : number_ << 8U | byte;
    if (++prefix_taken_ == prefix_.size() && !IsMalformed())
      left_ = length_ = static_cast<std::uint64_t>(
          static_cast<std::int64_t>(number_) - prefix_.add);
  }
  return !IsMalformed();
}

void FrameReader::EndFrame() {
  padding_ = static_cast<std::size_t>(
      (block_ - (prefix_.size() + length_) % block_) % block_);
  prefix_taken_ = 0;
}

bool FrameReader::IsMalformed() const {
  return prefix_taken_ == prefix_.size() &&
         static_cast<std::int64_t>(number_) < prefix_.add;
}

std::string FrameReader::Missing() const {
  if (prefix_taken_ == 0) return "";
  if (prefix_taken_ < prefix_.size())
    return Concat(prefix_taken_, " of ", prefix_.size(),
                  " bytes of a frame's prefix");
  return Concat(length_ - left_, " of ", BytesText(length_), " of a frame");
}

}  // namespace fairlead::tool
