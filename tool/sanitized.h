// For the tests: whether the command was built with a sanitizer.

#ifndef FAIRLEAD_TOOL_SANITIZED_H_
#define FAIRLEAD_TOOL_SANITIZED_H_

// Clang tells by a question of its own which sanitizers it was given.
#ifndef __has_feature
#define __has_feature(feature) 0
#endif

namespace fairlead::tool {

/// A sanitizer makes system calls of its own, and gives up where one fails.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__) || \
    __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
inline constexpr bool kSanitized = true;
#else
inline constexpr bool kSanitized = false;
#endif

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_SANITIZED_H_
