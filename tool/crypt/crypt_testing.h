// For tests of the command `crypt`: runs it, and a model of RC4.

#ifndef FAIRLEAD_TOOL_CRYPT_CRYPT_TESTING_H_
#define FAIRLEAD_TOOL_CRYPT_CRYPT_TESTING_H_

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <numeric>
#include <string>
#include <utility>

#include "tool/testing.h"

namespace fairlead::tool::crypt_testing {

inline Outcome Crypt(const Words& arguments, const std::string& input = "") {
  return RunProgram({.arguments = Words{"crypt"} + arguments, .input = input});
}

// A model: plain RC4 that drops the first 12347 bytes of its stream.
inline std::string Rc4Model(const std::string& key, std::string bytes) {
  std::array<unsigned, 256> m{};
  std::iota(m.begin(), m.end(), 0U);
  for (unsigned i = 0, j = 0; i < 256; ++i) {
    j = (j + m[i] + static_cast<unsigned char>(key[i % key.size()])) % 256;
    std::swap(m[i], m[j]);
  }
  unsigned x = 0;
  unsigned y = 0;
  const auto next = [&] {
    x = (x + 1) % 256;
    y = (y + m[x]) % 256;
    std::swap(m[x], m[y]);
    return m[(m[x] + m[y]) % 256];
  };
  for (int i = 0; i < 12347; ++i) next();
  for (char& c : bytes)
    c = static_cast<char>(static_cast<unsigned char>(c) ^ next());
  return bytes;
}

// Expects the status, the message and no output.
inline void ExpectRefused(const Words& arguments, int status,
                          const std::string& message) {
  SCOPED_TRACE(message);
  const Outcome outcome = Crypt(arguments, "input");
  EXPECT_EQ(outcome.status, status);
  EXPECT_THAT(outcome.error, testing::HasSubstr(message));
  EXPECT_EQ(outcome.output, "");
}

}  // namespace fairlead::tool::crypt_testing

#endif  // FAIRLEAD_TOOL_CRYPT_CRYPT_TESTING_H_
