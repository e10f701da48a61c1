// Must not compile: one choice of the parameter is not a form.

#include <string>

#include "tool/command/forms.h"

namespace fairlead::tool {

enum class Size { kSmall, kLarge };
enum class Colour { kRed };

inline constexpr auto kSizes = std::to_array<Choice>({
    {Size::kSmall, "small"},
    {Size::kLarge, "large"},
    kAllForms,
});
inline constexpr auto kMixed =
    std::to_array<Choice>({{Size::kSmall, "small"}, {Colour::kRed, "red"}});

inline constexpr Parameter kForm = {.name = "form",
                                    .kind = Kind::kChoice,
                                    .group = Group::kOutput,
                                    .help = "the size",
                                    .choices = kSizes};
inline constexpr Parameter kMixedForm = {.name = "form",
                                         .kind = Kind::kChoice,
                                         .group = Group::kOutput,
                                         .help = "the size",
                                         .choices = kMixed};

std::string Asked(std::string_view asked) {
  const auto text_of = [](Size) -> FormText { return ""; };
  return FormLines<Size>(kForm, asked, text_of) +
         FormLines<Size>(kMixedForm, asked, text_of);
}

}  // namespace fairlead::tool
