// Base64, by the vectors of its RFC and by another implementation.

#include "tool/base/base64.h"

#include <gtest/gtest.h>
#include <openssl/evp.h>

#include <cstddef>
#include <random>
#include <string>
#include <vector>

namespace fairlead::tool {
namespace {

// RFC 4648, section 10.
TEST(Base64Test, TheVectorsOfTheRfc) {
  EXPECT_EQ(Base64(""), "");
  EXPECT_EQ(Base64("f"), "Zg==");
  EXPECT_EQ(Base64("fo"), "Zm8=");
  EXPECT_EQ(Base64("foo"), "Zm9v");
  EXPECT_EQ(Base64("foob"), "Zm9vYg==");
  EXPECT_EQ(Base64("fooba"), "Zm9vYmE=");
  EXPECT_EQ(Base64("foobar"), "Zm9vYmFy");
}

TEST(Base64Test, BytesBeyondAscii) {
  EXPECT_EQ(Base64({"\0\xff\xfe", 3}), "AP/+");
  EXPECT_EQ(Base64({"\0", 1}), "AA==");
  EXPECT_EQ(Base64("\xfb\xef\xbe"), "++++");
  EXPECT_EQ(Base64("\xff\xff\xff\xff"), "/////w==");
}

std::string OpenSslBase64(const std::string& bytes) {
  std::vector<unsigned char> text(bytes.size() / 3 * 4 + 5);
  const int size = EVP_EncodeBlock(
      text.data(), reinterpret_cast<const unsigned char*>(bytes.data()),
      static_cast<int>(bytes.size()));
  return {text.begin(), text.begin() + size};
}

TEST(Base64Test, RandomBytesAreEncodedAsByOpenSsl) {
  const unsigned seed = std::random_device()();
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::mt19937 random(seed);
  for (std::size_t size = 0; size < 500; ++size) {
    std::string bytes(size, '\0');
    for (char& byte : bytes) byte = static_cast<char>(random());
    ASSERT_EQ(Base64(bytes), OpenSslBase64(bytes)) << size << " bytes";
  }
}

}  // namespace
}  // namespace fairlead::tool
