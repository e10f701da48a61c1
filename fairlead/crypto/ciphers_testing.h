// What the tests of the ciphers share: hexadecimal text, and a suite that runs
// once for every path of AES.

#ifndef FAIRLEAD_CRYPTO_CIPHERS_TESTING_H_
#define FAIRLEAD_CRYPTO_CIPHERS_TESTING_H_

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "fairlead/crypto/aes_paths.h"

namespace fairlead {

#ifndef __has_feature
#define __has_feature(feature) 0
#endif

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__) || \
    __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
constexpr bool kSanitized = true;  // Much slower: tests do less.
#else
constexpr bool kSanitized = false;
#endif

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

// Runs what it tests by way of one path, where this machine can take it.
class AesPathTest : public testing::TestWithParam<const AesPath*> {
 protected:
  void SetUp() override {
    if (!GetParam()->available())
      GTEST_SKIP() << "this machine has no path \"" << GetParam()->name << '"';
    ChooseAesPath(*GetParam());
  }
  void TearDown() override { ChooseAesPath(FastestAesPath()); }
};

inline std::string PathName(
    const testing::TestParamInfo<const AesPath*>& path) {
  return path.param->name;
}

}  // namespace fairlead

#endif  // FAIRLEAD_CRYPTO_CIPHERS_TESTING_H_
