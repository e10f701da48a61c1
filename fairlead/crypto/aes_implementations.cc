// The list of all implementations of AES, and the choice of the fastest.

#include "fairlead/crypto/aes_implementations.h"

#include <array>
#include <span>

namespace fairlead::internal {

std::span<const AesImplementation* const> AesImplementations() {
  static constexpr std::array kAll = {&kAesTables, &kAesInstructions,
                                      &kAesVectors256, &kAesVectors512};
  return kAll;
}

const AesImplementation& FastestAesImplementation() {
  const AesImplementation* fastest = &kAesTables;
  for (const AesImplementation* candidate : AesImplementations())
    if (candidate->available()) fastest = candidate;
  return *fastest;
}

}  // namespace fairlead::internal
