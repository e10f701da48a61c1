// The owner, permissions and extended attributes of a file.

#ifndef FAIRLEAD_TOOL_IO_FILE_ATTRIBUTES_H_
#define FAIRLEAD_TOOL_IO_FILE_ATTRIBUTES_H_

#include <string>

#include "tool/base/descriptor.h"

namespace fairlead::tool {

/// Copies the owner, the group, the access control list, the extended
/// attributes and the mode to a file that only its owner may open yet.
///
/// Sets the mode last, so that the new file never grants more than the old one.
/// Does not copy the kernel's signatures of the content (security.ima and
/// security.evm).
///
/// @return why something cannot be kept, or "" on success
std::string CopyAttributes(const Descriptor& from, const Descriptor& to);

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_IO_FILE_ATTRIBUTES_H_
