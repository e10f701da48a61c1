// The section or key that -section, -key and -index name.

#ifndef FAIRLEAD_TOOL_INI_INI_PLACE_H_
#define FAIRLEAD_TOOL_INI_INI_PLACE_H_

#include <cstddef>
#include <optional>
#include <string>

#include "fairlead/ini/ini_document.h"
#include "tool/command/arguments.h"
#include "tool/ini/ini_parameters.h"

namespace fairlead::tool::ini {

using Code = IniResult::Code;

/// A section, or a key in it.
struct Place {
  std::string section;
  std::optional<std::string> key = {};
  std::size_t index = 0;

  IniName Name() const { return {section, key, index}; }
};

/// Returns what -section, -key and -index name.
///
/// @throws Failure with kWrongUsage if -key is only whitespace
Place PlaceOf(const Arguments<kPlaceUses>& arguments);

/// Returns "key 'port' in section 'server'".
std::string Spelled(const Place& place);

/// Returns why there is no such place, for a search or an edit that found none:
/// "there is no section 'server'".
std::string WhyNotFound(Code code, const Place& place);

/// Throws for a result that is not IsOk().
///
/// @param to the new place, of an edit that renames or adds it
/// @throws Failure with kAnswerIsNo, kWrongUsage or kMalformedInput
void Require(const IniResult& result, const std::string& file,
             const Place& place, const Place& to);
void Require(const IniResult& result, const std::string& file,
             const Place& place);

}  // namespace fairlead::tool::ini

#endif  // FAIRLEAD_TOOL_INI_INI_PLACE_H_
