// Formats received messages for -view.

#include "tool/traffic/view.h"

#include <algorithm>

#include "tool/base/bytes_text.h"
#include "tool/base/concat.h"
#include "tool/base/escapes.h"
#include "tool/traffic/events.h"

namespace fairlead::tool {
namespace {

constexpr std::size_t kRowSize = 16;

std::string Stamp(const TheTime& time, Screen screen) {
  const std::string stamp = time.GetStr(true);
  return screen.colour ? Concat("\033[2m", stamp, "\033[0m") : stamp;
}

// "00000010  68 65 6c 6c 6f 20 77 6f  72 6c 64 0a              |hello world.|"
std::string DumpRow(std::size_t offset, std::string_view bytes) {
  std::string text;
  for (int shift = 24; shift >= 0; shift -= 8)
    text += HexByte(static_cast<char>(offset >> shift));
  text += ' ';
  for (std::size_t i = 0; i < kRowSize; ++i) {
    if (i % 8 == 0) text += ' ';
    text += i < bytes.size() ? Concat(HexByte(bytes[i]), " ") : "   ";
  }
  text += " |";
  for (const char c : bytes) text += IsPrintable(c) ? c : '.';
  return Concat(text, "|\n");
}

std::string Dump(std::string_view bytes) {
  std::string text = Concat(BytesText(bytes.size()), "\n");
  for (std::size_t at = 0; at < bytes.size(); at += kRowSize)
    text += DumpRow(at, bytes.substr(at, kRowSize));
  return text;
}

}  // namespace

std::string HexPairs(std::string_view bytes) {
  std::string text;
  for (const char c : bytes) {
    if (!text.empty()) text += ' ';
    text += HexByte(c);
  }
  return text;
}

std::string Rendered(const ReceivedMessage& message, View view, Screen screen) {
  const auto& [bytes, time, peer] = message;
  switch (view) {
    case View::kRaw:
      return screen.terminal ? Visible(bytes) : std::string(bytes);
    case View::kTextLine:
      return Concat(Stamp(time, screen), Escaped(bytes), "\n");
    case View::kHexLine:
      return Concat(Stamp(time, screen), HexPairs(bytes), "\n");
    case View::kDump:
      return Stamp(time, screen) + Dump(bytes);
    case View::kJson:
      return event::Received(time, peer, bytes);
  }
  return {};
}

}  // namespace fairlead::tool
