// Scripts of edits: one edit in each line.

#ifndef FAIRLEAD_TOOL_INI_EDIT_SCRIPT_H_
#define FAIRLEAD_TOOL_INI_EDIT_SCRIPT_H_

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "fairlead/ini/ini_document.h"

namespace fairlead::tool::ini {

struct EditForm;

/// One line of a script.
struct ScriptLine {
  std::size_t number;  ///< From 1.
  const EditForm* form;
  std::vector<std::string> words;  ///< What follows the edit's name.
};

/// Parses a script. Words are separated by spaces or TABs; a word in single or
/// double quotes may contain them, and in double quotes \" \\ \n \t are
/// escapes. Empty lines and lines that begin with '#' or ';' are skipped.
///
/// @param name that of the script in error messages
/// @throws Failure with kMalformedInput: "name:line: reason", also for an
///     unknown edit or a wrong number of words
std::vector<ScriptLine> ParseScript(std::string_view text,
                                    std::string_view name);

/// Makes the edits in turn.
///
/// @param file the name of the document in error messages
/// @throws Failure with the line, as a subcommand of that name would
void RunScript(const std::vector<ScriptLine>& script, std::string_view name,
               IniDocument& document, const std::string& file);

/// Returns the words as a line of a script, with a newline.
std::string LineOfScript(const std::vector<std::string>& words);

}  // namespace fairlead::tool::ini

#endif  // FAIRLEAD_TOOL_INI_EDIT_SCRIPT_H_
