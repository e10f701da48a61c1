// A parser of INI texts that yields one record at a time. Not installed.

#ifndef FAIRLEAD_INI_RECORD_READER_H_
#define FAIRLEAD_INI_RECORD_READER_H_

#include <string>
#include <string_view>

#include "fairlead/ini/ini_line.h"

namespace fairlead::internal {

// Iterates over the records of a text, which must outlive it.
class RecordReader {
 public:
  explicit RecordReader(std::string_view text) : rest_(text) {}

  // Moves to the next record. Returns false at the end of the text, where
  // comments that no record follows are left in Comments(). Throws
  // std::out_of_range at a header without `]`.
  bool Next();

  // Returns the text below what has been read.
  std::string_view Rest() const { return rest_; }

  // The current record, valid until Next() is called. All but the comments
  // refer to the text.
  std::string_view Comments() const { return comments_; }
  char Commented() const { return commented_; }
  std::string_view Section() const { return section_; }
  std::string_view Key() const { return key_; }
  std::string_view Value() const { return value_; }

 private:
  std::string_view TakeLine();
  bool ReadLine(std::string_view line);
  bool SetRecord(const IniLine& line, std::string_view section);

  std::string_view rest_;
  std::string_view current_section_;  // Of the last header.

  std::string comments_;
  char commented_ = ' ';
  std::string_view section_;
  std::string_view key_;
  std::string_view value_;
};

}  // namespace fairlead::internal

#endif  // FAIRLEAD_INI_RECORD_READER_H_
