// Reads the statements of a script.

#include "tool/exchange/dialogue_script.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <utility>
#include <variant>

#include "tool/base/concat.h"
#include "tool/base/escapes.h"
#include "tool/base/failure.h"
#include "tool/command/duration.h"
#include "tool/traffic/parameters.h"

namespace fairlead::tool {
namespace {

constexpr bool IsSpace(char c) { return c == ' ' || c == '\t'; }

std::string_view TakeLine(std::string_view& text) {
  std::string_view line = text.substr(0, text.find('\n'));
  text.remove_prefix(std::min(line.size() + 1, text.size()));
  if (line.ends_with('\r')) line.remove_suffix(1);
  return line;
}

void SkipSpaces(std::string_view& text) {
  text.remove_prefix(static_cast<std::size_t>(
      std::ranges::find_if_not(text, IsSpace) - text.begin()));
}

// Returns what `convert` makes of an operand. It names a parameter, "-text: ",
// in its error; a script has none.
std::string Converted(std::string (*convert)(std::string_view,
                                             std::string_view),
                      std::string_view operand) {
  try {
    return convert(operand, "");
  } catch (const Failure& failure) {
    constexpr std::string_view kNoName = "-: ";
    throw Failure(kMalformedInput, failure.what() + kNoName.size());
  }
}

std::chrono::milliseconds PauseOf(std::string_view operand) {
  const auto read = ReadDuration(operand);
  const auto* const pause = std::get_if<std::chrono::milliseconds>(&read);
  if (pause == nullptr ||
      pause->count() > static_cast<std::int64_t>(kTimeRange.most))
    throw Failure(kMalformedInput, Concat(Quoted(operand),
                                          " is not a time such as 2, 0.5 or "
                                          "500ms, of at most 365d"));
  return *pause;
}

// Reads the lines of a script, one by one.
class ScriptReader {
 public:
  explicit ScriptReader(std::string_view line_end) : line_end_(line_end) {}

  // @throws Failure with kMalformedInput, without the place
  void Take(std::string_view line, std::size_t number) {
    SkipSpaces(line);
    if (line.empty() || line[0] == '#') return;
    const std::string_view name(line.begin(),
                                std::ranges::find_if(line, IsSpace));
    line.remove_prefix(std::min(name.size() + 1, line.size()));
    const Form& form = FormOf(name);
    if (line.empty() && form.needs_operand)
      throw Failure(kMalformedInput,
                    Concat("expected ", form.name, " ", form.operand));
    number_ = number;
    (this->*form.read)(line);
  }

  DialogueScript script() && { return std::move(script_); }

 private:
  struct Form {
    std::string_view name;
    std::string_view operand;
    bool needs_operand;
    void (ScriptReader::*read)(std::string_view operand);
  };
  static const std::array<Form, 6> kForms;

  static const Form& FormOf(std::string_view name) {
    const auto* const form = std::ranges::find(kForms, name, &Form::name);
    if (form != kForms.end()) return *form;
    std::string known;
    for (const Form& each : kForms)
      known.append(known.empty() ? "" : ", ").append(each.name);
    throw Failure(kMalformedInput,
                  Concat(Quoted(name), " is no statement; expected ", known));
  }

  void Add(Statement statement) {
    statement.line = number_;
    script_.push_back(std::move(statement));
  }

  void ReadSend(std::string_view text) {
    Add({.text = Concat(Converted(Unescaped, text), line_end_)});
  }
  void ReadSendHex(std::string_view digits) {
    Add({.text = Converted(FromHex, digits)});
  }
  void ReadExpect(std::string_view prefix) {
    Add({.kind = Statement::Kind::kExpectPrefix,
         .text = Converted(Unescaped, prefix)});
  }
  void ReadUntil(std::string_view text) {
    Add({.kind = Statement::Kind::kSkipUntil,
         .text = Converted(Unescaped, text)});
  }
  void ReadWait(std::string_view time) {
    Add({.kind = Statement::Kind::kWait, .pause = PauseOf(time)});
  }
  void ReadEol(std::string_view name) {
    if (!HasChoice(kEol, name))
      throw Failure(kMalformedInput,
                    Concat(Quoted(name), " is not one of ", Placeholder(kEol)));
    line_end_ = BytesOf(ValueNamed<LineEnd>(kEol, name));
  }

  std::string_view line_end_;
  std::size_t number_ = 0;  // Of the line.
  DialogueScript script_;
};

constexpr std::array<ScriptReader::Form, 6> ScriptReader::kForms = {{
    {"send", "TEXT", false, &ScriptReader::ReadSend},
    {"sendhex", "DIGITS", true, &ScriptReader::ReadSendHex},
    {"expect", "PREFIX", true, &ScriptReader::ReadExpect},
    {"until", "TEXT", true, &ScriptReader::ReadUntil},
    {"wait", "TIME", true, &ScriptReader::ReadWait},
    {"eol", "none|lf|crlf", true, &ScriptReader::ReadEol},
}};

}  // namespace

std::string StatementPlace(std::string_view script,
                           const Statement& statement) {
  return Concat(Visible(script), ":", statement.line);
}

DialogueScript ParseDialogue(std::string_view text, std::string_view name,
                             std::string_view line_end) {
  ScriptReader reader(line_end);
  for (std::size_t number = 1; !text.empty(); ++number) {
    const std::string_view line = TakeLine(text);
    try {
      reader.Take(line, number);
    } catch (const Failure& failure) {
      throw Failure(failure.status(),
                    Concat(Visible(name), ":", number, ": ", failure.what()));
    }
  }
  DialogueScript script = std::move(reader).script();
  if (script.empty())
    throw Failure(kMalformedInput, Concat(Visible(name),
                                          " has no statement; expected send, "
                                          "expect, until or wait"));
  return script;
}

}  // namespace fairlead::tool
