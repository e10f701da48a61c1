// The arithmetic behind the lookup tables of AES, done once in a process.

#include "fairlead/crypto/aes_tables.h"

#include <array>
#include <bit>
#include <cstdint>

namespace fairlead {
namespace aes_tables {

Bytes FSb, RSb;
Words FT0, FT1, FT2, FT3;
Words RT0, RT1, RT2, RT3;
Words KT0, KT1, KT2, KT3;
std::array<std::uint32_t, 10> RCON;

}  // namespace aes_tables

namespace {

using namespace aes_tables;

// Twice x in GF(2^8).
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

  // The column (a·s, b·s, c·s, d·s), its first byte most significant.
  std::uint32_t Column(std::uint8_t s, std::uint8_t a, std::uint8_t b,
                       std::uint8_t c, std::uint8_t d) const {
    return std::uint32_t{Product(a, s)} << 24 |
           std::uint32_t{Product(b, s)} << 16 |
           std::uint32_t{Product(c, s)} << 8 | std::uint32_t{Product(d, s)};
  }

 private:
  std::array<std::uint8_t, 255> power_;
  Bytes log_ = {};
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

// Fills the table rotated right by 8, 16 and 24 bits.
void Rotate(const Words& table, Words& by8, Words& by16, Words& by24) {
  for (unsigned x = 0; x < 256; ++x) {
    by8[x] = std::rotr(table[x], 8);
    by16[x] = std::rotr(table[x], 16);
    by24[x] = std::rotr(table[x], 24);
  }
}

}  // namespace

void aes_tables::Build() {
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

}  // namespace fairlead
