// What an edit in the live reading must not change: the section of other lines,
// and the values that they continue. Not installed.

#ifndef FAIRLEAD_INI_LIVE_CHECKS_H_
#define FAIRLEAD_INI_LIVE_CHECKS_H_

#include <cstddef>
#include <cstdint>
#include <vector>

#include "fairlead/ini/ini_document.h"
#include "fairlead/ini/line_set.h"
#include "fairlead/ini/line_table.h"
#include "fairlead/ini/line_walk.h"

namespace fairlead::internal {

// Returns the first active key or header from `line` on, or the size.
std::size_t NextActive(const LineTable& lines, std::size_t line);

// Returns the first line from `begin` on that is neither comment, header nor
// key, or kNoLine. Other programs may give it a meaning in its section.
std::size_t FindOther(const LineTable& lines, std::size_t begin,
                      std::size_t end);

// Returns the end of what is in another section once the header of the block is
// gone: below its end, a disabled section.
std::size_t EndOfEffect(const LineTable& lines, const Block& block);

// Returns the disabled header that would take a disabled key without these
// active keys, which are between the two; or kNoLine.
std::size_t FindTaker(const LineTable& lines, const LineSet& keys);

// Returns the disabled header that a disabled key below `line` belongs to, but
// not behind a new active key there; or kNoLine.
std::size_t FindLoser(const LineTable& lines, std::size_t line);

// Fails if the value of a key that was enabled takes a line that is no INI,
// which has continued a value above, or none. LineTable::Keep() finds one that
// continues because of a backslash.
IniResult CheckEnabled(const LineTable& lines, std::size_t key);

// Does the same for all keys before the first header.
IniResult CheckEnabledTop(const LineTable& lines);

// Fails if these disabled parts of a section, once enabled, would have keys or
// lines that are no INI of another section.
IniResult CheckEnabledBlocks(const LineTable& lines, const Blocks& blocks);

// Returns the disabled header to whose section one of these disabled keys
// belongs, or kNoLine.
std::size_t FindDisabledHeader(const LineTable& lines, const LineSet& keys);

// Fails if the last value before the first header continues below its block,
// which ends above a disabled section.
IniResult CheckTopEnd(const LineTable& lines, const Block& block);

// Returns for each indented header without `]` the key whose value may continue
// on it, by LineTable::IdOf(), or UINT32_MAX. No edit adds or deletes such a
// header. The vector is as large as need be: there may be one in each line.
std::vector<std::uint32_t> ContinuedKeys(const LineTable& lines);

// Returns the number, from 0, of the first such header that has not the key
// that it had before; or kNoLine if all are as they were.
std::size_t ChangedAmbiguity(const LineTable& lines,
                             const std::vector<std::uint32_t>& before);

// Returns the line of such a header.
std::size_t LineOfAmbiguity(const LineTable& lines, std::size_t number);

}  // namespace fairlead::internal

#endif  // FAIRLEAD_INI_LIVE_CHECKS_H_
