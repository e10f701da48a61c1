// The lookup tables of AES, computed in memory and then only read.

#ifndef FAIRLEAD_CRYPTO_AES_TABLES_H_
#define FAIRLEAD_CRYPTO_AES_TABLES_H_

#include <array>
#include <cstdint>

namespace fairlead::aes_tables {

using Bytes = std::array<std::uint8_t, 256>;
using Words = std::array<std::uint32_t, 256>;

// Fills them all. Once in a process: see aes_gen_tables().
void Build();

extern Bytes FSb;  // The S-box,
extern Bytes RSb;  // and its inverse.

// A round of encryption: for S = FSb[x], FT0[x] is the column (2S, S, S, 3S),
// its first byte most significant; the others are FT0 rotated right by 8 bits
// each.
extern Words FT0, FT1, FT2, FT3;

// A round of decryption: for S = RSb[x], RT0[x] is (14S, 9S, 13S, 11S).
extern Words RT0, RT1, RT2, RT3;

// What makes a decryption key of an encryption key: KT0[x] = RT0[FSb[x]].
extern Words KT0, KT1, KT2, KT3;

// Round constants, in the top byte.
extern std::array<std::uint32_t, 10> RCON;

}  // namespace fairlead::aes_tables

#endif  // FAIRLEAD_CRYPTO_AES_TABLES_H_
