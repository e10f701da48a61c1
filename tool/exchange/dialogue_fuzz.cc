// Any script can be read or refused, and a dialogue ends the same however its
// server's bytes are cut.
//
// The input is a script, a line "----" and what the server sends.

#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tool/base/failure.h"
#include "tool/exchange/dialogue_testing.h"

namespace {

using fairlead::tool::DialogueProblem;
using fairlead::tool::DialogueScript;
using fairlead::tool::Failure;
using fairlead::tool::ParseDialogue;
using fairlead::tool::PieceByPiece;

void Require(bool holds) {
  if (!holds) std::abort();
}

// What a dialogue came to: the statement and the line that ended it, if one
// did, and what was sent.
struct Course {
  const void* statement = nullptr;
  bool refused = false;
  std::string line = {};
  std::string sent;

  bool operator==(const Course&) const = default;
};

Course Run(const DialogueScript& script, std::string_view received,
           std::size_t size) {
  std::vector<std::string_view> pieces;
  for (std::size_t at = 0; at < received.size(); at += size)
    pieces.push_back(received.substr(at, size));
  PieceByPiece peer(std::move(pieces));
  const std::optional<DialogueProblem> problem = RunDialogue(script, peer);
  if (!problem) return {.sent = peer.sent};
  return {problem->statement, problem->refused, problem->line, peer.sent};
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  constexpr std::string_view kRule = "\n----\n";
  const std::string_view input(reinterpret_cast<const char*>(data), size);
  const std::size_t end = input.find(kRule);
  const std::string_view received =
      end == std::string_view::npos ? "" : input.substr(end + kRule.size());
  try {
    const DialogueScript script =
        ParseDialogue(input.substr(0, end), "script", "\r\n");
    const Course whole = Run(script, received, received.size());
    Require(whole.line.size() < input.size());
    for (const std::size_t piece : {1U, 2U, 3U, 7U})
      Require(Run(script, received, piece) == whole);
  } catch (const Failure& failure) {
    Require(std::string_view(failure.what()).starts_with("script"));
  }
  return 0;
}
