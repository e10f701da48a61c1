// The two ways of parsing a command line, and lookups in the result.

#include "fairlead/cmdline/simple_cmd_line.h"

#include <algorithm>
#include <span>
#include <utility>

#include "fairlead/text/strings.h"

namespace fairlead {
namespace {

// The bytes of all arguments, and one more for each.
std::size_t TotalSize(std::span<const char* const> arguments) {
  std::size_t size = 0;
  for (const std::string_view argument : arguments) size += argument.size() + 1;
  return size;
}

// Removes the first word and the spaces before it from `text`.
std::string_view NextWord(std::string_view& text) {
  text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
  const std::string_view word = text.substr(0, text.find(' '));
  text.remove_prefix(word.size());
  return word;
}

}  // namespace

// The arguments are stored one after the other, with a space before each, so
// that a value of several arguments is one contiguous view.
CSimpleCmdLine::CSimpleCmdLine(int argc, const char* const* argv) {
  if (argc < 2) return;
  const std::span arguments(argv + 1, static_cast<std::size_t>(argc) - 1);
  bytes_.reserve(TotalSize(arguments));
  table_.reserve(arguments.size());

  bool waiting = false;  // The last name has no value yet.
  for (const std::string_view argument : arguments) {
    const std::string_view space = Keep(" ");
    if (argument.starts_with('-')) {
      Add(Keep(ToLower(argument)).substr(1));
      waiting = true;
      continue;
    }
    if (table_.empty()) Add(space.substr(0, 0));
    const std::string_view word = Keep(argument);
    std::string_view& value = table_.back().value;
    value = waiting ? word : std::string_view(value.begin(), word.end());
    waiting = false;
  }
  SortTable();
}

CSimpleCmdLine::CSimpleCmdLine(std::string line)
    : line_(std::move(line)), bytes_(ToLower(line_)) {
  bool waiting = false;  // The last name takes the next word as its value.
  bool bare = false;     // A bare word came after the last non-empty name, so
                         // an empty name takes no value.
  std::string_view rest = bytes_;
  for (std::string_view word = NextWord(rest); !word.empty();
       word = NextWord(rest)) {
    const std::size_t dash = word.find('-');
    const std::string_view head = word.substr(0, dash);
    if (waiting) table_.back().value = head;
    if (!waiting && !head.empty()) bare = true;

    if (dash == std::string_view::npos) {
      if (!waiting) Add(word);
      waiting = false;
    } else {
      const std::string_view name = word.substr(dash + 1);
      Add(name);
      bare = bare && name.empty();
      waiting = !bare;
    }
  }
  SortTable();
}

std::string CSimpleCmdLine::GetExe(std::string_view path) {
  return std::string(path.substr(path.rfind('\\') + 1));
}

std::string CSimpleCmdLine::ToLower(std::string_view text) {
  return MakeLower(text);
}

bool CSimpleCmdLine::PresentParam(std::string_view name) const {
  return Find(name) != nullptr;
}

bool CSimpleCmdLine::GetParam(std::string_view name) const {
  return PresentParam(name);
}

std::string CSimpleCmdLine::GetStrParam(std::string_view name) const {
  return GetStrParam(name, "n//a");
}

std::string CSimpleCmdLine::GetStrParam(std::string_view name,
                                        std::string_view fallback) const {
  const Parameter* const found = Find(name);
  return std::string(found != nullptr ? found->value : fallback);
}

int CSimpleCmdLine::GetIntParam(std::string_view name, int fallback) const {
  const Parameter* const found = Find(name);
  if (found == nullptr) return fallback;
  int number = 0;
  getval(found->value, number, fallback);
  return number;
}

bool CSimpleCmdLine::getval(std::string_view text, int& target) {
  return fairlead::getval<int>(text, target);
}

void CSimpleCmdLine::getval(std::string_view text, int& target, int fallback) {
  fairlead::getval<int, int>(text, target, fallback);
}

std::string_view CSimpleCmdLine::Keep(std::string_view text) {
  bytes_ += text;
  return std::string_view(bytes_).substr(bytes_.size() - text.size());
}

// The value is empty and begins right after the name, where it can grow.
void CSimpleCmdLine::Add(std::string_view name) {
  table_.push_back({.name = name, .value = name.substr(name.size())});
}

// Of parameters with one name, the last one wins: names are stored in the order
// given, so the one with the highest address.
void CSimpleCmdLine::SortTable() {
  std::ranges::sort(table_, [](const Parameter& a, const Parameter& b) {
    const int order = a.name.compare(b.name);
    return order != 0 ? order < 0 : a.name.data() < b.name.data();
  });
  const auto same_name = [](const Parameter& a, const Parameter& b) {
    return a.name == b.name;
  };
  const auto first =
      std::unique(table_.rbegin(), table_.rend(), same_name).base();
  table_.erase(table_.begin(), first);
}

const CSimpleCmdLine::Parameter* CSimpleCmdLine::Find(
    std::string_view name) const {
  const std::string key = ToLower(name);
  const auto found =
      std::ranges::lower_bound(table_, key, {}, &Parameter::name);
  return found != table_.end() && found->name == key ? &*found : nullptr;
}

}  // namespace fairlead
