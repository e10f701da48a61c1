// The list of all paths, and the best of it.

#include "fairlead/crypto/aes_paths.h"

#include <array>
#include <span>

namespace fairlead {

std::span<const AesPath* const> AesPaths() {
  static constexpr std::array kPaths = {&kAesTables, &kAesInstructions,
                                        &kAesVectors256, &kAesVectors512};
  return kPaths;
}

const AesPath& FastestAesPath() {
  const AesPath* fastest = &kAesTables;
  for (const AesPath* path : AesPaths())
    if (path->available()) fastest = path;
  return *fastest;
}

}  // namespace fairlead
