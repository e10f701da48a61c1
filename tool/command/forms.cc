// Prints a result in the form chosen with -form.

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

// "clock, seconds or all"
std::string Names(const std::vector<Form>& forms) {
  std::string names;
  for (const Form& form : forms)
    names += Concat(names.empty() ? "" : ", ", form.name);
  return Concat(names, " or ", kAllForms);
}

}  // namespace

std::string FormLines(const std::vector<Form>& forms,
                      const Parameter& parameter, std::string_view asked) {
  if (asked == kAllForms) return AllLines(forms);
  const auto form = std::ranges::find(forms, asked, &Form::name);
  if (form == forms.end())
    throw Failure(kWrongUsage,
                  Concat("-", parameter.name, " ", asked,
                         " is not available here; choose ", Names(forms)));
  return Concat(form->text, "\n");
}

}  // namespace fairlead::tool
