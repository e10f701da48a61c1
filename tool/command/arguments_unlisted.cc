// Must not compile: asks for a parameter that the table does not list.

#include "tool/command/arguments.h"
#include "tool/command/parameters.h"

namespace fairlead::tool {

inline constexpr auto kListed = Uses(Optional(kText));

bool Asked(const Arguments<kListed>& arguments) {
  return arguments.Has(kText) && arguments.Has(kFile);
}

}  // namespace fairlead::tool
