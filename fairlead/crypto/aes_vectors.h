// AES by the processor's AES instructions, several blocks per register, for any
// width. Not installed. See aes_lanes.h for what a source defines before it
// includes this.

#ifndef FAIRLEAD_CRYPTO_AES_VECTORS_H_
#define FAIRLEAD_CRYPTO_AES_VECTORS_H_

#include <cstddef>

#include "fairlead/crypto/aes.h"
#include "fairlead/crypto/aes_implementations.h"
#include "fairlead/crypto/aes_instructions.h"
#include "fairlead/crypto/aes_lanes.h"

namespace fairlead::internal {

// Processes single blocks with `Block` and arrays with `Lanes`, except for last
// blocks that do not fill a vector, which AesInstructions processes.
template <class Lanes, class Block>
struct VectorOperations {
  FAIRLEAD_AES_TARGET static void EncryptBlock(const aes_context* ctx,
                                               const unsigned char* input,
                                               unsigned char* output) noexcept {
    ProcessVectors<Block, true, 1>(ctx->encKeys, ctx->rounds, input, output);
  }

  FAIRLEAD_AES_TARGET static void DecryptBlock(const aes_context* ctx,
                                               const unsigned char* input,
                                               unsigned char* output) noexcept {
    ProcessVectors<Block, false, 1>(ctx->decKeys, ctx->rounds, input, output);
  }

  FAIRLEAD_AES_TARGET static void EncryptBlocks(const aes_context* ctx,
                                                unsigned char* data,
                                                std::size_t blocks) noexcept {
    const std::size_t done =
        ProcessBlocks<Lanes, true>(ctx->encKeys, ctx->rounds, data, blocks);
    AesInstructions::EncryptBlocks(ctx, data + 16 * done, blocks - done);
  }

  FAIRLEAD_AES_TARGET static void DecryptBlocks(const aes_context* ctx,
                                                unsigned char* data,
                                                std::size_t blocks) noexcept {
    const std::size_t done =
        ProcessBlocks<Lanes, false>(ctx->decKeys, ctx->rounds, data, blocks);
    AesInstructions::DecryptBlocks(ctx, data + 16 * done, blocks - done);
  }
};

template <class Lanes, class Block>
constexpr AesImplementation VectorImplementation(const char* name,
                                                 bool (*available)()) noexcept {
  using Operations = VectorOperations<Lanes, Block>;
  return {
      .name = name,
      .available = available,
      .set_key = AesInstructions::SetKey,
      .encrypt_block = Operations::EncryptBlock,
      .decrypt_block = Operations::DecryptBlock,
      .encrypt_blocks = Operations::EncryptBlocks,
      .decrypt_blocks = Operations::DecryptBlocks,
  };
}

}  // namespace fairlead::internal

#endif  // FAIRLEAD_CRYPTO_AES_VECTORS_H_
