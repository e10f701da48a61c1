// Where in an INI file a word of `ini` is to work.

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

  /// Whether it is among the records, disabled or not.
  bool IsIn(const Records& records) const;
};

/// What -section and -key name.
Place PlaceOf(const Arguments& arguments);

/// "key 'port' in section 'server'".
std::string Spelled(const Place& place);

/// @throws Failure with kAnswerIsNo, which says that the place is not there
[[noreturn]] void FailForNo(const Place& place);

}  // namespace fairlead::tool::ini

#endif  // FAIRLEAD_TOOL_INI_INI_PLACE_H_
