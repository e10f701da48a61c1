#include "tool/command/whole_number.h"

#include <charconv>
#include <string>
#include <system_error>

#include "tool/base/concat.h"
#include "tool/base/escapes.h"
#include "tool/base/failure.h"

namespace fairlead::tool {

std::uint64_t WholeNumber(const Arguments& arguments,
                          const Parameter& parameter, std::uint64_t most) {
  const std::string text = arguments.Text(parameter);
  const std::string name = Concat("-", parameter.name, " ");
  const std::string range = Concat("0 to ", std::to_string(most));
  if (text.empty() || text.find_first_not_of("0123456789") != std::string::npos)
    throw Failure(kWrongUsage,
                  Concat(name, Quoted(text),
                         " is not a whole number; it may be ", range));

  std::uint64_t number = 0;
  const std::errc error =
      std::from_chars(text.data(), text.data() + text.size(), number).ec;
  if (error != std::errc() || number > most)
    throw Failure(kWrongUsage,
                  Concat(name, Shown(text), " is outside ", range));
  return number;
}

}  // namespace fairlead::tool
