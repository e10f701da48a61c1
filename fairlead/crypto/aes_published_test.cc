// AES by every path against NIST's known answers for ECB, where the Debian
// package python3-cryptography-vectors has brought them.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "fairlead/crypto/aes.h"
#include "fairlead/crypto/aes_paths.h"
#include "fairlead/crypto/ciphers_testing.h"

namespace fairlead {
namespace {

constexpr char kFolder[] =
    "/usr/lib/python3/dist-packages/cryptography_vectors/ciphers/AES/ECB";

INSTANTIATE_TEST_SUITE_P(Paths, AesPathTest,
                         testing::ValuesIn(AesPaths().begin(),
                                           AesPaths().end()),
                         PathName);

// The files are lines "NAME = value"; an answer is complete when key and both
// texts have come, and the section says which text is the question.
struct Answer {
  std::string key, plain, cipher;

  // False for a line that is none of the three.
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

// Checks every answer of a file in both directions; returns how many.
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

TEST_P(AesPathTest, GivesTheKnownAnswersOfNist) {
  if (!std::filesystem::is_directory(kFolder))
    GTEST_SKIP() << "no known answers: install python3-cryptography-vectors";
  int files = 0;
  for (const auto& entry : std::filesystem::directory_iterator(kFolder)) {
    EXPECT_GE(CheckFile(entry.path()), 10) << entry.path();
    ++files;
  }
  // Five kinds (GFSbox, KeySbox, VarKey, VarTxt, MMT) of three key sizes.
  EXPECT_GE(files, 15);
}

}  // namespace
}  // namespace fairlead
