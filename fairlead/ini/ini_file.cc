// INI files as lists of records: loading and saving.

#include "fairlead/ini/ini_file.h"

#include <fcntl.h>

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <string_view>
#include <utility>

#include "fairlead/base/count_byte.h"
#include "fairlead/file/open_file.h"
#include "fairlead/ini/ini_text.h"
#include "fairlead/ini/record_index.h"
#include "fairlead/ini/record_reader.h"
#include "fairlead/ini/record_text.h"

namespace fairlead {
namespace {

using internal::Append;
using internal::AppendLines;
using internal::OpenFile;
using internal::RecordReader;

constexpr char kActive = ' ';

// Returns the number of records to reserve: one per line, but no more memory
// than a multiple of the text's size, since lines may be empty.
std::size_t ExpectedRecords(std::string_view text) {
  constexpr std::size_t kMaxExpansion = 8;
  return std::min(internal::CountByte(text, '\n') + 1,
                  text.size() * kMaxExpansion / sizeof(CIniFile::Record));
}

// Returns the size of a record's lines in a file, or one byte more.
std::size_t MaxSizeOfLines(const CIniFile::Record& record) {
  constexpr std::size_t kMaxPunctuation = sizeof("#[]\n") - 1;
  const std::size_t names = record.Key.empty()
                                ? record.Section.size()
                                : record.Key.size() + record.Value.size();
  return record.Comments.size() + names + kMaxPunctuation;
}

// Returns an empty buffer with capacity for the lines of any of the records.
std::string BufferForLines(const std::vector<CIniFile::Record>& records) {
  std::size_t size = 0;
  for (const CIniFile::Record& record : records)
    size = std::max(size, MaxSizeOfLines(record));
  std::string buffer;
  buffer.reserve(size);
  return buffer;
}

}  // namespace

bool CIniFile::Load(const std::string& file_name,
                    std::vector<Record>& content) {
  const OpenFile file(file_name, O_RDONLY);
  if (!file.IsOpen()) return true;

  content.clear();
  const std::string text = file.ReadAll();
  content.reserve(ExpectedRecords(text));
  for (RecordReader reader(text); reader.Next();) Append(reader, content);
  return true;
}

bool CIniFile::Save(const std::string& file_name,
                    const std::vector<Record>& content) {
  // Nothing is allocated after this, so bad_alloc leaves the file unchanged.
  std::string lines = BufferForLines(content);
  const OpenFile file(file_name, O_WRONLY | O_CREAT);
  if (!file.IsOpen() || !file.Truncate()) return false;

  bool written = true;
  for (const Record& record : content) {
    if (record.Commented != kActive) std::printf("<%c> ", record.Commented);
    if (!written) continue;  // After an error nothing more is written.
    lines.clear();
    AppendLines(record, lines);
    written = file.WriteAll(lines);
  }
  return true;
}

bool CIniFile::Create(const std::string& file_name) {
  return Save(file_name, {});
}

std::string CIniFile::Content(const std::string& file_name) {
  std::vector<Record> records;
  Load(file_name, records);  // Of a missing file, none.
  return TextFromRecords(records);
}

CIniFile::CIniFile()
    : records_(std::make_unique<std::vector<Record>>()),
      cursor(records_->end()),
      index_(std::make_unique<Index>()) {}

CIniFile::~CIniFile() = default;

// The name is taken by value: it may refer to the list or to lastLookup, which
// are cleared before the file is opened.
// NOLINTNEXTLINE(performance-unnecessary-value-param)
bool CIniFile::Load(std::string file_name) {
  records_->clear();
  *index_ = Index();
  loaded = false;
  cursor = records_->end();
  rediscovered = researches = searches = 0;
  lastLookup.clear();

  std::vector<Record> records;
  loaded = Load(file_name, records);
  *records_ = std::move(records);
  cursor = records_->end();
  return loaded;
}

}  // namespace fairlead
