// The implementations of AES, and which of them this machine supports. Not
// installed.

#ifndef FAIRLEAD_CRYPTO_AES_IMPLEMENTATIONS_H_
#define FAIRLEAD_CRYPTO_AES_IMPLEMENTATIONS_H_

#include <cstddef>
#include <cstdint>
#include <span>

#include "fairlead/crypto/aes.h"

namespace fairlead::internal {

// One implementation of AES. All have the same results.
//
// The tables must have been built. An unkeyed context is safe to use: up to 10
// rounds count as 10, 11 as 12, and 13 or more as 14.
struct AesImplementation {
  // None throws, so that the public functions, which do not either, end in a
  // jump to them.
  using SetKey = void (*)(aes_context* ctx, const unsigned char* key,
                          std::int32_t rounds) noexcept;
  using Block = void (*)(const aes_context* ctx, const unsigned char* input,
                         unsigned char* output) noexcept;
  using Blocks = void (*)(const aes_context* ctx, unsigned char* data,
                          std::size_t blocks) noexcept;

  const char* name;
  bool (*available)();  // Whether processor and operating system support it.
  SetKey set_key;       // For 10, 12 or 14 rounds.
  Block encrypt_block;  // Input and output may be the same 16 bytes.
  Block decrypt_block;
  Blocks encrypt_blocks;  // In place.
  Blocks decrypt_blocks;
};

// Table lookup, on any processor.
extern const AesImplementation kAesTables;
// AES instructions, with one, two and four blocks per register.
extern const AesImplementation kAesInstructions;
extern const AesImplementation kAesVectors256;
extern const AesImplementation kAesVectors512;

// Returns all implementations, the slowest first, available or not.
std::span<const AesImplementation* const> AesImplementations();

// Returns the last one that is available.
const AesImplementation& FastestAesImplementation();

// Replaces the implementation in use, which is the fastest one at first. For
// tests and benchmarks.
void UseAesImplementation(const AesImplementation& implementation);

}  // namespace fairlead::internal

#endif  // FAIRLEAD_CRYPTO_AES_IMPLEMENTATIONS_H_
