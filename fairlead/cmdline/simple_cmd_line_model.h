// A slower parser of command lines that the test and the fuzzer compare with:
// one byte or argument at a time, with a flag for every bit of state. Not
// installed.

#ifndef FAIRLEAD_CMDLINE_SIMPLE_CMD_LINE_MODEL_H_
#define FAIRLEAD_CMDLINE_SIMPLE_CMD_LINE_MODEL_H_

#include <cctype>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "fairlead/cmdline/simple_cmd_line.h"
#include "fairlead/text/strings.h"

namespace fairlead::internal {

using ParameterTable = std::map<std::string, std::string>;

inline char LowerByte(char c) {
  return static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
}

inline std::string LowerText(std::string text) {
  for (char& c : text) c = LowerByte(c);
  return text;
}

inline std::string UpperText(std::string text) {
  for (char& c : text)
    c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return text;
}

// The table of an argument vector without the program's path.
inline ParameterTable TableOfArguments(
    const std::vector<std::string>& arguments) {
  ParameterTable table;
  std::string name;
  bool waiting = false;
  for (const std::string& argument : arguments) {
    if (!argument.empty() && argument[0] == '-') {
      if (waiting) table[name] = "";
      name = LowerText(argument.substr(1));
      waiting = true;
    } else if (waiting) {
      table[name] = argument;
      waiting = false;
    } else {
      table[name].append(1, ' ').append(argument);
    }
  }
  if (waiting) table[name] = "";
  return table;
}

// Parses a whole command line; every byte is one step.
class LineScan {
 public:
  void Take(char c) {
    if (skipping_spaces_ && c == ' ') return;
    if (!in_name_ && c == '-') {
      StartName();
    } else if (c == ' ') {
      if (!bare_word_ && !in_name_)
        EndValue();
      else
        EndName();
      skipping_spaces_ = true;
    } else {
      TakeByte(c);
    }
  }

  const ParameterTable& table() const { return table_; }

 private:
  void StartName() {
    if (in_value_) table_[name_] = value_;
    name_.clear();
    in_name_ = true;
    skipping_spaces_ = in_value_ = false;
  }

  void EndValue() {
    if (!in_value_) return;
    table_[name_] = value_;
    name_.clear();
    value_.clear();
    in_name_ = bare_word_ = in_value_ = false;
  }

  void EndName() {
    in_value_ = !bare_word_;
    value_.clear();
    table_[name_] = "";
    if (bare_word_) name_.clear();
    in_name_ = false;
  }

  void TakeByte(char c) {
    if (in_value_) {
      value_ += c;
    } else {
      bare_word_ = !in_name_;
      name_ += c;
    }
    skipping_spaces_ = false;
  }

  ParameterTable table_;
  std::string name_;
  std::string value_;
  bool skipping_spaces_ = false;
  bool in_name_ = false;
  bool bare_word_ = false;
  bool in_value_ = false;
};

// The table of a whole command line.
inline ParameterTable TableOfLine(const std::string& line) {
  LineScan scan;
  if (line.empty()) return {};
  for (const char c : line) scan.Take(LowerByte(c));
  scan.Take(' ');
  return scan.table();
}

// Every substring of every text, in lower case: a table has no other names.
inline std::set<std::string> NamesWithin(
    const std::vector<std::string>& texts) {
  std::set<std::string> names = {""};
  for (const std::string& text : texts)
    for (std::size_t at = 0; at < text.size(); ++at)
      for (std::size_t size = 1; at + size <= text.size(); ++size)
        names.insert(LowerText(text.substr(at, size)));
  return names;
}

// Whether every lookup of `name` in `args` agrees with `table`.
inline bool AgreesOn(const CSimpleCmdLine& args, const ParameterTable& table,
                     const std::string& name) {
  const auto found = table.find(name);
  const bool present = found != table.end();
  const std::string value = present ? found->second : "";
  int number = 0;
  fairlead::getval<int, int>(value, number, -77);
  return args.PresentParam(name) == present && args.GetParam(name) == present &&
         args.GetStrParam(name) == (present ? value : "n//a") &&
         args.GetStrParam(name, "else") == (present ? value : "else") &&
         args.GetIntParam(name, -77) == number;
}

// The first of `names` on which `args` and `table` differ, in either case and
// in quotes; "" if they agree on all.
inline std::string FirstDifference(const CSimpleCmdLine& args,
                                   const ParameterTable& table,
                                   const std::set<std::string>& names) {
  for (const std::string& name : names)
    if (args.PresentParam(name) != table.contains(name))
      return '"' + name + '"';
  for (const auto& [name, value] : table)
    if (!AgreesOn(args, table, name) ||
        args.GetStrParam(UpperText(name)) != value)
      return '"' + name + '"';
  const std::string absent = "never given";
  return AgreesOn(args, table, absent) ? "" : '"' + absent + '"';
}

}  // namespace fairlead::internal

#endif  // FAIRLEAD_CMDLINE_SIMPLE_CMD_LINE_MODEL_H_
