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

void Display::Connected() {
  destination_.Open();
  if (changes_) changes_->Begin();
}

void Display::Received(std::string_view message, const TheTime& time) {
  if (changes_)
    changes_->Add(message, time);
  else
    Show(message, time);
}

bool Display::EndAnswer() {
  return !changes_ ||
         changes_->End([this](std::string_view message, const TheTime& time) {
           Show(message, time);
         });
}

void Display::Show(std::string_view message, const TheTime& time) {
  const Screen screen = destination_.screen();
  if (view_ == View::kRaw && !screen.terminal)
    destination_.Write(message);
  else
    destination_.Write(Rendered(message, time, view_, screen));
}

}  // namespace fairlead::tool
