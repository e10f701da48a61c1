// The ways to compute AES, and which of them this machine can take.

#ifndef FAIRLEAD_CRYPTO_AES_PATHS_H_
#define FAIRLEAD_CRYPTO_AES_PATHS_H_

#include <cstddef>
#include <cstdint>
#include <span>

#include "fairlead/crypto/aes.h"

namespace fairlead {

// One way to compute AES. All give the same bytes.
//
// The tables must have been built. An unkeyed context is harmless: up to 10
// rounds count as 10, 11 as 12, and 13 or more as 14.
struct AesPath {
  using SetKey = void (*)(aes_context* ctx, const unsigned char* key,
                          std::int32_t rounds);
  using Block = void (*)(const aes_context* ctx, const unsigned char* input,
                         unsigned char* output);
  using Blocks = void (*)(const aes_context* ctx, unsigned char* data,
                          std::size_t blocks);

  const char* name;
  bool (*available)();  // Do processor and operating system have it?
  SetKey set_key;       // For 10, 12 or 14 rounds.
  Block encrypt_block;  // Input and output may be the same 16 bytes.
  Block decrypt_block;
  Blocks encrypt_blocks;  // In place.
  Blocks decrypt_blocks;
};

extern const AesPath kAesTables;        // Any processor.
extern const AesPath kAesInstructions;  // AES instructions, block by block.
extern const AesPath kAesVectors256;    // The same, two blocks at a time,
extern const AesPath kAesVectors512;    // and four.

// Every path, the slowest first, whether or not this machine can take it.
std::span<const AesPath* const> AesPaths();

// The last of those that this machine can take.
const AesPath& FastestAesPath();

// Makes all of AES take a path from now on, for a test or a benchmark. Without
// it, that is the fastest one.
void ChooseAesPath(const AesPath& path);

}  // namespace fairlead

#endif  // FAIRLEAD_CRYPTO_AES_PATHS_H_
