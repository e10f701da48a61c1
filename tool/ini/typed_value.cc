// The values of keys as numbers, sizes and yes or no.

#include "tool/ini/typed_value.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <system_error>

namespace fairlead::tool::ini {
namespace {

std::string Lower(std::string_view text) {
  std::string lower(text);
  std::ranges::transform(lower, lower.begin(), [](char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  });
  return lower;
}

std::optional<std::string> Int(std::string_view text) {
  if (text.starts_with('+') && !text.starts_with("+-")) text.remove_prefix(1);
  std::int64_t number = 0;
  const char* const end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc() || rest != end) return std::nullopt;
  return std::to_string(number);
}

std::optional<std::string> Bool(std::string_view text) {
  constexpr std::array<std::string_view, 4> kTrue = {"1", "yes", "true", "on"};
  constexpr std::array<std::string_view, 4> kFalse = {"0", "no", "false",
                                                      "off"};
  const std::string word = Lower(text);
  if (std::ranges::find(kTrue, word) != kTrue.end()) return "true";
  if (std::ranges::find(kFalse, word) != kFalse.end()) return "false";
  return std::nullopt;
}

// Returns the exponent of the power of two that a unit means: "k" to "TiB".
std::optional<unsigned> ShiftOf(std::string_view unit) {
  std::string name = Lower(unit);
  if (name.ends_with('b')) name.pop_back();
  if (name.size() == 2 && name[1] == 'i') name.pop_back();
  if (name.empty()) return 0;
  const std::size_t place = std::string_view("kmgt").find(name);
  if (name.size() != 1 || place == std::string_view::npos) return std::nullopt;
  return 10 * static_cast<unsigned>(place + 1);
}

std::optional<std::string> Size(std::string_view text) {
  std::uint64_t number = 0;
  const char* const end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc()) return std::nullopt;
  std::string_view unit(rest, static_cast<std::size_t>(end - rest));
  while (unit.starts_with(' ')) unit.remove_prefix(1);
  const auto shift = ShiftOf(unit);
  if (!shift || (number << *shift) >> *shift != number) return std::nullopt;
  return std::to_string(number << *shift);
}

}  // namespace

std::optional<std::string> TypedValue(Type type, std::string_view value) {
  switch (type) {
    case Type::kInt:
      return Int(value);
    case Type::kBool:
      return Bool(value);
    case Type::kSize:
      return Size(value);
  }
  return std::nullopt;
}

std::string_view Spelled(Type type) {
  switch (type) {
    case Type::kInt:
      return "a whole number";
    case Type::kBool:
      return "one of 1, yes, true, on, 0, no, false, off";
    case Type::kSize:
      return "a size in bytes";
  }
  return {};
}

}  // namespace fairlead::tool::ini
