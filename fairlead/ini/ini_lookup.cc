// Lookups in the loaded list of an object.

#include <sys/single_threaded.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>

#include "fairlead/base/decimal.h"
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
    end_ = internal::WriteDecimal(number, end_);
    return *this;
  }

  // Not checked, as the result of printf is not: a lookup cannot report it.
  // With a single thread there is none to lock the stream against.
  void Print() const {
    const auto size = static_cast<std::size_t>(end_ - buffer_.data());
    if (__libc_single_threaded != 0)
      fwrite_unlocked(buffer_.data(), 1, size, stdout);
    else
      std::fwrite(buffer_.data(), 1, size, stdout);
  }

 private:
  std::string& buffer_;
  char* end_;
};

// Sets a text to "section/key".
void JoinNames(std::string_view section, std::string_view key,
               std::string& text) {
  text.resize(section.size() + 1 + key.size());
  char* const end = std::copy(section.begin(), section.end(), text.data());
  *end = '/';
  std::copy(key.begin(), key.end(), end + 1);
}

bool HasZeroByte(std::string_view text) {
  return text.find('\0') != std::string_view::npos;
}

// Returns what `printf` prints of a text with "%s".
std::string_view Printable(std::string_view text) {
  return text.substr(0, text.find('\0'));
}

}  // namespace

std::vector<CIniFile::Record> CIniFile::GetRecord(
    std::string_view key_name, std::string_view section_name) {
  if (!loaded) return {};
  const Record* const found = Find(section_name, key_name);
  lastLookup.swap(next_lookup_);
  if (found == nullptr) return {};
  return {found, found + 1};  // A list of records is copied twice.
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
  if (loaded) lastLookup.swap(next_lookup_);
  if (found != nullptr) return found->Value;
  return default_value;
}

const CIniFile::Record* CIniFile::Find(std::string_view section,
                                       std::string_view key) {
  JoinNames(section, key, next_lookup_);
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
      sizeof("re-search: [] after [] discovered  from ; total searches=\n") +
      3 * internal::kMaxDecimal;
  OutputLine line(line_, next_lookup_.size() + lastLookup.size() + kMaxRest);
  line << "re-search: [";
  if (HasZeroByte(next_lookup_))
    line << Printable(section) << "/" << Printable(key);
  else
    line << next_lookup_;
  line << "] after [" << Printable(lastLookup) << "] discovered "
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

}  // namespace fairlead
