// One setting of an INI file, read or written by one call.

#ifndef FAIRLEAD_INI_PROFILE_H_
#define FAIRLEAD_INI_PROFILE_H_

#include <string>
#include <string_view>

#include "fairlead/export.h"

namespace fairlead {

/// @file
/// Functions on top of CIniFile for programs that need nothing else of it. The
/// section comes first and the file last.
///
/// Readers create nothing: they return the default if the file, the section or
/// the key is missing. A disabled key is read like an active one. Writers
/// return nothing: read the value back to verify. All four read the whole file,
/// and writers rewrite it in place. They throw what CIniFile::Load() throws, at
/// a header without `]`, and std::bad_alloc; the file is then unchanged.
///
/// Nothing locks the file: during a write, readers may see a part of it, and of
/// two writers, in threads or processes, the last one wins.
/// @code
/// using namespace fairlead;
/// WritePrivateProfileStr("server", "host", "localhost", "tool.ini");
/// WritePrivateProfileInteger("server", "port", 7000, "tool.ini");
/// const int port = GetPrivateProfileInteger("server", "port", 80, "tool.ini");
/// // port == 7000
/// @endcode

/// Returns the value of a key, or the default if it is missing or empty.
FAIRLEAD_EXPORT std::string GetPrivateProfileStr(std::string_view section_name,
                                                 std::string_view key_name,
                                                 std::string default_value,
                                                 const std::string& file_name);

/// Sets the value of a key as CIniFile::SetValue() does.
FAIRLEAD_EXPORT void WritePrivateProfileStr(std::string_view section_name,
                                            std::string_view key_name,
                                            std::string_view value,
                                            const std::string& file_name);

/// Returns the number at the start of a value, as getval<int>() reads it: 12
/// for "12abc". Returns the default if there is none or it is out of range.
FAIRLEAD_EXPORT int GetPrivateProfileInteger(std::string_view section_name,
                                             std::string_view key_name,
                                             int default_value,
                                             const std::string& file_name);

/// Sets the value of a key to a number, in decimal without padding.
FAIRLEAD_EXPORT void WritePrivateProfileInteger(std::string_view section_name,
                                                std::string_view key_name,
                                                int value,
                                                const std::string& file_name);

}  // namespace fairlead

#endif  // FAIRLEAD_INI_PROFILE_H_
