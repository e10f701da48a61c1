// What the sources of LineTable share. Not installed.

#ifndef FAIRLEAD_INI_LINE_TABLE_PARTS_H_
#define FAIRLEAD_INI_LINE_TABLE_PARTS_H_

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <stdexcept>
#include <string_view>

namespace fairlead::internal {

// The comment characters that a line can have without a copy of it.
inline constexpr std::array<std::string_view, 5> kMarks = {"", "#", ";", "#;",
                                                           ";#"};

// Returns where the marks of a line are, or would be.
inline std::size_t MarksBegin(std::string_view line) {
  return std::min(line.find_first_not_of(" \t\r"), line.size());
}

// Throws std::length_error for a document of that size.
inline void CheckSize(std::size_t size) {
  if (size > std::numeric_limits<std::uint32_t>::max())
    throw std::length_error("an INI document of 4 GiB or more");
}

// Returns a capacity that makes a copy of the whole list rare, but does not
// double its size.
inline std::size_t WithSpare(std::size_t lines) {
  return lines + lines / 64 + 16;
}

}  // namespace fairlead::internal

#endif  // FAIRLEAD_INI_LINE_TABLE_PARTS_H_
