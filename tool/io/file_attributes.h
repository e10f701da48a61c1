// Who owns a file, who may do what with it, and what else is noted of it.

#ifndef FAIRLEAD_TOOL_IO_FILE_ATTRIBUTES_H_
#define FAIRLEAD_TOOL_IO_FILE_ATTRIBUTES_H_

#include <string>

#include "tool/base/descriptor.h"

namespace fairlead::tool {

/// Gives a file that nobody but its owner may open yet the owner, the group,
/// the access control list, the extended attributes and the mode of another.
///
/// The mode comes last, so that at no moment somebody may do more with the new
/// file than with the old one. Signatures that the kernel itself keeps of a
/// file's bytes (security.ima and security.evm) are not copied.
///
/// @return why something cannot be kept, in words; "" where all was
std::string CopyAttributes(const Descriptor& from, const Descriptor& to);

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_IO_FILE_ATTRIBUTES_H_
