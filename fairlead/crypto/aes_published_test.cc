// All implementations of AES against NIST's known answers for ECB, if the
// Debian package python3-cryptography-vectors is installed.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "fairlead/crypto/aes.h"
#include "fairlead/crypto/aes_implementations.h"
#include "fairlead/crypto/ciphers_testing.h"

namespace fairlead::internal::aes_published_test {
namespace {

constexpr char kFolder[] =
    "/usr/lib/python3/dist-packages/cryptography_vectors/ciphers/AES/ECB";

using AesEachPublishedTest = AesImplementationTest;
INSTANTIATE_TEST_SUITE_P(Each, AesEachPublishedTest,
                         testing::ValuesIn(AesImplementations().begin(),
                                           AesImplementations().end()),
                         ImplementationName);

// The files have lines "NAME = value". An answer is complete when the key and
// both texts have been read.
struct Answer {
  std::string key, plain, cipher;

  // Returns false for a line without a value.
  bool Take(const std::string& line) {
    const std::size_t equals = line.find(" = ");
    if (equals == std::string::npos) return false;
    const std::string name = line.substr(0, equals);
    std::string value = line.substr(equals + 3);
    value.erase(value.find_last_not_of("\r ") + 1);
    if (name == "KEY") key = value;
    if (name == "PLAINTEXT") plain = value;
    if (name == "CIPHERTEXT") cipher = value;
    return true;
  }
  bool complete() const {
    return !key.empty() && !plain.empty() && !cipher.empty();
  }
};

void Check(const Answer& answer, bool encrypt) {
  const Bytes key = FromHex(answer.key);
  const AES aes(AsText(key), static_cast<int>(key.size()) * 8);
  Bytes data = FromHex(encrypt ? answer.plain : answer.cipher);
  const int size = static_cast<int>(data.size());
  encrypt ? aes.EncodeArray(data.data(), size)
          : aes.DecodeArray(data.data(), size);
  EXPECT_EQ(ToHex(data), encrypt ? answer.cipher : answer.plain)
      << "key " << answer.key;
}

// Checks the answers of a file in both directions. Returns their number.
int CheckFile(const std::filesystem::path& path) {
  SCOPED_TRACE(path.filename().string());
  std::ifstream file(path);
  Answer answer;
  int checked = 0;
  for (std::string line; std::getline(file, line);) {
    if (!answer.Take(line)) answer = {};
    if (!answer.complete()) continue;
    Check(answer, true);
    Check(answer, false);
    answer = {};
    ++checked;
  }
  return checked;
}

TEST_P(AesEachPublishedTest, GivesTheKnownAnswersOfNist) {
  if (!std::filesystem::is_directory(kFolder))
    GTEST_SKIP() << "python3-cryptography-vectors is not installed";
  int files = 0;
  for (const auto& entry : std::filesystem::directory_iterator(kFolder)) {
    EXPECT_GE(CheckFile(entry.path()), 10) << entry.path();
    ++files;
  }
  // Five kinds (GFSbox, KeySbox, VarKey, VarTxt, MMT) for three key sizes.
  EXPECT_GE(files, 15);
}

}  // namespace
}  // namespace fairlead::internal::aes_published_test
