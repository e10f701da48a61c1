// Which parameters a command takes, and which of them go together.

#ifndef FAIRLEAD_TOOL_COMMAND_USES_H_
#define FAIRLEAD_TOOL_COMMAND_USES_H_

#include <algorithm>
#include <array>
#include <cstddef>
#include <initializer_list>
#include <span>
#include <string_view>

#include "tool/command/parameter.h"

namespace fairlead::tool {

/// The meaning of one row of a table of uses.
enum class Mark {
  kRequired,   ///< The parameter must be given, if its branch is.
  kExpected,   ///< Shown as required; the command itself checks it.
  kCondition,  ///< The parameter above needs this one: one of its conditions.
  kOpenOneOf,  ///< Of the branches up to the end, exactly one is given.
  kOpenOptional,  ///< Of the branches up to the end, at most one is given.
  kOr,            ///< The next branch begins.
  kClose,         ///< The branches end.
};

/// One row of a table of uses. A table is made by Uses(); from it come the
/// usage line, the help, the man page, the completions and the checks.
struct Use {
  Mark mark = Mark::kClose;
  const Parameter* parameter = nullptr;  ///< Of the first three marks.
  std::string_view choice = {};  ///< Of a condition; empty for any value.
};

template <std::size_t kSize>
using UseRows = std::array<Use, kSize>;

constexpr UseRows<1> RowsOf(const Parameter& parameter) {
  return {Use{Mark::kRequired, &parameter}};
}

template <std::size_t kSize>
constexpr const UseRows<kSize>& RowsOf(const UseRows<kSize>& rows) {
  return rows;
}

template <std::size_t... kSizes>
constexpr auto JoinedRows(const UseRows<kSizes>&... parts) {
  UseRows<(0 + ... + kSizes)> all{};
  auto end = all.begin();
  for (const std::span<const Use> part :
       std::initializer_list<std::span<const Use>>{parts...})
    end = std::ranges::copy(part, end).out;
  return all;
}

/// Returns the parameters, or what the functions below return, in a row. A
/// parameter alone is required.
template <typename... Items>
constexpr auto Uses(const Items&... items) {
  return JoinedRows(RowsOf(items)...);
}

/// Returns one branch that holds several parameters.
template <typename... Items>
constexpr auto All(const Items&... items) {
  return Uses(items...);
}

constexpr UseRows<1> MarkRow(Mark mark) { return {Use{mark}}; }

template <typename First, typename... Others>
constexpr auto Branches(Mark mark, const First& first,
                        const Others&... others) {
  return JoinedRows(MarkRow(mark), RowsOf(first),
                    JoinedRows(MarkRow(Mark::kOr), RowsOf(others))...,
                    MarkRow(Mark::kClose));
}

/// Exactly one of the branches must be given.
template <typename... Items>
constexpr auto OneOf(const Items&... branches) {
  return Branches(Mark::kOpenOneOf, branches...);
}

/// At most one of the branches may be given.
template <typename... Items>
constexpr auto AtMostOne(const Items&... branches) {
  return Branches(Mark::kOpenOptional, branches...);
}

/// The items may be left out. With one of them, each that is not itself
/// optional must be given.
template <typename... Items>
constexpr auto Optional(const Items&... items) {
  return Branches(Mark::kOpenOptional, All(items...));
}

/// The usage line shows the parameter as required. The command itself checks
/// it, because the value may come from elsewhere.
constexpr UseRows<1> Expected(const Parameter& parameter) {
  return {Use{Mark::kExpected, &parameter}};
}

/// A condition of OnlyWith(): the parameter is given.
constexpr UseRows<1> When(const Parameter& parameter) {
  return {Use{Mark::kCondition, &parameter}};
}

/// A condition of OnlyWith(): the parameter is given, with this choice.
template <typename Enumeration>
constexpr UseRows<1> When(const Parameter& parameter, Enumeration choice) {
  return {Use{Mark::kCondition, &parameter, ChoiceName(parameter, choice)}};
}

/// The parameter may be left out, and goes only with one of the conditions.
template <typename... Conditions>
constexpr auto OnlyWith(const Parameter& parameter,
                        const Conditions&... conditions) {
  return Optional(parameter, conditions...);
}

/// Returns whether the row names a parameter that the command takes.
constexpr bool IsParameter(const Use& use) {
  return use.mark == Mark::kRequired || use.mark == Mark::kExpected;
}

/// Returns whether the table lists the parameter.
constexpr bool Lists(std::span<const Use> uses, const Parameter& parameter) {
  return std::ranges::any_of(uses, [&parameter](const Use& use) {
    return IsParameter(use) && use.parameter == &parameter;
  });
}

/// Returns whether the table lists every parameter of the smaller one.
constexpr bool Includes(std::span<const Use> uses,
                        std::span<const Use> smaller) {
  return std::ranges::all_of(smaller, [uses](const Use& use) {
    return !IsParameter(use) || Lists(uses, *use.parameter);
  });
}

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_COMMAND_USES_H_
