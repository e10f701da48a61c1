#include "tool/command/usage.h"

#include <algorithm>
#include <cstdlib>
#include <string>
#include <vector>

#include "tool/base/concat.h"
#include "tool/base/failure.h"

namespace fairlead::tool {
namespace {

constexpr int kNeeded = -1;
constexpr int kOptional = 0;

// A parameter in a usage; where it is one of several alternatives, these share
// a place above 0.
struct Mention {
  std::string_view name;
  int place;
};

std::vector<Mention> MentionsIn(std::string_view usage) {
  std::vector<Mention> mentions;
  int place = kNeeded;
  int groups = 0;
  for (std::size_t at = 0; at < usage.size(); ++at) {
    if (usage[at] == '[') place = kOptional;
    if (usage[at] == '(') place = ++groups;
    if (usage[at] == ']' || usage[at] == ')') place = kNeeded;
    if (usage[at] != '-') continue;
    const std::size_t end =
        std::min(usage.find_first_of(" ])", at), usage.size());
    mentions.push_back({usage.substr(at + 1, end - at - 1), place});
    at = end - 1;
  }
  return mentions;
}

class Usage {
 public:
  Usage(const Arguments& arguments, std::string_view word,
        std::string_view usage)
      : arguments_(arguments),
        word_(word),
        usage_(usage),
        mentions_(MentionsIn(usage)) {}

  void Check() const {
    for (const Parameter& parameter : arguments_.command().parameters)
      if (arguments_.Has(parameter) && !IsMentioned(parameter))
        Fail(Concat("-", parameter.name, " does not go with '", word_, "'"));
    for (const Mention& mention : mentions_) {
      if (mention.place == kNeeded && !IsGiven(mention))
        Fail(Concat(SpellingOf(mention), " is missing"));
      if (mention.place > kOptional) CheckAlternatives(mention.place);
    }
  }

 private:
  // One that is not in the command's table is a mistake of this program.
  const Parameter& ParameterOf(const Mention& mention) const {
    const Parameter* const parameter =
        FindParameter(arguments_.command(), mention.name);
    if (parameter == nullptr) std::abort();
    return *parameter;
  }

  std::string SpellingOf(const Mention& mention) const {
    return Spelling(ParameterOf(mention));
  }

  bool IsGiven(const Mention& mention) const {
    return arguments_.Has(ParameterOf(mention));
  }

  bool IsMentioned(const Parameter& parameter) const {
    return std::ranges::find(mentions_, parameter.name, &Mention::name) !=
           mentions_.end();
  }

  void CheckAlternatives(int place) const {
    std::string all;
    std::vector<std::string_view> given;
    for (const Mention& mention : mentions_) {
      if (mention.place != place) continue;
      all += Concat(all.empty() ? "" : ", ", SpellingOf(mention));
      if (IsGiven(mention)) given.push_back(mention.name);
    }
    if (given.empty()) Fail(Concat("one of ", all, " is missing"));
    if (given.size() > 1)
      Fail(Concat("-", given[0], " and -", given[1], " exclude each other"));
  }

  [[noreturn]] void Fail(const std::string& text) const {
    throw Failure(kWrongUsage, Concat(text, ": ", word_, " ", usage_));
  }

  const Arguments& arguments_;
  const std::string_view word_;
  const std::string_view usage_;
  const std::vector<Mention> mentions_;
};

}  // namespace

void CheckUsage(const Arguments& arguments, std::string_view word,
                std::string_view usage) {
  Usage(arguments, word, usage).Check();
}

ExitStatus RunVerb(const Arguments& arguments, const Output& output,
                   std::string_view shared) {
  const Parameter& operand = *arguments.command().operand;
  if (!arguments.Has(operand))
    throw Failure(kWrongUsage,
                  Concat("what is to be done? 'fairlead help ",
                         arguments.command().name, "' lists the words"));

  const std::string word = arguments.Text(operand);
  const Verb& verb = *std::ranges::find(operand.verbs, word, &Verb::name);
  CheckUsage(arguments, word, Concat(shared, verb.usage));
  return verb.run(arguments, output);
}

}  // namespace fairlead::tool
