// Shared by the tests of the ciphers: hexadecimal text, and a suite that runs
// once for each implementation of AES. Not installed.

#ifndef FAIRLEAD_CRYPTO_CIPHERS_TESTING_H_
#define FAIRLEAD_CRYPTO_CIPHERS_TESTING_H_

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "fairlead/crypto/aes_implementations.h"

namespace fairlead::internal {

using Bytes = std::vector<unsigned char>;

inline Bytes FromHex(std::string_view hex) {
  Bytes bytes;
  for (std::size_t i = 0; i + 1 < hex.size(); i += 2)
    bytes.push_back(static_cast<unsigned char>(
        std::stoi(std::string(hex.substr(i, 2)), nullptr, 16)));
  return bytes;
}

inline std::string ToHex(const Bytes& bytes) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string hex;
  for (const unsigned char byte : bytes) {
    hex += kDigits[byte >> 4];
    hex += kDigits[byte & 15];
  }
  return hex;
}

inline std::string AsText(const Bytes& bytes) {
  return std::string(bytes.begin(), bytes.end());
}

inline Bytes RandomBytes(std::mt19937& random, std::size_t count) {
  Bytes bytes(count);
  for (unsigned char& byte : bytes) byte = static_cast<unsigned char>(random());
  return bytes;
}

// Runs a test with one implementation, or skips it if that is not available.
class AesImplementationTest
    : public testing::TestWithParam<const AesImplementation*> {
 protected:
  void SetUp() override {
    if (!GetParam()->available())
      GTEST_SKIP() << GetParam()->name << " is not available";
    UseAesImplementation(*GetParam());
  }
  void TearDown() override { UseAesImplementation(FastestAesImplementation()); }
};

inline std::string ImplementationName(
    const testing::TestParamInfo<const AesImplementation*>& info) {
  return info.param->name;
}

}  // namespace fairlead::internal

#endif  // FAIRLEAD_CRYPTO_CIPHERS_TESTING_H_
