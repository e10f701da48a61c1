// Lookups in the loaded list of an object.

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstdio>

#include "fairlead/base/numbers.h"
#include "fairlead/ini/ini_file.h"
#include "fairlead/ini/record_index.h"

namespace fairlead {
namespace {

// A lookup starts this many records before the one found last.
constexpr std::ptrdiff_t kStepBack = 5;

// A line for standard output, made without printf, which would take several
// times as long: half of all random lookups print one. The buffer is kept, and
// the line is printed with one call, as printf would.
class OutputLine {
 public:
  OutputLine(std::string& buffer, std::size_t max_size) : buffer_(buffer) {
    if (buffer.size() < max_size) buffer.resize(max_size);
    end_ = buffer.data();
  }

  OutputLine& operator<<(std::string_view text) {
    end_ = std::copy(text.begin(), text.end(), end_);
    return *this;
  }

  OutputLine& operator<<(std::int32_t number) {
    end_ = std::to_chars(end_, end_ + kMaxDigits, number).ptr;
    return *this;
  }

  // Not checked, as the result of printf is not: a lookup cannot report it.
  void Print() const {
    const auto size = static_cast<std::size_t>(end_ - buffer_.data());
    std::fwrite(buffer_.data(), 1, size, stdout);
  }

  static constexpr std::size_t kMaxDigits = sizeof("-2147483648") - 1;

 private:
  std::string& buffer_;
  char* end_;
};

// Returns what `printf` prints of a text with "%s".
std::string_view Printable(std::string_view text) {
  return text.substr(0, text.find('\0'));
}

}  // namespace

std::vector<CIniFile::Record> CIniFile::GetRecord(
    std::string_view key_name, std::string_view section_name) {
  if (!loaded) return {};
  const Record* const found = Find(section_name, key_name);
  Remember(section_name, key_name);
  std::vector<Record> copies;  // A list in braces would copy twice.
  if (found != nullptr) copies.push_back(*found);
  return copies;
}

// The default is taken by value, since it may refer to lastLookup. The names
// may too, so lastLookup changes last.
std::string CIniFile::GetValueDef(std::string_view section_name,
                                  std::string_view key_name,
                                  std::string default_value) {
  const Record* const found = loaded ? Find(section_name, key_name) : nullptr;
  if (trace) {
    PrintTrace(section_name, key_name, found != nullptr,
               found != nullptr ? found->Value : default_value);
  }
  if (loaded) Remember(section_name, key_name);
  if (found != nullptr) return found->Value;
  return default_value;
}

const CIniFile::Record* CIniFile::Find(std::string_view section,
                                       std::string_view key) {
  const auto [place, again] =
      index_->Find(*records_, section, key, FirstPlaceToLook());
  const bool found = place != records_->size();
  internal::CountUp(searches);
  if (again) internal::CountUp(researches);
  if (again && found) {
    internal::CountUp(rediscovered);
    if (searches != 1) PrintReSearch(section, key);
  }
  if (!found) return nullptr;
  cursor = records_->begin() + static_cast<std::ptrdiff_t>(place);
  return &*cursor;
}

std::size_t CIniFile::FirstPlaceToLook() const {
  if (cursor == records_->end()) return 0;  // Nothing was found yet.
  const std::ptrdiff_t place = cursor - records_->begin();
  return static_cast<std::size_t>(place > kStepBack ? place - kStepBack
                                                    : place);
}

void CIniFile::PrintReSearch(std::string_view section, std::string_view key) {
  constexpr std::size_t kMaxRest =
      sizeof("re-search: [/] after [] discovered  from ; total searches=\n") +
      3 * OutputLine::kMaxDigits;
  OutputLine line(line_,
                  section.size() + key.size() + lastLookup.size() + kMaxRest);
  line << "re-search: [" << Printable(section) << "/" << Printable(key)
       << "] after [" << Printable(lastLookup) << "] discovered "
       << rediscovered << " from " << researches
       << "; total searches=" << searches << "\n";
  line.Print();
}

void CIniFile::PrintTrace(std::string_view section, std::string_view key,
                          bool found, std::string_view value) {
  OutputLine line(
      line_, section.size() + key.size() + value.size() + sizeof("[]  ==> \n"));
  line << "[" << Printable(section) << "] " << Printable(key)
       << (found ? " ==> " : " --> ") << Printable(value) << "\n";
  line.Print();
}

void CIniFile::Remember(std::string_view section, std::string_view key) {
  next_lookup_.resize(section.size() + 1 + key.size());
  char* const end =
      std::copy(section.begin(), section.end(), next_lookup_.data());
  *end = '/';
  std::copy(key.begin(), key.end(), end + 1);
  lastLookup.swap(next_lookup_);
}

}  // namespace fairlead
