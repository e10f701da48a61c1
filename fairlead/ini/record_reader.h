// The text of an INI file, taken apart into records that nobody has to keep.

#ifndef FAIRLEAD_INI_RECORD_READER_H_
#define FAIRLEAD_INI_RECORD_READER_H_

#include <string>
#include <string_view>

namespace fairlead::internal {

// The text without the blanks (space, TAB, LF, CR) at its ends.
std::string_view Trimmed(std::string_view text);

// Walks the records of a text, which must outlive it, in their order.
class RecordReader {
 public:
  explicit RecordReader(std::string_view text) : rest_(text) {}

  // Steps to the next record; false at the end of the text, whose last comments
  // belong to nothing. Throws std::out_of_range at a header without `]`.
  bool Next();

  // The record that Next() found; what is seen here stays until it is called
  // again. All but the comments stands in the text.
  std::string_view Comments() const { return comments_; }
  char Commented() const { return commented_; }
  std::string_view Section() const { return section_; }
  std::string_view Key() const { return key_; }
  std::string_view Value() const { return value_; }

 private:
  std::string_view TakeLine();
  bool ReadLine(std::string_view line);
  bool ReadHeader(std::string_view after_bracket);
  bool BeRecord(std::string_view section, std::string_view key,
                std::string_view value);

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
