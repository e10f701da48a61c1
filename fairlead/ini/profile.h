// Settings in INI files: one value read or written by one call.

#ifndef FAIRLEAD_INI_PROFILE_H_
#define FAIRLEAD_INI_PROFILE_H_

#include <string>
#include <string_view>

#include "fairlead/export.h"

namespace fairlead {

/// @file
/// Functions over CIniFile for those who need nothing else of it. The section
/// comes first and the file last; a relative file name is relative to the
/// working directory.
///
/// Readers never create anything and know no failure: whatever is missing
/// yields the default. A disabled key is read as an active one. Writers report
/// nothing: read the value back to know that it arrived.
///
/// All four throw what CIniFile::Load() throws, at a header without `]`
/// anywhere in the file, and std::bad_alloc; either leaves the file as it was.
///
/// @par Thread safety
/// Any number of readers, while nobody writes: the file is rewritten in place,
/// and who reads meanwhile finds a part of it. Each call is an operation of its
/// own on the whole file, and nothing locks it: of two writers, the last wins.
/// @par Cost
/// Reading reads the whole file, writing reads it and writes it again. For many
/// lookups load the file once, into a CIniFile.
/// @par Example
/// @code
/// using namespace fairlead;
/// WritePrivateProfileStr("server", "host", "localhost", "tool.ini");
/// WritePrivateProfileInteger("server", "port", 7000, "tool.ini");
/// const int port = GetPrivateProfileInteger("server", "port", 80, "tool.ini");
/// @endcode

/// The value of a key, or the default where the file, the section or the key is
/// missing or the value is empty.
FAIRLEAD_EXPORT std::string GetPrivateProfileStr(std::string_view section_name,
                                                 std::string_view key_name,
                                                 std::string default_value,
                                                 const std::string& file_name);

/// Gives a key a value as CIniFile::SetValue() does, making the file, the
/// section and the key where they do not exist.
FAIRLEAD_EXPORT void WritePrivateProfileStr(std::string_view section_name,
                                            std::string_view key_name,
                                            std::string_view value,
                                            const std::string& file_name);

/// The number that the value of a key begins with, as getval<int>() reads it:
/// 12 for "12abc". The default where there is none or it does not fit an `int`.
FAIRLEAD_EXPORT int GetPrivateProfileInteger(std::string_view section_name,
                                             std::string_view key_name,
                                             int default_value,
                                             const std::string& file_name);

/// Gives a key a number for its value, in decimal without padding.
FAIRLEAD_EXPORT void WritePrivateProfileInteger(std::string_view section_name,
                                                std::string_view key_name,
                                                int value,
                                                const std::string& file_name);

}  // namespace fairlead

#endif  // FAIRLEAD_INI_PROFILE_H_
