// A command's arguments: checked against its table, then read through it.

#ifndef FAIRLEAD_TOOL_COMMAND_ARGUMENTS_H_
#define FAIRLEAD_TOOL_COMMAND_ARGUMENTS_H_

#include <chrono>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "fairlead/cmdline/simple_cmd_line.h"
#include "tool/command/duration.h"
#include "tool/command/uses.h"

namespace fairlead::tool {

struct Command;

/// The arguments given to a command, each value accepted by its parameter.
///
/// The values come from CSimpleCmdLine. It accepts everything and cannot list
/// what was given, so the arguments are checked first: a wrong one is reported
/// instead of being lost. Leading arguments without a '-' are the operands.
class ParsedArguments {
 public:
  /// @param arguments the last part of the command's name and what follows it;
  ///     they outlive the object
  /// @throws Failure with kWrongUsage for a name that the command does not know
  ///     and for a value that its parameter does not accept
  ParsedArguments(const Command& command, std::span<char* const> arguments);

  const Command& command() const { return command_; }

  /// Returns whether the parameter was given; for a switch, whether it is on.
  /// A parameter that the command does not take never is.
  bool Has(const Parameter& parameter) const;

  /// Returns the value given, or else the default.
  std::string Text(const Parameter& parameter) const;

 private:
  void Check();
  void CheckGiven(const Parameter& parameter, std::string_view value) const;
  bool FollowsOperands(std::size_t at) const;
  void TakeOperand(std::size_t at);
  [[noreturn]] void FailForUnexpected(std::size_t at) const;
  const Parameter& Known(std::string_view name) const;
  [[noreturn]] void FailForName(std::string_view name) const;
  [[noreturn]] void FailForMissingValue(const Parameter& parameter,
                                        std::size_t at) const;
  std::size_t PlaceOf(const Parameter& operand) const;

  const Command& command_;
  std::vector<const Parameter*> operands_;  // That the command takes.
  std::vector<std::string> operands_given_;
  std::vector<char*> arguments_;  // With one leading '-' where two were given.
  CSimpleCmdLine parser_;
};

/// Returns the number in a text that CheckValue() accepts; 0 for an empty one
/// and for a parameter's word for no limit.
std::uint64_t NumberIn(std::string_view text);

/// Returns the integer in a text that CheckValue() accepts; 0 for an empty one.
std::int64_t IntegerIn(std::string_view text);

/// A call of it in a constant expression is the error that a user of Arguments
/// sees: the table does not list the parameter that is asked for.
void ParameterIsNotListed();

/// Likewise: the parameter's choices are not of the enumeration that is asked
/// for, or its default is none of them.
void ChoicesDoNotMatch();

/// Likewise: the parameter's kind is not the one that is asked for.
void KindDoesNotMatch();

/// The arguments of a command as one table lists them.
///
/// Asking for a parameter that the table does not list does not compile. A view
/// through a table converts to one through any smaller table, so shared code
/// lists what it reads in its own table.
template <const auto& kTable>
class Arguments {
 public:
  /// A parameter of the table.
  class Listed {
   public:
    // NOLINTNEXTLINE(google-explicit-constructor): callers name the parameter.
    consteval Listed(const Parameter& parameter) : parameter_(&parameter) {
      if (!Lists(kTable, parameter)) ParameterIsNotListed();
    }
    const Parameter& operator*() const { return *parameter_; }
    const Parameter* operator->() const { return parameter_; }

   private:
    const Parameter* parameter_;
  };

  /// A parameter of the table whose choices are values of the enumeration.
  template <typename Enumeration>
  class ListedChoice : public Listed {
   public:
    // NOLINTNEXTLINE(google-explicit-constructor): callers name the parameter.
    consteval ListedChoice(const Parameter& parameter) : Listed(parameter) {
      if (!Offers<Enumeration>(parameter)) ChoicesDoNotMatch();
    }
  };

  /// A parameter of the table and of that kind.
  template <Kind kKind>
  class ListedKind : public Listed {
   public:
    // NOLINTNEXTLINE(google-explicit-constructor): callers name the parameter.
    consteval ListedKind(const Parameter& parameter) : Listed(parameter) {
      if (parameter.kind != kKind) KindDoesNotMatch();
    }
  };
  using ListedNumber = ListedKind<Kind::kNumber>;
  using ListedInteger = ListedKind<Kind::kInteger>;
  using ListedDuration = ListedKind<Kind::kDuration>;

  explicit Arguments(const ParsedArguments& parsed) : parsed_(&parsed) {}

  template <const auto& kLarger>
  requires(Includes(kLarger, kTable))
      // NOLINTNEXTLINE(google-explicit-constructor): it reads less, nothing
      // else.
      Arguments(const Arguments<kLarger>& larger)
      : parsed_(&larger.parsed()) {}

  /// Returns whether the parameter was given; for a switch, whether it is on.
  bool Has(Listed parameter) const { return parsed_->Has(*parameter); }

  /// Returns the value given, or else the default.
  std::string Text(Listed parameter) const { return parsed_->Text(*parameter); }

  /// Returns the choice given, or else the default.
  ///
  /// @throws Failure with kWrongUsage if there is neither
  template <typename Enumeration>
  Enumeration Chosen(ListedChoice<Enumeration> parameter) const {
    return ValueNamed<Enumeration>(*parameter, Text(parameter));
  }

  /// Returns the number given, or else the default, or else 0; 0 also for the
  /// word for no limit. For a range that an `int` holds.
  int Number(ListedNumber parameter) const {
    return static_cast<int>(WideNumber(parameter));
  }

  std::uint64_t WideNumber(ListedNumber parameter) const {
    return NumberIn(parsed_->Text(*parameter));
  }

  /// Returns the integer given, or else the default, or else 0.
  std::int64_t Integer(ListedInteger parameter) const {
    return IntegerIn(parsed_->Text(*parameter));
  }

  /// Returns the duration given, or else the default; nothing for no limit.
  std::optional<std::chrono::milliseconds> Duration(
      ListedDuration parameter) const {
    return DurationIn(parsed_->Text(*parameter));
  }

  const ParsedArguments& parsed() const { return *parsed_; }

 private:
  const ParsedArguments* parsed_;
};

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_COMMAND_ARGUMENTS_H_
