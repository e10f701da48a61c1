// AES by the processor's own instructions, as the wider paths share it.

#ifndef FAIRLEAD_CRYPTO_AES_INSTRUCTIONS_H_
#define FAIRLEAD_CRYPTO_AES_INSTRUCTIONS_H_

#include <cstddef>
#include <cstdint>

#include "fairlead/crypto/aes.h"

// Each function as AesPath has it.
namespace fairlead::aes_instructions {

void SetKey(aes_context* ctx, const unsigned char* key, std::int32_t rounds);
void EncryptBlock(const aes_context* ctx, const unsigned char* input,
                  unsigned char* output);
void DecryptBlock(const aes_context* ctx, const unsigned char* input,
                  unsigned char* output);
void EncryptBlocks(const aes_context* ctx, unsigned char* data,
                   std::size_t blocks);
void DecryptBlocks(const aes_context* ctx, unsigned char* data,
                   std::size_t blocks);

}  // namespace fairlead::aes_instructions

#endif  // FAIRLEAD_CRYPTO_AES_INSTRUCTIONS_H_
