// Prints a result in the form chosen with -form.

#include "tool/command/forms.h"

#include "tool/base/concat.h"
#include "tool/base/failure.h"

namespace fairlead::tool {
namespace {

using FormTexts = std::function<FormText(int)>;

std::string AllLines(const Parameter& parameter, const FormTexts& text_of) {
  std::string lines;
  for (const Choice& choice : parameter.choices) {
    if (choice.IsOf<EveryForm>()) continue;
    const FormText form = text_of(choice.value);
    if (const auto* const text = std::get_if<std::string>(&form))
      lines += Concat(choice.name, " ", *text, "\n");
  }
  return lines;
}

}  // namespace

std::string ChosenFormLines(const Parameter& parameter, std::string_view asked,
                            const FormTexts& text_of) {
  const Choice& choice = ChoiceNamed(parameter, asked);
  if (choice.IsOf<EveryForm>()) return AllLines(parameter, text_of);
  const FormText form = text_of(choice.value);
  if (const auto* const missing = std::get_if<Unavailable>(&form))
    throw Failure(kWrongUsage,
                  Concat("-", parameter.name, " ", asked, missing->why));
  return Concat(std::get<std::string>(form), "\n");
}

}  // namespace fairlead::tool
