#include "tool/command/forms.h"

#include <algorithm>

#include "tool/base/concat.h"
#include "tool/base/failure.h"

namespace fairlead::tool {
namespace {

std::string AllLines(const std::vector<Form>& forms) {
  std::string lines;
  for (const Form& form : forms)
    lines += Concat(form.name, " ", form.text, "\n");
  return lines;
}

std::string Names(const std::vector<Form>& forms) {
  std::string names;
  for (const Form& form : forms) names += Concat(form.name, ", ");
  return names + "all";
}

}  // namespace

std::string FormLines(const std::vector<Form>& forms,
                      const Arguments& arguments, const Parameter& parameter,
                      std::string_view fallback) {
  const std::string asked = arguments.Has(parameter) ? arguments.Text(parameter)
                                                     : std::string(fallback);
  if (asked == "all") return AllLines(forms);
  const auto form = std::ranges::find(forms, asked, &Form::name);
  if (form == forms.end())
    throw Failure(kWrongUsage,
                  Concat("-", parameter.name, " ", asked,
                         " is not there for this; there are ", Names(forms)));
  return Concat(form->text, "\n");
}

}  // namespace fairlead::tool
