// AES by the processor's AES instructions, one block per register. Not
// installed.

#ifndef FAIRLEAD_CRYPTO_AES_INSTRUCTIONS_H_
#define FAIRLEAD_CRYPTO_AES_INSTRUCTIONS_H_

#include <cstddef>
#include <cstdint>

#include "fairlead/crypto/aes.h"

namespace fairlead::internal {

// The operations of kAesInstructions, which wider implementations use, too.
struct AesInstructions {
  static void SetKey(aes_context* ctx, const unsigned char* key,
                     std::int32_t rounds) noexcept;
  static void EncryptBlock(const aes_context* ctx, const unsigned char* input,
                           unsigned char* output) noexcept;
  static void DecryptBlock(const aes_context* ctx, const unsigned char* input,
                           unsigned char* output) noexcept;
  static void EncryptBlocks(const aes_context* ctx, unsigned char* data,
                            std::size_t blocks) noexcept;
  static void DecryptBlocks(const aes_context* ctx, unsigned char* data,
                            std::size_t blocks) noexcept;
};

}  // namespace fairlead::internal

#endif  // FAIRLEAD_CRYPTO_AES_INSTRUCTIONS_H_
