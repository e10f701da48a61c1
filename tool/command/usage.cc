// Checks the use of parameters, and writes usage lines.

#include "tool/command/usage.h"

#include <algorithm>
#include <vector>

#include "tool/base/alternatives.h"
#include "tool/base/concat.h"
#include "tool/base/failure.h"

namespace fairlead::tool {
namespace {

using Rows = std::span<const Use>;

constexpr std::ptrdiff_t kMaxOptionalInLine = 6;

bool Opens(const Use& use) {
  return use.mark == Mark::kOpenOneOf || use.mark == Mark::kOpenOptional;
}

// Returns the rows up to the first `mark` that is in no brackets, or all.
Rows UpTo(Mark mark, Rows rows) {
  int depth = 0;
  for (std::size_t i = 0; i < rows.size(); ++i) {
    if (depth == 0 && rows[i].mark == mark) return rows.first(i);
    if (Opens(rows[i])) ++depth;
    if (rows[i].mark == Mark::kClose) --depth;
  }
  return rows;
}

// Takes the first item off: a single row, or the rows of a pair of brackets.
Rows TakeItem(Rows& rows) {
  const std::size_t size =
      Opens(rows.front()) ? UpTo(Mark::kClose, rows.subspan(1)).size() + 2 : 1;
  const Rows item = rows.first(size);
  rows = rows.subspan(size);
  return item;
}

std::vector<Rows> ItemsOf(Rows rows) {
  std::vector<Rows> items;
  while (!rows.empty()) items.push_back(TakeItem(rows));
  return items;
}

std::vector<Rows> BranchesOf(Rows item) {
  std::vector<Rows> branches;
  for (Rows rest = item.subspan(1, item.size() - 2);;) {
    branches.push_back(UpTo(Mark::kOr, rest));
    if (branches.back().size() == rest.size()) return branches;
    rest = rest.subspan(branches.back().size() + 1);
  }
}

// NOLINTBEGIN(misc-no-recursion): as deep as the brackets of a table, no
// deeper.

std::string UsageOfItem(Rows item) {
  const Use& use = item.front();
  if (use.mark == Mark::kCondition) return "";
  if (!Opens(use)) return Spelling(*use.parameter);
  std::string text;
  for (const Rows branch : BranchesOf(item))
    text += Concat(text.empty() ? "" : " | ", UsageOf(branch));
  return use.mark == Mark::kOpenOneOf ? Concat("(", text, ")")
                                      : Concat("[", text, "]");
}

bool IsOptional(Rows item) { return item.front().mark == Mark::kOpenOptional; }

// "-host NAME -port N (-text TEXT | -stdin) [-name value]..."
std::string ShortUsageOf(Rows uses) {
  std::string text;
  for (const Rows item : ItemsOf(uses))
    if (!IsOptional(item)) text += UsageOfItem(item) + " ";
  return text + "[-name value]...";
}

bool Requires(const Command& command, const Parameter* parameter) {
  return std::ranges::any_of(ItemsOf(command.action.uses),
                             [parameter](Rows item) {
                               return item.front().mark == Mark::kRequired &&
                                      item.front().parameter == parameter;
                             });
}

// "SUBCOMMAND -file FILE [-name value]...", with what all of them require.
std::string SubcommandUsageOf(const Command& command) {
  std::string text = "SUBCOMMAND ";
  for (const Parameter* const parameter : ParametersOf(command))
    if (std::ranges::all_of(command.subcommands, [parameter](const Command* c) {
          return Requires(*c, parameter);
        }))
      text += Spelling(*parameter) + " ";
  return text + "[-name value]...";
}

// What an error calls the parameter: "-port", or "COMMAND" for an operand.
std::string NameOf(const Parameter& parameter) {
  return parameter.name.empty() ? Spelling(parameter)
                                : Concat("-", parameter.name);
}

// Holds the arguments against the rows of their command's table.
class Checker {
 public:
  explicit Checker(const ParsedArguments& arguments) : arguments_(arguments) {}

  // @param given the parameter by which the rows' branch was chosen, or null
  void CheckAll(Rows rows, const Parameter* given) const {
    for (const Rows item : ItemsOf(rows))
      if (Opens(item.front()))
        CheckBranches(item, given);
      else if (item.front().mark == Mark::kRequired)
        CheckGiven(*item.front().parameter, given);
    CheckConditions(rows);
  }

