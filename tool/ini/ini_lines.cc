// Finds the lines of an INI file that the store cannot keep.

#include "tool/ini/ini_lines.h"

#include <algorithm>

#include "tool/base/concat.h"
#include "tool/base/escapes.h"
#include "tool/base/failure.h"
#include "tool/ini/ini_names.h"

namespace fairlead::tool::ini {

Lines::Lines(std::string_view text) {
  while (!text.empty()) {
    ++line_;
    const std::string_view line = text.substr(0, text.find('\n'));
    Check(Trimmed(line));
    text.remove_prefix(std::min(line.size() + 1, text.size()));
  }
}

void Lines::Check(std::string_view line) {
  if (line.empty()) return;
  if (line[0] == '#' || line[0] == ';') {
    if (line.find_first_of("[=") == std::string_view::npos) return;
    line = Trimmed(line.substr(1));
  }
  if (line[0] == '[') return CheckHeader(line.substr(1));

  const std::size_t equals = line.find('=');
  if (equals == std::string_view::npos)
    return Note(lossy_, "neither comment, header nor key=value");
  if (equals == 0) Note(lossy_, "a '=' without a key before it");
}

void Lines::CheckHeader(std::string_view after_bracket) {
  const std::size_t end = after_bracket.find(']');
  if (end == std::string_view::npos)
    Note(unreadable_, "a header without ']'");
  else if (end + 1 < after_bracket.size())
    Note(lossy_, "text after the ']' of a header");
}

void Lines::Note(Fault& fault, std::string_view what) const {
  if (fault.line == 0) fault = {.line = line_, .what = what};
}

void Lines::Throw(std::string_view file, const Fault& fault) {
  throw Failure(kMalformedInput,
                Concat(Visible(file), ":", fault.line, ": ", fault.what));
}

void Lines::CheckReadable(std::string_view file) const {
  if (unreadable_.line != 0) Throw(file, unreadable_);
}

void Lines::CheckEditable(std::string_view file) const {
  CheckReadable(file);
  if (lossy_.line != 0)
    throw Failure(kMalformedInput,
                  Concat(Visible(file), ":", lossy_.line, ": ", lossy_.what,
                         "; an edit would lose it, so the file was not "
                         "changed"));
}

}  // namespace fairlead::tool::ini
