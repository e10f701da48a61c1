// The lookup tables of AES, computed in memory and then only read. Not
// installed.

#ifndef FAIRLEAD_CRYPTO_AES_TABLES_H_
#define FAIRLEAD_CRYPTO_AES_TABLES_H_

#include <array>
#include <cstdint>

namespace fairlead::internal {

using ByteTable = std::array<std::uint8_t, 256>;
using WordTable = std::array<std::uint32_t, 256>;

// Fills all tables. Called once per process, by aes_gen_tables().
void BuildAesTables();

extern ByteTable FSb;  // The S-box.
extern ByteTable RSb;  // The inverse S-box.

// A round of encryption: for S = FSb[x], FT0[x] is the column (2S, S, S, 3S),
// its first byte most significant. FT1, FT2 and FT3 are FT0 rotated right by 8,
// 16 and 24 bits.
extern WordTable FT0, FT1, FT2, FT3;

// A round of decryption: for S = RSb[x], RT0[x] is (14S, 9S, 13S, 11S).
extern WordTable RT0, RT1, RT2, RT3;

// Encryption keys to decryption keys: KT0[x] = RT0[FSb[x]].
extern WordTable KT0, KT1, KT2, KT3;

// Round constants, in the most significant byte.
extern std::array<std::uint32_t, 10> RCON;

}  // namespace fairlead::internal

#endif  // FAIRLEAD_CRYPTO_AES_TABLES_H_