  void CheckExclusions() const {
    for (const Parameter* const one : ParametersOf(arguments_.command()))
      if (arguments_.Has(*one))
        for (const Parameter* const other : one->excluded)
          if (arguments_.Has(*other)) FailForBoth(*one, *other);
  }

 private:
  void CheckGiven(const Parameter& parameter, const Parameter* given) const {
    if (!arguments_.Has(parameter)) FailForMissing(Spelling(parameter), given);
  }

  void CheckBranches(Rows item, const Parameter* chosen_by) const {
    const std::vector<Rows> branches = BranchesOf(item);
    std::vector<std::size_t> given;
    for (std::size_t i = 0; i < branches.size(); ++i)
      if (FirstGiven(branches[i]) != nullptr) given.push_back(i);
    if (given.size() > 1)
      FailForBoth(*FirstGiven(branches[given[0]]),
                  *FirstGiven(branches[given[1]]));
    if (given.size() == 1) {
      const Rows branch = branches[given[0]];
      CheckAll(branch, FirstGiven(branch));
    } else if (!IsOptional(item)) {
      CheckNoneNeeded(branches, chosen_by);
    }
  }

  // One of the branches must be given, unless one needs nothing.
  void CheckNoneNeeded(const std::vector<Rows>& branches,
                       const Parameter* chosen_by) const {
    std::vector<std::string> usages;
    for (const Rows branch : branches) {
      if (std::ranges::none_of(branch, [](const Use& use) {
            return use.mark == Mark::kRequired;
          }))
        return;
      usages.push_back(UsageOf(branch));
    }
    FailForMissing(Alternatives(usages), chosen_by);
  }

  // Conditions are those of the first parameter in their brackets.
  void CheckConditions(Rows rows) const {
    std::vector<std::string> conditions;
    for (const Rows item : ItemsOf(rows)) {
      const Use& use = item.front();
      if (use.mark != Mark::kCondition) continue;
      if (IsMet(use)) return;
      conditions.push_back(Concat(NameOf(*use.parameter),
                                  use.choice.empty() ? "" : " ", use.choice));
    }
    if (!conditions.empty())
      FailForMissing(Alternatives(conditions), rows.front().parameter);
  }

  bool IsMet(const Use& condition) const {
    return arguments_.Has(*condition.parameter) &&
           (condition.choice.empty() ||
            arguments_.Text(*condition.parameter) == condition.choice);
  }

  const Parameter* FirstGiven(Rows rows) const {
    const auto found = std::ranges::find_if(rows, [this](const Use& use) {
      return IsParameter(use) && arguments_.Has(*use.parameter);
    });
    return found == rows.end() ? nullptr : found->parameter;
  }

  [[noreturn]] void FailForBoth(const Parameter& one,
                                const Parameter& other) const {
    Fail(Concat(NameOf(one), " and ", NameOf(other), " cannot be combined"));
  }

  [[noreturn]] void FailForMissing(const std::string& needed,
                                   const Parameter* given) const {
    Fail(given == nullptr ? Concat("missing ", needed)
                          : Concat(NameOf(*given), " needs ", needed));
  }

  [[noreturn]] void Fail(const std::string& text) const {
    throw Failure(kWrongUsage, Concat(text, "; see 'fairlead help ",
                                      FullName(arguments_.command()), "'"));
  }

  const ParsedArguments& arguments_;
};

}  // namespace

std::string UsageOf(Rows uses) {
  std::string text;
  for (const Rows item : ItemsOf(uses)) {
    const std::string usage = UsageOfItem(item);
    text += Concat(text.empty() || usage.empty() ? "" : " ", usage);
  }
  return text;
}

// NOLINTEND(misc-no-recursion)

std::string UsageLine(const Command& command) {
  const std::string name = FullName(command);
  if (!command.subcommands.empty())
    return Concat(name, " ", SubcommandUsageOf(command));
  const Rows uses = command.action.uses;
  if (std::ranges::count_if(ItemsOf(uses), IsOptional) > kMaxOptionalInLine)
    return Concat(name, " ", ShortUsageOf(uses));
  const std::string usage = UsageOf(uses);
  return Concat(name, usage.empty() ? "" : " ", usage);
}

void CheckUses(const ParsedArguments& arguments) {
  const Checker checker(arguments);
  checker.CheckAll(arguments.command().action.uses, nullptr);
  checker.CheckExclusions();
}

}  // namespace fairlead::tool
