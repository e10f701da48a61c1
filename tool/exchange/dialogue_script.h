// The script of a dialogue with a server: one statement in each line.

#ifndef FAIRLEAD_TOOL_EXCHANGE_DIALOGUE_SCRIPT_H_
#define FAIRLEAD_TOOL_EXCHANGE_DIALOGUE_SCRIPT_H_

#include <chrono>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "tool/exchange/body.h"

namespace fairlead::tool {

/// One statement of a script.
struct Statement {
  enum class Kind {
    kSend,          ///< Send `text`.
    kExpectPrefix,  ///< The next line, or reply, must begin with `text`.
    kSkipUntil,     ///< Skip what is received, to the end of `text`.
    kWait,          ///< Go on after the pause.
  };
  Kind kind = Kind::kSend;
  std::string text = {};  ///< With the line end, for kSend.
  std::chrono::milliseconds pause = {};
  std::size_t line = 0;  ///< Of the script, from 1.

  bool operator==(const Statement&) const = default;
};

/// Returns where the statement is: "FILE:LINE".
///
/// @param script the file's name
std::string StatementPlace(std::string_view script, const Statement& statement);

using DialogueScript = std::vector<Statement>;

/// Returns the statements of a script. Empty lines and those that begin with
/// '#' have none, and `eol` takes effect here.
///
/// @param name of the file, for errors
/// @param line_end what follows the text of a `send` before the first `eol`
/// @throws Failure with kMalformedInput, naming file and line; also for a
///     script without a statement
DialogueScript ParseDialogue(std::string_view text, std::string_view name,
                             std::string_view line_end);

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_EXCHANGE_DIALOGUE_SCRIPT_H_
