// Where in an INI file a word of `ini` is to work.

#ifndef FAIRLEAD_TOOL_INI_INI_PLACE_H_
#define FAIRLEAD_TOOL_INI_INI_PLACE_H_

#include <string>

#include "tool/ini/ini.h"

namespace fairlead::tool::ini {

/// A section, or a key in it.
struct Place {
  std::string section;
  std::string key;
  bool has_key = false;

  /// Whether the INI file holds it, disabled or not.
  ///
  /// @throws what the store throws of the file
  bool IsIn(const std::string& file) const;
};

/// What -section and -key name.
Place PlaceOf(const Arguments& arguments);

/// "key 'port' in section 'server'".
std::string Spelled(const Place& place);

/// @throws Failure with kAnswerIsNo, which says that the place is not there
[[noreturn]] void FailForNo(const Place& place);

}  // namespace fairlead::tool::ini

#endif  // FAIRLEAD_TOOL_INI_INI_PLACE_H_
