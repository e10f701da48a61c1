// Offsets for the tests and the fuzzer of CFilePos. Not installed.

#ifndef FAIRLEAD_TIME_FILE_POS_TESTING_H_
#define FAIRLEAD_TIME_FILE_POS_TESTING_H_

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <random>

#include "fairlead/time/file_pos.h"

namespace fairlead::internal {

inline constexpr unsigned kSeed = 20261114;
inline constexpr std::uint64_t kMaxOffset =
    std::numeric_limits<std::uint64_t>::max();
inline constexpr std::uint64_t kSigned = std::uint64_t{1} << 63U;
inline constexpr std::uint64_t kKilo = 1024;

// A conversion state that no function here produces, and a number of additions.
inline constexpr int kPattern = 0xA5;
inline constexpr int kAdditions = 41;

inline CFilePos At(std::uint64_t offset) {
  CFilePos made;
  std::memset(&made.position, kPattern, sizeof made.position);
  made.position.__pos = static_cast<std::int64_t>(offset);
  made.additions = kAdditions;
  return made;
}

inline std::uint64_t Offset(const CFilePos& at) {
  return static_cast<std::uint64_t>(at.position.__pos);
}

// Whether all but the offset is as At() made it.
inline bool RestIsKept(const CFilePos& at) {
  std::fpos_t state;
  std::memset(&state, kPattern, sizeof state);
  return at.additions == kAdditions &&
         std::memcmp(&at.position.__state, &state.__state,
                     sizeof state.__state) == 0;
}

// An offset of a random number of bits.
inline std::uint64_t RandomOffset(std::mt19937_64& random) {
  return random() >> random() % 64;
}

}  // namespace fairlead::internal

#endif  // FAIRLEAD_TIME_FILE_POS_TESTING_H_
