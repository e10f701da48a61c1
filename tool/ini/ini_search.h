// Searches of a document, with or without what is disabled.

#ifndef FAIRLEAD_TOOL_INI_INI_SEARCH_H_
#define FAIRLEAD_TOOL_INI_INI_SEARCH_H_

#include <functional>
#include <optional>
#include <string>

#include "fairlead/ini/ini_document.h"
#include "tool/command/arguments.h"
#include "tool/ini/ini_parameters.h"
#include "tool/ini/ini_place.h"

namespace fairlead::tool::ini {

/// The parameters of every subcommand that reads.
inline constexpr auto kReading = AtMostOne(kRecords, kDisabled);
inline constexpr auto kReadingUses = Uses(kRecords, kDisabled);

/// Finds a place; with -disabled also one that is disabled.
IniFound FindIn(const IniDocument& document,
                const Arguments<kReadingUses>& arguments, const Place& place);

/// Throws Failure with kAnswerIsNo.
[[noreturn]] void FailNotFound(const IniFound& found, const Place& place);

/// Calls `use` for every header and key of the section, or of the file.
///
/// @throws Failure with kAnswerIsNo if there is no such section
void ForEach(const IniDocument& document,
             const Arguments<kReadingUses>& arguments,
             const std::optional<std::string>& section,
             const std::function<void(const IniEntry& entry)>& use);

}  // namespace fairlead::tool::ini

#endif  // FAIRLEAD_TOOL_INI_INI_SEARCH_H_
