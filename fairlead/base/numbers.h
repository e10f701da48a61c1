// Arithmetic that several subsystems share. Not installed.

#ifndef FAIRLEAD_BASE_NUMBERS_H_
#define FAIRLEAD_BASE_NUMBERS_H_

#include <cstdint>
#include <ctime>

namespace fairlead::internal {

// The instant in seconds, rounded to a double.
inline double Seconds(const timespec& instant) {
  return static_cast<double>(instant.tv_sec) +
         static_cast<double>(instant.tv_nsec) / 1e9;
}

// Adds one; wraps around.
inline void CountUp(std::int32_t& counter) {
  counter = static_cast<std::int32_t>(static_cast<std::uint32_t>(counter) + 1U);
}

}  // namespace fairlead::internal

#endif  // FAIRLEAD_BASE_NUMBERS_H_
