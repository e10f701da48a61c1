// The subcommands of `ini`.

#ifndef FAIRLEAD_TOOL_INI_INI_H_
#define FAIRLEAD_TOOL_INI_INI_H_

#include "tool/command/command.h"

namespace fairlead::tool::ini {

extern const Command kGet;
extern const Command kHas;
extern const Command kList;
extern const Command kSections;
extern const Command kKeys;
extern const Command kShow;

extern const Command kSet;
extern const Command kAdd;
extern const Command kDelete;
extern const Command kEnable;
extern const Command kDisable;
extern const Command kComment;
extern const Command kRename;

extern const Command kCreate;
extern const Command kNormalize;

extern const Command kApply;
extern const Command kDiff;
extern const Command kMerge;

}  // namespace fairlead::tool::ini

#endif  // FAIRLEAD_TOOL_INI_INI_H_
