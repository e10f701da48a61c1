// The public face of AES: checks its input and hands it to the chosen path.

#include "fairlead/crypto/aes.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string_view>

#include "fairlead/crypto/aes_paths.h"
#include "fairlead/crypto/aes_tables.h"

namespace fairlead {
namespace {

constexpr std::size_t kMostKeyBytes = 32;
constexpr std::size_t kLeastWords = 44;  // Those in use with 128 bits.

const AesPath& Path();

// Builds the tables, then does what was asked by the chosen path.
template <auto kOperation>
constexpr auto kPrepareAnd = [](auto... arguments) {
  aes_gen_tables();
  (Path().*kOperation)(arguments...);
};

// The path until the tables are built. A context may come from another process
// or from a file, and be used before this process has keyed one.
constexpr AesPath kUnprepared = {
    .name = "unprepared",
    .available = [] { return true; },
    .set_key = kPrepareAnd<&AesPath::set_key>,
    .encrypt_block = kPrepareAnd<&AesPath::encrypt_block>,
    .decrypt_block = kPrepareAnd<&AesPath::decrypt_block>,
    .encrypt_blocks = kPrepareAnd<&AesPath::encrypt_blocks>,
    .decrypt_blocks = kPrepareAnd<&AesPath::decrypt_blocks>,
};

// Stored after the tables are built: whoever loads another path than the first
// sees them whole.
constinit std::atomic<const AesPath*> chosen_path = &kUnprepared;

const AesPath& Path() { return *chosen_path.load(std::memory_order_acquire); }

bool Prepare() {
  aes_tables::Build();
  chosen_path.store(&FastestAesPath(), std::memory_order_release);
  return true;
}

// 0 for a key size that AES does not have.
std::int32_t Rounds(std::int32_t bits) {
  if (bits != 128 && bits != 192 && bits != 256) return 0;
  return bits / 32 + 6;
}

// The whole blocks that cover so many bytes.
std::size_t Blocks(std::int32_t length) {
  return length <= 0 ? 0 : (static_cast<std::size_t>(length) + 15) / 16;
}

}  // namespace

void ChooseAesPath(const AesPath& path) {
  aes_gen_tables();
  chosen_path.store(&path, std::memory_order_release);
}

void aes_gen_tables() noexcept {
  // The language does this once, and makes other threads wait for it.
  [[maybe_unused]] static const bool prepared = Prepare();
}

std::int32_t aes_set_key(aes_context* ctx, const unsigned char* key,
                         std::int32_t bits) noexcept {
  aes_gen_tables();
  const std::int32_t rounds = Rounds(bits);
  if (rounds == 0) return 1;
  Path().set_key(ctx, key, rounds);
  return 0;
}

void aes_encrypt(const aes_context* ctx, const unsigned char* input,
                 unsigned char* output) noexcept {
  Path().encrypt_block(ctx, input, output);
}

void aes_decrypt(const aes_context* ctx, const unsigned char* input,
                 unsigned char* output) noexcept {
  Path().decrypt_block(ctx, input, output);
}

AES::AES(std::string_view key, std::int32_t bits) noexcept : bits_(bits) {
  std::array<unsigned char, kMostKeyBytes> padded = {};
  const auto* bytes = reinterpret_cast<const unsigned char*>(key.data());
  if (static_cast<std::int64_t>(key.size()) < bits / 8) {
    std::copy_n(bytes, std::min(key.size(), kMostKeyBytes), padded.begin());
    bytes = padded.data();
  }

  // Keying leaves nothing else unset, and is quicker than clearing it all.
  std::fill(context_.encKeys + kLeastWords, std::end(context_.encKeys), 0);
  std::fill(context_.decKeys + kLeastWords, std::end(context_.decKeys), 0);
  if (aes_set_key(&context_, bytes, bits_) != 0) context_ = {};
}

void AES::EncodeBlock(unsigned char* block) const noexcept {
  Path().encrypt_block(&context_, block, block);
}

void AES::DecodeBlock(unsigned char* block) const noexcept {
  Path().decrypt_block(&context_, block, block);
}

void AES::EncodeArray(unsigned char* data, std::int32_t length) const noexcept {
  Path().encrypt_blocks(&context_, data, Blocks(length));
}

void AES::DecodeArray(unsigned char* data, std::int32_t length) const noexcept {
  Path().decrypt_blocks(&context_, data, Blocks(length));
}

}  // namespace fairlead
