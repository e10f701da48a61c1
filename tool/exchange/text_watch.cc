// Searches for both texts at once, and notes the line in which one ends.

#include "tool/exchange/text_watch.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace fairlead::tool {
namespace {

constexpr std::size_t kNever = std::string_view::npos;

std::size_t EndIn(std::string_view piece, std::optional<TextSearch>& search) {
  return search ? search->Take(piece).value_or(kNever) : kNever;
}

}  // namespace

TextWatch::TextWatch(const std::string& expected, const std::string& rejected) {
  if (!expected.empty()) expected_.emplace(expected);
  if (!rejected.empty()) rejected_.emplace(rejected);
}

Verdict TextWatch::Take(std::string_view piece) {
  const bool has_texts = expected_ || rejected_;
  if (!has_texts || verdict_ != Verdict::kUndecided) return verdict_;
  const std::size_t expected = EndIn(piece, expected_);
  const std::size_t rejected = EndIn(piece, rejected_);
  const std::size_t end = std::min(expected, rejected);
  if (end == kNever)
    NoteLines(piece);
  else
    Decide(rejected == end ? Verdict::kRejected : Verdict::kExpected,
           piece.substr(0, end), piece.substr(end));
  return verdict_;
}

// A newline belongs to the line that it ends, so the last byte of the text is
// in the line that decides.
void TextWatch::Decide(Verdict verdict, std::string_view until_text,
                       std::string_view after) {
  verdict_ = verdict;
  NoteLines(until_text.substr(0, until_text.size() - 1));
  if (until_text.ends_with('\n')) return;
  line_.Add(until_text.substr(until_text.size() - 1));
  line_.Add(after.substr(0, after.find('\n')));
}

void TextWatch::NoteLines(std::string_view bytes) {
  if (bytes.empty()) return;
  // rfind() compares byte by byte, and lines of a large answer may be long.
  const void* const newline = memrchr(bytes.data(), '\n', bytes.size());
  if (newline != nullptr) {
    line_.Clear();
    bytes = {static_cast<const char*>(newline) + 1, bytes.end()};
  }
  line_.Add(bytes);
}

}  // namespace fairlead::tool
