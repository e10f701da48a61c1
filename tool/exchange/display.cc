// Shows what is received.

#include "tool/exchange/display.h"

#include <utility>

#include "tool/exchange/view.h"

namespace fairlead::tool {

OutFile OutFileOf(const Arguments<kOutUses>& arguments) {
  return {.path = arguments.Text(kOut), .append = arguments.Has(kAppend)};
}

Display::Display(const Output& output, View view, OutFile file)
    : view_(view), destination_(output, std::move(file)) {}

void Display::Received(std::string_view message, const TheTime& time) {
  const Screen screen = destination_.screen();
  if (view_ == View::kRaw && !screen.terminal)
    destination_.Write(message);
  else
    destination_.Write(Rendered(message, time, view_, screen));
}

}  // namespace fairlead::tool
