// The public interface of AES: checks its input and calls the implementation in
// use.

#include "fairlead/crypto/aes.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string_view>

#include "fairlead/crypto/aes_implementations.h"
#include "fairlead/crypto/aes_tables.h"

namespace fairlead {
namespace {

using internal::AesImplementation;

constexpr std::size_t kMaxKeyBytes = 32;
constexpr std::size_t kMinWords = 44;  // Those in use with 128 bits.

const AesImplementation& Implementation();

// Builds the tables, then calls the implementation chosen for this machine.
template <auto kOperation>
constexpr auto kPrepareAnd = [](auto... arguments) noexcept {
  aes_gen_tables();
  (Implementation().*kOperation)(arguments...);
};

// The implementation until the tables are built. A context may come from
// another process or from a file, and be used before this process has keyed
// one.
constexpr AesImplementation kUnprepared = {
    .name = "unprepared",
    .available = [] { return true; },
    .set_key = kPrepareAnd<&AesImplementation::set_key>,
    .encrypt_block = kPrepareAnd<&AesImplementation::encrypt_block>,
    .decrypt_block = kPrepareAnd<&AesImplementation::decrypt_block>,
    .encrypt_blocks = kPrepareAnd<&AesImplementation::encrypt_blocks>,
    .decrypt_blocks = kPrepareAnd<&AesImplementation::decrypt_blocks>,
};

// Replaced after the tables are built: a thread that loads another
// implementation than the first sees complete tables.
constinit std::atomic<const AesImplementation*> implementation_in_use =
    &kUnprepared;

const AesImplementation& Implementation() {
  return *implementation_in_use.load(std::memory_order_acquire);
}

bool Prepare() {
  internal::BuildAesTables();
  implementation_in_use.store(&internal::FastestAesImplementation(),
                              std::memory_order_release);
  return true;
}

// Returns the number of rounds, or 0 for a key size that AES does not have.
std::int32_t Rounds(std::int32_t bits) {
  if (bits != 128 && bits != 192 && bits != 256) return 0;
  return bits / 32 + 6;
}

// Returns the number of whole blocks that cover `length` bytes.
std::size_t Blocks(std::int32_t length) {
  return length <= 0 ? 0 : (static_cast<std::size_t>(length) + 15) / 16;
}

}  // namespace

void internal::UseAesImplementation(const AesImplementation& implementation) {
  aes_gen_tables();
  implementation_in_use.store(&implementation, std::memory_order_release);
}

void aes_gen_tables() noexcept {
  // Initialized once; other threads wait until that is done.
  [[maybe_unused]] static const bool prepared = Prepare();
}

std::int32_t aes_set_key(aes_context* ctx, const unsigned char* key,
                         std::int32_t bits) noexcept {
  aes_gen_tables();
  const std::int32_t rounds = Rounds(bits);
  if (rounds == 0) return 1;
  Implementation().set_key(ctx, key, rounds);
  return 0;
}

void aes_encrypt(const aes_context* ctx, const unsigned char* input,
                 unsigned char* output) noexcept {
  Implementation().encrypt_block(ctx, input, output);
}

void aes_decrypt(const aes_context* ctx, const unsigned char* input,
                 unsigned char* output) noexcept {
  Implementation().decrypt_block(ctx, input, output);
}

AES::AES(std::string_view key, std::int32_t bits) noexcept : bits_(bits) {
  std::array<unsigned char, kMaxKeyBytes> padded = {};
  const auto* bytes = reinterpret_cast<const unsigned char*>(key.data());
  if (static_cast<std::int64_t>(key.size()) < bits / 8) {
    std::copy_n(bytes, std::min(key.size(), kMaxKeyBytes), padded.begin());
    bytes = padded.data();
  }

  // Keying sets all else; clearing everything first would be slower.
  std::fill(context_.encKeys + kMinWords, std::end(context_.encKeys), 0);
  std::fill(context_.decKeys + kMinWords, std::end(context_.decKeys), 0);
  if (aes_set_key(&context_, bytes, bits_) != 0) context_ = {};
}

void AES::EncodeBlock(unsigned char* block) const noexcept {
  Implementation().encrypt_block(&context_, block, block);
}

void AES::DecodeBlock(unsigned char* block) const noexcept {
  Implementation().decrypt_block(&context_, block, block);
}

void AES::EncodeArray(unsigned char* data, std::int32_t length) const noexcept {
  Implementation().encrypt_blocks(&context_, data, Blocks(length));
}

void AES::DecodeArray(unsigned char* data, std::int32_t length) const noexcept {
  Implementation().decrypt_blocks(&context_, data, Blocks(length));
}

}  // namespace fairlead
