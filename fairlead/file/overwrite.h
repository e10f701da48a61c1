// Writing a file in place. Not installed.

#ifndef FAIRLEAD_FILE_OVERWRITE_H_
#define FAIRLEAD_FILE_OVERWRITE_H_

#include <string_view>

#include "fairlead/base/descriptor.h"
#include "fairlead/file/file_edit.h"
#include "fairlead/file/text_journal.h"

namespace fairlead::internal {

// Replaces the old text of an open file and syncs it, with EndingSignals()
// blocked. Restores the old text if writing fails. The result has no path.
FileResult Overwrite(const Descriptor& file, std::string_view old_text,
                     const TextJournal& new_text);

}  // namespace fairlead::internal

#endif  // FAIRLEAD_FILE_OVERWRITE_H_
