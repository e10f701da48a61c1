// Whether a sanitizer watches the test. Not installed.

#ifndef FAIRLEAD_TESTING_SANITIZERS_H_
#define FAIRLEAD_TESTING_SANITIZERS_H_

#ifndef __has_feature
#define __has_feature(feature) 0
#endif

namespace fairlead::internal {

#if defined(__SANITIZE_THREAD__) || __has_feature(thread_sanitizer)
inline constexpr bool kThreadSanitized = true;
#else
inline constexpr bool kThreadSanitized = false;
#endif

// True if the program runs several times as slowly as usual and needs far more
// memory, so that a test does less.
#if defined(__SANITIZE_ADDRESS__) || __has_feature(address_sanitizer)
inline constexpr bool kSanitized = true;
#else
inline constexpr bool kSanitized = kThreadSanitized;
#endif

// Returns how many of the rounds a test of random inputs runs. A sanitizer, or
// valgrind, which runs the debug build, finds its faults in a tenth of them;
// the release build compares the results of all.
constexpr int Rounds(int count) noexcept {
#ifdef NDEBUG
  return kSanitized ? count / 10 : count;
#else
  return count / 10;
#endif
}

}  // namespace fairlead::internal

#endif  // FAIRLEAD_TESTING_SANITIZERS_H_
