// The text forms of one value, printed singly or all together.

#ifndef FAIRLEAD_TOOL_COMMAND_FORMS_H_
#define FAIRLEAD_TOOL_COMMAND_FORMS_H_

#include <functional>
#include <string>
#include <string_view>
#include <variant>

#include "tool/command/parameter.h"

namespace fairlead::tool {

/// The choice that prints every form.
enum class EveryForm { kAll };
inline constexpr Choice kAllForms = {EveryForm::kAll, "all"};

/// Why a value lacks a form: the end of a message that begins "-form NAME".
struct Unavailable {
  std::string why;
};

/// The text of a value in one form.
using FormText = std::variant<std::string, Unavailable>;

/// A call of it in a constant expression is the error that a user of
/// ParameterOfForms sees: a choice of the parameter is not a form.
void ChoiceIsNoForm();

/// A parameter whose choices are values of the enumeration, and kAllForms.
template <typename Form>
class ParameterOfForms {
 public:
  // NOLINTNEXTLINE(google-explicit-constructor): callers name the parameter.
  consteval ParameterOfForms(const Parameter& parameter)
      : parameter_(&parameter) {
    for (const Choice& choice : parameter.choices)
      if (!choice.IsOf<Form>() && !choice.IsOf<EveryForm>()) ChoiceIsNoForm();
  }
  const Parameter& operator*() const { return *parameter_; }

 private:
  const Parameter* parameter_;
};

/// Returns the line of the form asked for, or a line "name text" for each form
/// that is available if that is kAllForms.
///
/// @param parameter by which the user asked
/// @param text_of returns the text of the form with that value
/// @throws Failure with kWrongUsage if the value has no such form
std::string ChosenFormLines(const Parameter& parameter, std::string_view asked,
                            const std::function<FormText(int)>& text_of);

/// The same for a function of an enumeration.
template <typename Form>
std::string FormLines(ParameterOfForms<Form> parameter, std::string_view asked,
                      const std::function<FormText(Form)>& text_of) {
  return ChosenFormLines(*parameter, asked, [&text_of](int value) {
    return text_of(static_cast<Form>(value));
  });
}

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_COMMAND_FORMS_H_
