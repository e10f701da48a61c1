// The part of an INI file that a subcommand works on.

#ifndef FAIRLEAD_TOOL_INI_INI_PLACE_H_
#define FAIRLEAD_TOOL_INI_INI_PLACE_H_

#include <string>

#include "tool/command/arguments.h"
#include "tool/ini/ini.h"
#include "tool/ini/ini_store.h"

namespace fairlead::tool::ini {

/// A section, or a key in it.
struct Place {
  std::string section;
  std::string key;
  bool has_key = false;

  /// Returns whether the records contain it, disabled or not.
  bool IsIn(const Records& records) const;
};

/// Returns what -section and -key name.
///
/// @throws Failure with kWrongUsage if -key is only whitespace
Place PlaceOf(const Arguments& arguments);

/// Returns "key 'port' in section 'server'".
std::string Spelled(const Place& place);

/// Throws Failure with kAnswerIsNo: "there is no ...".
[[noreturn]] void FailNotFound(const Place& place);

}  // namespace fairlead::tool::ini

#endif  // FAIRLEAD_TOOL_INI_INI_PLACE_H_
