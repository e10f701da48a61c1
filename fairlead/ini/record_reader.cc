// A parser of INI texts that yields one record at a time.

#include "fairlead/ini/record_reader.h"

#include <algorithm>
#include <cstddef>
#include <stdexcept>

namespace fairlead::internal {

bool RecordReader::Next() {
  // The previous record has taken its comments.
  comments_.clear();
  while (!rest_.empty())
    if (ReadLine(TakeLine())) return true;
  return false;
}

std::string_view RecordReader::TakeLine() {
  const std::size_t length = std::min(rest_.find('\n'), rest_.size() - 1) + 1;
  const std::string_view line = rest_.substr(0, length);
  rest_.remove_prefix(length);
  return line;
}

// Returns whether the line is a record.
bool RecordReader::ReadLine(std::string_view line) {
  const IniLine read = ReadRecordLine(line);
  switch (read.kind) {
    case LineKind::kBlank:
      return false;
    case LineKind::kComment:
      comments_.append(TrimmedLine(line)).push_back('\n');
      return false;
    case LineKind::kHeader:
      current_section_ = read.name;
      return SetRecord({.mark = read.mark}, read.name);
    case LineKind::kUnclosedHeader:
      throw std::out_of_range("basic_string::erase");  // For compatibility.
    case LineKind::kKey:
    case LineKind::kKeyless:
      return SetRecord(read, current_section_);
    case LineKind::kOther:
      break;
  }
  // Kept for compatibility: a line that is neither comment, header nor key is
  // an empty record, or dropped if comments precede it.
  if (!comments_.empty()) return false;
  return SetRecord({.mark = read.mark}, {});
}

bool RecordReader::SetRecord(const IniLine& line, std::string_view section) {
  commented_ = line.mark;
  section_ = section;
  key_ = line.name;
  value_ = line.value;
  return true;
}

}  // namespace fairlead::internal
