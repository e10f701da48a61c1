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

// Variables that change what sh, bash and the programs that they run do.
constexpr auto kReserved = std::to_array<std::string_view>({
    "CDPATH",
    "DIRSTACK",
    "ENV",
    "EUID",
    "EXECIGNORE",
    "FIGNORE",
    "FPATH",
    "FUNCNAME",
    "FUNCNEST",
    "GCONV_PATH",
    "GLOBIGNORE",
    "GROUPS",
    "HISTFILE",
    "HOME",
    "HOSTFILE",
    "IFS",
    "IGNOREEOF",
    "INPUTRC",
    "LINENO",
    "LOCPATH",
    "MAIL",
    "MAILCHECK",
    "MAILPATH",
    "NLSPATH",
    "NULLCMD",
    "OLDPWD",
    "OPTARG",
    "OPTERR",
    "OPTIND",
    "PATH",
    "PIPESTATUS",
    "POSIXLY_CORRECT",
    "PPID",
    "PROMPT",
    "PROMPT_COMMAND",
    "PROMPT_DIRTRIM",
    "PS0",
    "PS1",
    "PS2",
    "PS3",
    "PS4",
    "PWD",
    "PERL5LIB",
    "PERL5OPT",
    "PYTHONPATH",
    "PYTHONSTARTUP",
    "RANDOM",
    "READNULLCMD",
    "REPLY",
    "SECONDS",
    "SHELL",
    "SHELLOPTS",
    "SHLVL",
    "SRANDOM",
    "TIMEFORMAT",
    "TMOUT",
    "TMPDIR",
    "UID",
});
constexpr auto kReservedPrefixes = std::to_array<std::string_view>(
    {"BASH", "COMP_", "GIT_", "LD_", "LC_", "READLINE_", "ZSH"});

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
         std::ranges::any_of(kReservedPrefixes,
                             [name](std::string_view prefix) {
                               return name.starts_with(prefix);
                             }) ||
         std::ranges::all_of(name, [](char c) { return c == '_'; });
}

}  // namespace

void Assignments::Add(std::string_view prefix, std::string_view key,
                      std::string_view value, bool replaces) {
  const std::string name = Variable(prefix, key);
  const std::string origin = Concat(prefix, "\n", key);
  const std::string spelled = Concat("key ", Quoted(key));
  if (IsReserved(name))
    throw Failure(kMalformedInput, Concat(spelled, " would set the variable ",
                                          name, ", which shells use"));
  if (value.find('\0') != std::string_view::npos)
    throw Failure(
        kMalformedInput,
        Concat(spelled, " has a zero byte, which no variable can hold"));
  const auto [place, is_new] = places_.try_emplace(name, assignments_.size());
  if (is_new) {
    assignments_.push_back({name, origin, std::string(value)});
    return;
  }
  Assignment& assignment = assignments_[place->second];
  if (assignment.origin != origin)
    throw Failure(
        kMalformedInput,
        Concat(spelled, " and another key would both set the variable ", name));
  if (replaces) assignment.value = value;
}

std::string Assignments::Lines() const {
  std::string lines;
  for (const Assignment& assignment : assignments_)
    lines += Concat(assignment.name, "=", ShellQuoted(assignment.value), "\n");
  return lines;
}

}  // namespace fairlead::tool
