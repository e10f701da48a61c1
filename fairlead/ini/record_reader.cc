#include "fairlead/ini/record_reader.h"

#include <algorithm>
#include <cstddef>
#include <stdexcept>

#include "fairlead/ini/ini_file.h"

namespace fairlead::internal {
namespace {

bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

}  // namespace

std::string_view Trimmed(std::string_view text) {
  while (!text.empty() && IsBlank(text.front())) text.remove_prefix(1);
  while (!text.empty() && IsBlank(text.back())) text.remove_suffix(1);
  return text;
}

bool RecordReader::Next() {
  // A record took the comments above it, or there were none.
  comments_.clear();
  while (!rest_.empty()) {
    const std::string_view line = Trimmed(TakeLine());
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

// Whether the line is a record.
bool RecordReader::ReadLine(std::string_view line) {
  commented_ = ' ';
  if (line.front() == CIniFile::Hash || line.front() == CIniFile::Semicolon) {
    if (line.find_first_of("[=") == std::string_view::npos) {
      comments_.append(line).push_back('\n');
      return false;
    }
    commented_ = line.front();
    line = Trimmed(line.substr(1));
  }

  if (line.front() == '[') return ReadHeader(line.substr(1));

  const std::size_t equals = line.find('=');
  if (equals != std::string_view::npos) {
    return BeRecord(current_section_, Trimmed(line.substr(0, equals)),
                    Trimmed(line.substr(equals + 1)));
  }
  // Neither comment, header nor key: an empty record, unless comments wait.
  return comments_.empty() && BeRecord({}, {}, {});
}

bool RecordReader::ReadHeader(std::string_view after_bracket) {
  const std::size_t end = after_bracket.find(']');
  if (end == std::string_view::npos)
    throw std::out_of_range("basic_string::erase");
  current_section_ = after_bracket.substr(0, end);
  return BeRecord(current_section_, {}, {});
}

bool RecordReader::BeRecord(std::string_view section, std::string_view key,
                            std::string_view value) {
  section_ = section;
  key_ = key;
  value_ = value;
  return true;
}

}  // namespace fairlead::internal
