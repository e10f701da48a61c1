// Tests of a cipher's stream, and of what is said about keys and padding.

#include "tool/crypt/cipher.h"

#include <gtest/gtest.h>

#include <string>

#include "tool/crypt/crypt_testing.h"
#include "tool/testing.h"

namespace fairlead::tool::cipher_test {
namespace {

using crypt_testing::Rc4Model;

TEST(CipherTest, OneByteIsNoPlural) {
  EXPECT_EQ(PaddingNote(1), "padded the last AES block with 1 zero byte");
  EXPECT_EQ(PaddingNote(15), "padded the last AES block with 15 zero bytes");
  CipherKey key = {.bits = 128, .bytes = "k"};
  EXPECT_EQ(KeyPaddingNote(key),
            "padded the AES key of 1 byte to 16 with zeros");
  key.bytes = "ke";
  EXPECT_EQ(KeyPaddingNote(key),
            "padded the AES key of 2 bytes to 16 with zeros");
  key.bytes = std::string(16, 'k');
  EXPECT_EQ(KeyPaddingNote(key), "");
}

// A key that is given where the name of a variable belongs is not shown.
TEST(CipherTest, OnlyANameOfAVariableIsShown) {
  struct Case {
    const char* name;
    const char* shown;
  };
  for (const Case& c :
       {Case{"FAIRLEAD_NONE", "'FAIRLEAD_NONE'"}, Case{"none", "'none'"},
        Case{"_9", "'_9'"}, Case{"9secret", "(which is not a variable name)"},
        Case{"se-cret", "(which is not a variable name)"},
        Case{"~secret", "(which is not a variable name)"}}) {
    const Outcome outcome = Fairlead(
        {"crypt", "encrypt", "-stdin", "-keyenv", c.name, "-cipher", "rc4"});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.error,
              std::string("fairlead crypt: the environment variable of "
                          "-keyenv, ") +
                  c.shown + ", is not set\n");
  }
}

TEST(CipherStreamTest, ATextOfSeveralPartsIsEncryptedWhole) {
  const std::string plain = RandomBytes(2'500'000);
  CipherStream stream(
      {.cipher = Cipher::kRc4Stream, .bits = 0, .bytes = "secret"},
      Direction::kEncrypt);
  EXPECT_TRUE(stream.Take(plain) == Rc4Model("secret", plain));
}

}  // namespace
}  // namespace fairlead::tool::cipher_test
