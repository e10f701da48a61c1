// The two ways of parsing a command line, and lookups in the result.

#include "fairlead/cmdline/simple_cmd_line.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cctype>
#include <cstdint>
#include <new>
#include <span>
#include <utility>

#include "fairlead/base/key_hash.h"
#include "fairlead/text/strings.h"

namespace fairlead {
namespace {

// Up to this many parameters are looked up one by one.
constexpr std::size_t kShortTable = 32;
// Most names are no longer.
constexpr std::size_t kShortName = 32;

// Writes `text` to `out` in lower case, as MakeLower() does.
void Lower(std::string_view text, char* out) {
  const std::int32_t* const table = *__ctype_tolower_loc();
  for (const char c : text)
    *out++ = static_cast<char>(table[static_cast<signed char>(c)]);
}

// Returns a number that differs only if the names do, from their first and last
// bytes, so that a lookup compares few texts.
std::uint64_t Tag(std::string_view name) {
  if (name.size() < 8)
    return internal::ShortText(name.data(), name.size()) ^ name.size() << 56U;
  const char* const last = name.data() + name.size() - 8;
  return internal::LoadWord<std::uint64_t>(name.data()) ^
         std::rotl(internal::LoadWord<std::uint64_t>(last), 1) ^
         std::uint64_t{name.size()} << 56U;
}

// Removes the first word and the spaces before it from `text`.
std::string_view NextWord(std::string_view& text) {
  text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
  const std::string_view word = text.substr(0, text.find(' '));
  text.remove_prefix(word.size());
  return word;
}

}  // namespace

// The arguments are stored one after the other, with a space before each, so
// that a value of several arguments is one run of bytes.
CSimpleCmdLine::CSimpleCmdLine(int argc, const char* const* argv) {
  if (argc < 2) return;
  const std::span arguments(argv + 1, static_cast<std::size_t>(argc) - 1);
  std::size_t bytes = 0;
  for (const std::string_view argument : arguments)
    bytes += argument.size() + 1;
  Reserve(arguments.size(), bytes);

  bool waiting = false;  // The last name has no value yet.
  for (const std::string_view argument : arguments) {
    const std::string_view space = Keep(" ");
    if (argument.starts_with('-')) {
      Add(KeepLower(argument.substr(1)));
      waiting = true;
      continue;
    }
    if (size_ == 0) Add(space.substr(0, 0));
    const std::string_view word = Keep(argument);
    std::string_view& value = table_[size_ - 1].value;
    const char* const begin = waiting ? word.data() : value.data();
    value = {begin, static_cast<std::size_t>(bytes_ - begin)};
    waiting = false;
  }
  SortLongTable();
}

// No word is more than one parameter.
CSimpleCmdLine::CSimpleCmdLine(std::string line) : line_(std::move(line)) {
  std::size_t words = 0;
  for (std::string_view rest = line_; !NextWord(rest).empty();) ++words;
  Reserve(words, line_.size());

  bool waiting = false;  // The last name takes the next word as its value.
  bool bare = false;     // A bare word came after the last non-empty name, so
                         // an empty name takes no value.
  std::string_view rest = KeepLower(line_);
  for (std::string_view word = NextWord(rest); !word.empty();
       word = NextWord(rest)) {
    const std::size_t dash = word.find('-');
    const std::string_view head = word.substr(0, dash);
    if (waiting) table_[size_ - 1].value = head;
    if (!waiting && !head.empty()) bare = true;

    if (dash == std::string_view::npos) {
      if (!waiting) Add(word);
      waiting = false;
    } else {
      const std::string_view name = word.substr(dash + 1);
      Add(name);
      bare = bare && name.empty();
      waiting = !bare;
    }
  }
  SortLongTable();
}

std::string CSimpleCmdLine::GetExe(std::string_view path) {
  return std::string(path.substr(path.rfind('\\') + 1));
}

std::string CSimpleCmdLine::ToLower(std::string_view text) {
  return MakeLower(text);
}

bool CSimpleCmdLine::PresentParam(std::string_view name) const {
  return Find(name) != nullptr;
}

bool CSimpleCmdLine::GetParam(std::string_view name) const {
  return PresentParam(name);
}

std::string CSimpleCmdLine::GetStrParam(std::string_view name) const {
  return GetStrParam(name, "n//a");
}

std::string CSimpleCmdLine::GetStrParam(std::string_view name,
                                        std::string_view fallback) const {
  const Parameter* const found = Find(name);
  return std::string(found != nullptr ? found->value : fallback);
}

int CSimpleCmdLine::GetIntParam(std::string_view name, int fallback) const {
  const Parameter* const found = Find(name);
  if (found == nullptr) return fallback;
  int number = 0;
  getval(found->value, number, fallback);
  return number;
}

bool CSimpleCmdLine::getval(std::string_view text, int& target) {
  return fairlead::getval<int>(text, target);
}

void CSimpleCmdLine::getval(std::string_view text, int& target, int fallback) {
  fairlead::getval<int, int>(text, target, fallback);
}

// Makes room for so many parameters and for the bytes of them all.
void CSimpleCmdLine::Reserve(std::size_t parameters, std::size_t bytes) {
  const std::size_t size = parameters * sizeof(Parameter) + bytes;
  std::byte* memory = short_table_.data();
  if (size > short_table_.size()) {
    long_table_.resize(size);
    memory = long_table_.data();
  }
  table_ = reinterpret_cast<Parameter*>(memory);
  bytes_ = reinterpret_cast<char*>(table_ + parameters);
}

std::string_view CSimpleCmdLine::Keep(std::string_view text) {
  const char* const begin = bytes_;
  bytes_ = std::copy(text.begin(), text.end(), bytes_);
  return {begin, text.size()};
}

std::string_view CSimpleCmdLine::KeepLower(std::string_view text) {
  const char* const begin = bytes_;
  Lower(text, bytes_);
  bytes_ += text.size();
  return {begin, text.size()};
}

// The value is empty and begins right after the name, where it can grow.
void CSimpleCmdLine::Add(std::string_view name) {
  new (table_ + size_++) Parameter{
      .tag = Tag(name), .name = name, .value = name.substr(name.size())};
}

std::span<CSimpleCmdLine::Parameter> CSimpleCmdLine::Table() const {
  return {table_, size_};
}

// Names are stored in the order given: of equal ones, the last has the highest
// position.
void CSimpleCmdLine::SortLongTable() {
  if (size_ <= kShortTable) return;
  std::ranges::sort(Table(), [](const Parameter& a, const Parameter& b) {
    if (a.tag != b.tag) return a.tag < b.tag;
    const int order = a.name.compare(b.name);
    return order != 0 ? order < 0 : a.name.data() < b.name.data();
  });
}

const CSimpleCmdLine::Parameter* CSimpleCmdLine::Find(
    std::string_view name) const {
  std::array<char, kShortName> lower;  // Not cleared, which would take longer.
  if (name.size() > lower.size()) return FindLower(ToLower(name));
  Lower(name, lower.data());
  return FindLower({lower.data(), name.size()});
}

const CSimpleCmdLine::Parameter* CSimpleCmdLine::FindLower(
    std::string_view name) const {
  const std::uint64_t tag = Tag(name);
  if (size_ > kShortTable) return FindInLongTable(tag, name);
  for (std::size_t at = size_; at-- > 0;)
    if (table_[at].tag == tag && table_[at].name == name) return &table_[at];
  return nullptr;
}

const CSimpleCmdLine::Parameter* CSimpleCmdLine::FindInLongTable(
    std::uint64_t tag, std::string_view name) const {
  const auto after =
      std::ranges::partition_point(Table(), [&](const Parameter& parameter) {
        return parameter.tag != tag ? parameter.tag < tag
                                    : parameter.name <= name;
      });
  if (after == Table().begin()) return nullptr;
  const Parameter& last = after[-1];
  return last.tag == tag && last.name == name ? &last : nullptr;
}

}  // namespace fairlead
