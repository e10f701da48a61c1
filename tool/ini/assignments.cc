// Keys as assignments that a shell can evaluate.

#include "tool/ini/assignments.h"

#include <algorithm>
#include <array>

#include "tool/base/concat.h"
#include "tool/base/escapes.h"
#include "tool/base/failure.h"
#include "tool/ini/listing.h"

namespace fairlead::tool {
namespace {

// Variables that change what a shell does, apart from those that begin with
// "LD_", "BASH" or "ZSH".
constexpr std::array<std::string_view, 18> kReserved = {
    "PATH", "IFS",  "ENV",  "CDPATH",         "HOME",   "SHELL",
    "PS1",  "PS2",  "PS4",  "PROMPT_COMMAND", "OPTIND", "SHELLOPTS",
    "UID",  "EUID", "PPID", "GCONV_PATH",     "FPATH",  "fpath",
};

bool IsLetterOrDigit(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
         (c >= '0' && c <= '9');
}

std::string Variable(std::string_view prefix, std::string_view key) {
  std::string name =
      prefix.empty() ? std::string(key) : Concat(prefix, "_", key);
  std::ranges::replace_if(
      name, [](char c) { return !IsLetterOrDigit(c); }, '_');
  const bool begins_with_digit = name[0] >= '0' && name[0] <= '9';
  return begins_with_digit ? Concat("_", name) : name;
}

bool IsReserved(std::string_view name) {
  return std::ranges::find(kReserved, name) != kReserved.end() ||
         name.starts_with("LD_") || name.starts_with("BASH") ||
         name.starts_with("ZSH") ||
         std::ranges::all_of(name, [](char c) { return c == '_'; });
}

}  // namespace

std::string Assignments::Line(std::string_view prefix, std::string_view key,
                              std::string_view value) {
  const std::string name = Variable(prefix, key);
  const std::string origin = Concat(prefix, "\n", key);
  const std::string spelled = Concat("key ", Quoted(key));
  if (IsReserved(name))
    throw Failure(kMalformedInput, Concat(spelled, " would set the variable ",
                                          name, ", which shells use"));
  const auto [entry, is_new] = keys_.try_emplace(name, origin);
  if (!is_new && entry->second != origin)
    throw Failure(
        kMalformedInput,
        Concat(spelled, " and another key would both set the variable ", name));
  if (value.find('\0') != std::string_view::npos)
    throw Failure(kMalformedInput,
                  Concat(spelled,
                         " has a zero byte, which no variable can "
                         "hold"));
  return Concat(name, "=", ShellQuoted(value), "\n");
}

}  // namespace fairlead::tool
