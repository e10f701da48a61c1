// A parser of INI texts that yields one record at a time.

#include "fairlead/ini/record_reader.h"

#include <algorithm>
#include <cstddef>
#include <stdexcept>

#include "fairlead/ini/ini_file.h"
#include "fairlead/text/trimmed.h"

namespace fairlead::internal {

bool RecordReader::Next() {
  // The previous record has taken its comments.
  comments_.clear();
  while (!rest_.empty()) {
    const std::string_view line = Trimmed(TakeLine(), IsBlank);
    if (!line.empty() && ReadLine(line)) return true;
  }
  return false;
}

std::string_view RecordReader::TakeLine() {
  const std::size_t length = std::min(rest_.find('\n'), rest_.size() - 1) + 1;
  const std::string_view line = rest_.substr(0, length);
  rest_.remove_prefix(length);
  return line;
}

// Reads a line that is not empty; returns whether it is a record.
bool RecordReader::ReadLine(std::string_view line) {
  commented_ = ' ';
  if (line.front() == CIniFile::Hash || line.front() == CIniFile::Semicolon) {
    if (line.find_first_of("[=") == std::string_view::npos) {
      comments_.append(line).push_back('\n');
      return false;
    }
    commented_ = line.front();
    line = Trimmed(line.substr(1), IsBlank);
  }

  if (line.front() == '[') return ReadHeader(line.substr(1));

  const std::size_t equals = line.find('=');
  if (equals != std::string_view::npos) {
    return SetRecord(current_section_, Trimmed(line.substr(0, equals), IsBlank),
                     Trimmed(line.substr(equals + 1), IsBlank));
  }
  // Kept for compatibility: a line that is neither comment, header nor key is
  // an empty record, or dropped if comments precede it.
  return comments_.empty() && SetRecord({}, {}, {});
}

bool RecordReader::ReadHeader(std::string_view after_bracket) {
  const std::size_t end = after_bracket.find(']');
  if (end == std::string_view::npos)
    throw std::out_of_range("basic_string::erase");  // For compatibility.
  current_section_ = after_bracket.substr(0, end);
  return SetRecord(current_section_, {}, {});
}

bool RecordReader::SetRecord(std::string_view section, std::string_view key,
                             std::string_view value) {
  section_ = section;
  key_ = key;
  value_ = value;
  return true;
}

}  // namespace fairlead::internal
