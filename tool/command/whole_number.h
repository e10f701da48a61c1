// Whole numbers wider than the table of parameters knows.

#ifndef FAIRLEAD_TOOL_COMMAND_WHOLE_NUMBER_H_
#define FAIRLEAD_TOOL_COMMAND_WHOLE_NUMBER_H_

#include <cstdint>

#include "tool/command/arguments.h"

namespace fairlead::tool {

/// The number given, decimal digits and nothing else, 0 to `most`.
///
/// @throws Failure with kWrongUsage for anything else
std::uint64_t WholeNumber(const Arguments& arguments,
                          const Parameter& parameter, std::uint64_t most);

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_COMMAND_WHOLE_NUMBER_H_
