// Any bytes are read as frames: alike however they are cut, and what was framed
// is read back.

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "tool/base/failure.h"
#include "tool/exchange/frames.h"

namespace {

using fairlead::tool::Failure;
using fairlead::tool::FramePrefix;
using fairlead::tool::FrameReader;
using fairlead::tool::PrefixForm;

void Require(bool holds) {
  if (!holds) std::abort();
}

struct Reading {
  std::vector<std::string> messages;  // The last may lack its end.
  std::string missing = {};
  bool malformed = false;

  bool operator==(const Reading&) const = default;
};

// Reads the bytes in pieces of that size.
Reading Read(const FramePrefix& prefix, std::size_t block,
             std::string_view bytes, std::size_t size) {
  FrameReader reader(prefix, block);
  Reading reading = {.messages = {""}};
  while (!bytes.empty()) {
    std::string_view cut = bytes.substr(0, size);
    bytes.remove_prefix(cut.size());
    const std::string_view before = cut;
    while (const auto piece = reader.Take(cut)) {
      Require(piece->bytes.empty() ||
              (piece->bytes.data() >= before.data() &&
               piece->bytes.data() + piece->bytes.size() <= cut.data()));
      reading.messages.back() += piece->bytes;
      if (!piece->ends_message) continue;
      Require(reading.messages.back().size() == reader.length());
      reading.messages.emplace_back();
    }
    Require(cut.empty() || reader.IsMalformed());
    if (reader.IsMalformed()) break;
  }
  reading.missing = reader.Missing();
  reading.malformed = reader.IsMalformed();
  return reading;
}

// Frames one message twice.
void ReadBack(const FramePrefix& prefix, std::string_view message) {
  std::string frames;
  try {
    frames = Framed(prefix, message);
  } catch (const Failure&) {
    return;
  }
  const Reading reading = Read(prefix, 1, frames + frames, 7);
  const std::string text(message);
  Require(reading == Reading{.messages = {text, text, ""}});
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  constexpr std::size_t kHeader = 4;
  if (size < kHeader) return 0;
  constexpr std::array kForms = {PrefixForm::kU8, PrefixForm::kU16Be,
                                 PrefixForm::kU16Le, PrefixForm::kU32Be,
                                 PrefixForm::kU32Le};
  const FramePrefix prefix = {.form = kForms[data[0] % kForms.size()],
                              .add = static_cast<std::int8_t>(data[1])};
  const std::size_t block = 1 + data[2] % 16;
  const std::string_view bytes(reinterpret_cast<const char*>(data) + kHeader,
                               size - kHeader);
  const Reading whole = Read(prefix, block, bytes, size);
  Require(Read(prefix, block, bytes, 1) == whole);
  Require(Read(prefix, block, bytes, 1 + data[3]) == whole);
  ReadBack(prefix, bytes);
  return 0;
}
