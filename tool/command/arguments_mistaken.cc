// Must not compile: asks for the choice as a value of another enumeration.

#include "tool/command/arguments.h"

namespace fairlead::tool {

enum class Colour { kRed, kGreen };
enum class Size { kSmall, kLarge };

inline constexpr auto kColours =
    std::to_array<Choice>({{Colour::kRed, "red"}, {Colour::kGreen, "green"}});
inline constexpr Parameter kColour = {.name = "colour",
                                      .kind = Kind::kChoice,
                                      .group = Group::kWhat,
                                      .help = "the colour",
                                      .choices = kColours};
inline constexpr auto kListed = Uses(Optional(kColour));

bool Asked(const Arguments<kListed>& arguments) {
  return arguments.Chosen<Colour>(kColour) == Colour::kRed &&
         arguments.Chosen<Size>(kColour) == Size::kSmall;
}

}  // namespace fairlead::tool
