// Computes the lookup tables of AES, once per process.

#include "fairlead/crypto/aes_tables.h"

#include <array>
#include <bit>
#include <cstdint>

namespace fairlead::internal {

ByteTable FSb, RSb;
WordTable FT0, FT1, FT2, FT3;
WordTable RT0, RT1, RT2, RT3;
WordTable KT0, KT1, KT2, KT3;
std::array<std::uint32_t, 10> RCON;

namespace {

// Returns 2·x in GF(2^8).
std::uint8_t Double(std::uint8_t x) {
  return static_cast<std::uint8_t>((x << 1) ^ ((x & 0x80) != 0 ? 0x1B : 0));
}

// Multiplication and inverse in GF(2^8), by powers and logarithms of 3.
class Field {
 public:
  Field() {
    std::uint8_t power = 1;
    for (unsigned i = 0; i < 255; ++i) {
      power_[i] = power;
      log_[power] = static_cast<std::uint8_t>(i);
      power ^= Double(power);
    }
  }

  std::uint8_t Product(std::uint8_t a, std::uint8_t b) const {
    if (a == 0 || b == 0) return 0;
    return power_[(0U + log_[a] + log_[b]) % 255];
  }

  std::uint8_t Inverse(std::uint8_t x) const {  // x is not 0.
    return power_[(255U - log_[x]) % 255];
  }

  // Returns the column (a·s, b·s, c·s, d·s), its first byte most significant.
  std::uint32_t Column(std::uint8_t s, std::uint8_t a, std::uint8_t b,
                       std::uint8_t c, std::uint8_t d) const {
    return std::uint32_t{Product(a, s)} << 24 |
           std::uint32_t{Product(b, s)} << 16 |
           std::uint32_t{Product(c, s)} << 8 | std::uint32_t{Product(d, s)};
  }

 private:
  std::array<std::uint8_t, 255> power_;
  ByteTable log_ = {};
};

void BuildRoundConstants() {
  std::uint8_t constant = 1;
  for (std::uint32_t& word : RCON) {
    word = std::uint32_t{constant} << 24;
    constant = Double(constant);
  }
}

void BuildSubstitution(const Field& field) {
  for (unsigned x = 0; x < 256; ++x) {
    const auto byte = static_cast<std::uint8_t>(x);
    const std::uint8_t y = x == 0 ? byte : field.Inverse(byte);
    FSb[x] =
        static_cast<std::uint8_t>(y ^ std::rotl(y, 1) ^ std::rotl(y, 2) ^
                                  std::rotl(y, 3) ^ std::rotl(y, 4) ^ 0x63);
    RSb[FSb[x]] = byte;
  }
}

// Fills tables with `table` rotated right by 8, 16 and 24 bits.
void Rotate(const WordTable& table, WordTable& by8, WordTable& by16,
            WordTable& by24) {
  for (unsigned x = 0; x < 256; ++x) {
    by8[x] = std::rotr(table[x], 8);
    by16[x] = std::rotr(table[x], 16);
    by24[x] = std::rotr(table[x], 24);
  }
}

}  // namespace

void BuildAesTables() {
  const Field field;
  BuildRoundConstants();
  BuildSubstitution(field);
  for (unsigned x = 0; x < 256; ++x) {
    FT0[x] = field.Column(FSb[x], 2, 1, 1, 3);
    RT0[x] = field.Column(RSb[x], 14, 9, 13, 11);
  }
  for (unsigned x = 0; x < 256; ++x) KT0[x] = RT0[FSb[x]];
  Rotate(FT0, FT1, FT2, FT3);
  Rotate(RT0, RT1, RT2, RT3);
  Rotate(KT0, KT1, KT2, KT3);
}

}  // namespace fairlead::internal
