#include "tool/command/arguments.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <string>

#include "fairlead/text/strings.h"
#include "tool/base/concat.h"
#include "tool/base/escapes.h"
#include "tool/base/failure.h"
#include "tool/command/nearest.h"

namespace fairlead::tool {
namespace {

constexpr auto kOn =
    std::to_array<std::string_view>({"on", "yes", "true", "1"});
constexpr auto kOff =
    std::to_array<std::string_view>({"off", "no", "false", "0"});

bool IsName(std::string_view word) { return word.starts_with('-'); }

bool IsOneOf(std::span<const std::string_view> words, std::string_view word) {
  return std::ranges::find(words, word) != words.end();
}

bool IsDigits(std::string_view text) {
  return !text.empty() &&
         text.find_first_not_of("0123456789") == std::string_view::npos;
}

std::string Range(const Parameter& parameter) {
  return Concat(parameter.least, " to ", parameter.most);
}

[[noreturn]] void Fail(const std::string& text) {
  throw Failure(kWrongUsage, text);
}

// A second '-' is forgiven: the parser would make it a part of the name.
std::vector<char*> Forgiven(std::span<char* const> words) {
  std::vector<char*> forgiven(words.begin(), words.end());
  for (char*& word : forgiven)
    if (std::string_view(word).starts_with("--")) ++word;
  return forgiven;
}

void CheckSwitch(const Parameter& parameter, std::string_view value) {
  const std::string lower = MakeLower(std::string(value));
  if (IsOneOf(kOn, lower) || IsOneOf(kOff, lower)) return;
  Fail(Concat(
      "the switch -", parameter.name, " took the word ", Quoted(value),
      ": only on, off, yes, no, true, false, 1, 0 or nothing may follow it"));
}

void CheckNumber(const Parameter& parameter, std::string_view value) {
  const std::string name = Concat("-", parameter.name, " ");
  if (!IsDigits(value.substr(value.starts_with('-') ? 1 : 0)))
    Fail(Concat(name, Quoted(value), " is not a whole number; it may be ",
                Range(parameter)));

  int number = 0;
  if (!getval<int>(value, number) || number < parameter.least ||
      number > parameter.most)
    Fail(Concat(name, Shown(value), " is outside ", Range(parameter)));
}

void CheckChoice(const Parameter& parameter, std::string_view value) {
  const std::vector<std::string_view> choices = Choices(parameter);
  if (IsOneOf(choices, value)) return;
  const std::string shown =
      parameter.name.empty() ? "" : Concat("-", parameter.name, " ");
  if (!parameter.verbs.empty())
    Fail(Concat(shown, Quoted(value), " is no word for this ",
                parameter.name.empty() ? "command" : "parameter",
                Suggestion("; the nearest is ", value, choices)));
  Fail(Concat(shown, Quoted(value), " is none of ", parameter.word));
}

// What to do about a value that begins with '-'.
std::string Remedy(const Parameter& parameter) {
  if (parameter.kind == Kind::kFile) return "; write ./ before it";
  if (parameter.help.find("\\xHH") != std::string_view::npos)
    return "; write \\x2d for that";
  if (parameter.help.find("lets it begin") != std::string_view::npos)
    return "; write a blank before it";
  if (parameter.help.find("-back") != std::string_view::npos)
    return "; give -back the number without it";
  if (parameter.name == "aes" || parameter.name == "rc4")
    return "; give such a key by -cipher with -keyfile or -keyenv";
  return "";
}

}  // namespace

Arguments::Arguments(const Command& command, std::span<char* const> words)
    : command_(command),
      words_(Forgiven(words)),
      parser_(static_cast<int>(words_.size()), words_.data()) {
  Check();
}

void Arguments::Check() const {
  for (std::size_t i = 1; i < words_.size(); ++i) {
    const std::string_view word = words_[i];
    if (!IsName(word)) {
      CheckBareWord(i);
      continue;
    }
    const Parameter& parameter = Known(word.substr(1));
    if (i + 1 < words_.size() && !IsName(words_[i + 1]))
      CheckValue(parameter, words_[++i]);
    else if (parameter.kind != Kind::kSwitch)
      FailForMissingValue(parameter, i);
  }
}

void Arguments::CheckBareWord(std::size_t at) const {
  const std::string_view word = words_[at];
  if (command_.operand != nullptr && at == 1)
    return CheckValue(*command_.operand, word);

  if (at == 1)
    Fail(Concat(Quoted(word), " stands alone: a value follows its -name"));
  // Words behind a key may be the rest of it, which nobody shall read here.
  const std::string before = MakeLower(words_[at - 2]);
  if (before == "-aes" || before == "-rc4")
    Fail(Concat("there is a word too many behind the key of ", before,
                ": put quotation marks around a key that holds blanks"));
  Fail(Concat(Quoted(word), " is one word too many after ",
              Quoted(words_[at - 1]),
              command_.operand != nullptr && at == 2
                  ? ""
                  : ": put quotation marks around a value that holds blanks"));
}

void Arguments::CheckValue(const Parameter& parameter, std::string_view value) {
  switch (parameter.kind) {
    case Kind::kSwitch:
      return CheckSwitch(parameter, value);
    case Kind::kNumber:
      return CheckNumber(parameter, value);
    case Kind::kChoice:
      return CheckChoice(parameter, value);
    case Kind::kWord:
    case Kind::kFile:
      if (value.empty())
        Fail(Concat(Spelling(parameter), " must not be empty"));
      return;
    case Kind::kText:
      return;
  }
}

const Parameter& Arguments::Known(std::string_view name) const {
  const std::string lower = MakeLower(std::string(name));
  if (lower.empty())
    Fail(Concat("a lone '-' names nothing; 'fairlead help ", command_.name,
                "' lists the parameters"));
  if (const Parameter* const known = FindParameter(command_, lower))
    return *known;

  std::vector<std::string_view> names;
  for (const Parameter& parameter : command_.parameters)
    names.push_back(parameter.name);
  // What follows a '=' may be a key.
  const std::size_t sign = name.find('=');
  Fail(Concat("-", Shown(name.substr(0, sign)),
              sign == std::string_view::npos ? "" : "=...", " is unknown",
              Suggestion("; the nearest is -", lower, names),
              " ('fairlead help ", command_.name, "' lists all)"));
}

void Arguments::FailForMissingValue(const Parameter& parameter,
                                    std::size_t at) const {
  if (at + 1 == words_.size() ||
      FindParameter(command_, MakeLower(words_[at + 1] + 1)) != nullptr)
    Fail(Concat(Spelling(parameter), ": the value is missing"));
  if (parameter.kind == Kind::kNumber && Remedy(parameter).empty())
    CheckNumber(parameter, words_[at + 1]);
  Fail(Concat(Spelling(parameter), ": the value cannot begin with '-'",
              Remedy(parameter)));
}

// A parameter that is not in the command's table is a mistake of this program.
std::string Arguments::NameInParser(const Parameter& parameter) const {
  const bool known = parameter.name.empty()
                         ? command_.operand == &parameter
                         : FindParameter(command_, parameter.name) != nullptr;
  if (!known) std::abort();
  return std::string(parameter.name);
}

bool Arguments::Has(const Parameter& parameter) const {
  const std::string name = NameInParser(parameter);
  if (!parser_.PresentParam(name)) return false;
  return parameter.kind != Kind::kSwitch ||
         !IsOneOf(kOff, MakeLower(parser_.GetStrParam(name)));
}

// The parser puts a blank before a bare word.
std::string Arguments::Text(const Parameter& parameter) const {
  const std::string name = NameInParser(parameter);
  const std::string text =
      parser_.GetStrParam(name, std::string(parameter.fallback));
  return parameter.name.empty() ? TrimStr(text, " ", 1) : text;
}

int Arguments::Number(const Parameter& parameter) const {
  int fallback = 0;
  getval<int>(parameter.fallback, fallback);
  return parser_.GetIntParam(NameInParser(parameter), fallback);
}

}  // namespace fairlead::tool
