// The library's INI store at work on texts instead of files.

#ifndef FAIRLEAD_TOOL_INI_INI_STORE_H_
#define FAIRLEAD_TOOL_INI_INI_STORE_H_

#include <functional>
#include <string>
#include <vector>

#include "fairlead/ini/ini_file.h"
#include "tool/io/memory_copy.h"

namespace fairlead::tool::ini {

/// A copy that the store can load.
///
/// @param file what an error calls it
/// @throws Failure with kMalformedInput
MemoryCopy Readable(const std::string& text, const std::string& file);

/// Changes the INI file of that name through the store; returns whether the
/// store could write it.
using Operation = std::function<bool(const std::string& file)>;

/// The text as the operation leaves it; the comments at its end, which the
/// store loses, stay there.
///
/// @param file what an error calls it
/// @throws Failure with kMalformedInput for a text of which more would be lost
std::string Edited(const std::string& text, const std::string& file,
                   const Operation& operation);

/// What the store writes for the records.
std::string SavedText(const std::vector<CIniFile::Record>& records);

}  // namespace fairlead::tool::ini

#endif  // FAIRLEAD_TOOL_INI_INI_STORE_H_
