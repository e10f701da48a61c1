// The edits of an INI document, in each of its readings. Not installed.

#ifndef FAIRLEAD_INI_INI_EDITORS_H_
#define FAIRLEAD_INI_INI_EDITORS_H_

#include <cstddef>
#include <string_view>

#include "fairlead/ini/ini_document.h"
#include "fairlead/ini/line_set.h"
#include "fairlead/ini/line_table.h"
#include "fairlead/ini/line_walk.h"

namespace fairlead::internal {

// Both have the edits that IniDocument documents. Names and values have been
// trimmed, and those of new lines checked.

class LiveEditor {
 public:
  explicit LiveEditor(LineTable& lines) : lines_(lines) {}

  IniResult Set(const IniName& name, std::string_view value);
  IniResult Add(const IniName& name, std::string_view value,
                const IniPlace& place);
  IniResult Delete(const IniName& name);
  IniResult Enable(const IniName& name);
  IniResult Disable(const IniName& name, char mark);
  IniResult Rename(const IniName& name, std::string_view new_name);
  IniResult Comment(const IniName& name, std::string_view text);

 private:
  // Where a new key goes: before `line`, in the style of `model`.
  struct Spot {
    std::size_t line = kNoLine;
    std::size_t model = kNoLine;
  };

  Spot SpotFor(const IniName& name, const IniPlace& place) const;
  std::size_t LineFor(const IniPlace& place) const;
  IniResult AddKey(const IniName& name, std::string_view value,
                   const IniPlace& place);
  IniResult AddSection(std::string_view section, const IniPlace& place);
  IniResult DeleteSection(std::string_view section);
  void DeleteBlocks(Blocks blocks);
  IniResult EnableSection(std::string_view section);
  IniResult DisableSection(std::string_view section, char mark);
  IniResult RenameSection(std::string_view section, std::string_view new_name);
  LineSet Chosen(const IniName& name) const;
  IniResult CheckValueEnds(const LineSet& keys) const;

  LineTable& lines_;
};

class RecordEditor {
 public:
  explicit RecordEditor(LineTable& lines) : lines_(lines) {}

  IniResult Set(const IniName& name, std::string_view value);
  IniResult Add(const IniName& name, std::string_view value,
                const IniPlace& place);
  IniResult Delete(const IniName& name);
  IniResult Enable(const IniName& name);
  IniResult Disable(const IniName& name, char mark);
  IniResult Rename(const IniName& name, std::string_view new_name);
  IniResult Comment(const IniName& name, std::string_view text);

 private:
  IniResult Chosen(const IniName& name, LineSet& records) const;
  IniResult AddBeside(const IniName& name, std::string_view value,
                      const IniPlace& place);
  IniResult CheckComments(std::size_t record) const;
  std::size_t NextRecord(std::size_t line) const;
  std::size_t BeginOf(std::size_t record) const;
  std::size_t FirstHeader() const;
  std::size_t EndOfRecords() const;

  LineTable& lines_;
};

}  // namespace fairlead::internal

#endif  // FAIRLEAD_INI_INI_EDITORS_H_
