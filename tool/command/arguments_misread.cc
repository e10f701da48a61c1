// Must not compile: asks for a duration as a number.

#include "tool/command/arguments.h"

namespace fairlead::tool {

inline constexpr Parameter kDelay = {.name = "delay",
                                     .placeholder = "TIME",
                                     .kind = Kind::kDuration,
                                     .group = Group::kHowLong,
                                     .help = "the delay",
                                     .range = {.least = 1, .most = 1000}};
inline constexpr auto kListed = Uses(Optional(kDelay));

int Asked(const Arguments<kListed>& arguments) {
  return arguments.Duration(kDelay) ? arguments.Number(kDelay) : 0;
}

}  // namespace fairlead::tool
