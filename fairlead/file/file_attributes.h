// The owner, permissions and extended attributes of a file. Not installed.

#ifndef FAIRLEAD_FILE_FILE_ATTRIBUTES_H_
#define FAIRLEAD_FILE_FILE_ATTRIBUTES_H_

#include "fairlead/base/descriptor.h"
#include "fairlead/file/file_edit.h"

namespace fairlead::internal {

// Copies the owner, the group, the access control list, the extended attributes
// and the mode to a file that only its owner may open yet. Fails with
// kOnlyInPlace if something cannot be kept.
//
// Sets the mode last, so that the new file never grants more than the old one.
// Does not copy the kernel's signatures of the content (security.ima and
// security.evm).
FileResult CopyAttributes(const Descriptor& from, const Descriptor& to);

}  // namespace fairlead::internal

#endif  // FAIRLEAD_FILE_FILE_ATTRIBUTES_H_
