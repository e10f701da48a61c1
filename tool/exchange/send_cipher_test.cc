// The ciphers and the checksum of `send`, with a server that knows the key.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <optional>
#include <sstream>
#include <string>
#include <thread>

#include "fairlead/bits/crc.h"
#include "fairlead/crypto/aes.h"
#include "fairlead/crypto/rc4.h"
#include "tool/io/read_file.h"
#include "tool/testing.h"

namespace fairlead::tool::send_cipher_test {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

const Words kForever = {"-idle", "86400", "-timeout", "86400"};
constexpr std::size_t kBlock = 16;

unsigned char* Bytes(std::string& text) {
  return reinterpret_cast<unsigned char*>(text.data());
}

std::string Padded(std::string bytes) {
  bytes.resize((bytes.size() + kBlock - 1) / kBlock * kBlock);
  return bytes;
}

// The cipher of the peer.
struct Peer {
  std::string cipher;
  std::string key;
  int bits = 128;

  std::string Encrypted(std::string plain) const {
    if (cipher == "rc4") return Rc4Of(plain);
    plain = Padded(plain);
    AES(key, bits).EncodeArray(Bytes(plain), static_cast<int>(plain.size()));
    return plain;
  }

  std::string Decrypted(std::string text) const {
    if (cipher == "rc4") return Rc4Of(text);
    AES(key, bits).DecodeArray(Bytes(text), static_cast<int>(text.size()));
    return text;
  }

  // Returns the encrypted size of a plain body.
  std::size_t SizeOf(std::size_t plain) const {
    return cipher == "rc4" ? plain : (plain + kBlock - 1) / kBlock * kBlock;
  }

  Words Arguments() const {
    Words words = {"-" + cipher, key};
    if (cipher == "aes") words = words + Words{"-bits", std::to_string(bits)};
    return words;
  }

 private:
  std::string Rc4Of(std::string text) const {
    RC4Key rc4_key{};
    std::ranges::copy(key, rc4_key.key);
    rc4_key.length = static_cast<std::uint8_t>(key.size());
    RC4(rc4_key).Encode(Bytes(text), static_cast<int>(text.size()));
    return text;
  }
};

const Peer kAes128 = {"aes", "0123456789abcdef", 128};
const Peer kRc4Peer = {"rc4", "secret"};
const std::array kPeers = {
    kAes128,
    Peer{"aes", "0123456789abcdefghijklmn", 192},
    Peer{"aes", "0123456789abcdefghijklmnopqrstuv", 256},
    kRc4Peer,
};

std::string Checksum(std::string body, int rotation) {
  CCRC crc{.rotation = rotation};
  crc.AddArr(Bytes(body), static_cast<int>(body.size()));
  std::string value;
  for (int shift = 56; shift >= 0; shift -= 8)
    value += static_cast<char>(crc.ReadCRC() >> shift);
  return value;
}

// Returns what the server decrypts from a `send` with these arguments. It
// replies with the encrypted bytes of `answer`.
std::string Received(const Peer& peer, const Words& arguments,
                     std::size_t plain_size, const std::string& input = "",
                     const std::string& answer = "ok") {
  std::string received;
  std::optional<ScriptedServer> server(std::in_place, [&](int connection) {
    received = Receive(connection, peer.SizeOf(plain_size));
    SendAll(connection, peer.Encrypted(answer));
  });
  const Outcome outcome =
      RunProgram({.arguments = server->Arguments("send") + peer.Arguments() +
                               arguments + kForever,
                  .input = input});
  server.reset();  // Its thread has written what it received.
  EXPECT_EQ(outcome.status, 0) << outcome.error;
  EXPECT_EQ(outcome.output, peer.cipher == "aes" ? Padded(answer) : answer);
  return peer.Decrypted(received);
}

TEST(SendCipherTest, BodiesOfEverySizeArriveAndAreAnswered) {
  for (const Peer& peer : kPeers) {
    for (const std::size_t size :
         {1U, 15U, 16U, 17U, 1800U, 1801U, 3600U, 100'003U}) {
      SCOPED_TRACE(peer.Arguments().back() + ", " + std::to_string(size));
      const std::string body = RandomBytes(size);
      const std::string got = Received(peer, {"-stdin"}, size, body);
      EXPECT_TRUE(got == (peer.cipher == "aes" ? Padded(body) : body));
    }
  }
}

TEST(SendCipherTest, LongAnswersAreDecryptedCompletely) {
  for (const Peer& peer : kPeers) {
    SCOPED_TRACE(peer.Arguments().back());
    Received(peer, {"-text", "x"}, 1, "", RandomBytes(100'003));
  }
}

TEST(SendCipherTest, TheDemoEchoesThePadding) {
  const Outcome aes =
      Fairlead(Words{"send", "-demo", "-text", "hello", "-verbose"} +
               kAes128.Arguments() + kForever);
  EXPECT_EQ(aes.output, Padded("hello"));
  EXPECT_EQ(aes.status, 0);
  EXPECT_THAT(
      aes.error,
      testing::StartsWith(
          "fairlead send: padded the last AES block with 11 zero bytes\n"));
  const Outcome rc4 = Fairlead(Words{"send", "-demo", "-text", "hello"} +
                               kRc4Peer.Arguments() + kForever);
  EXPECT_EQ(rc4.output, "hello");
  EXPECT_EQ(rc4.error, "");
}

// Waits for a line of the log, after which `send` has the bytes.
void AwaitInLog(const std::string& log, const std::string& event) {
  while (ReadFile(log).find(event) == std::string::npos)
    std::this_thread::yield();
}

TEST(SendCipherTest, RepliesMayBeSplitAnywhere) {
  const TempFolder folder;
  const std::string answer = "first block ....second block ...";
  for (const Peer& peer : kPeers) {
    for (const std::size_t cut : {1U, 7U, 15U, 16U, 17U, 31U}) {
      SCOPED_TRACE(cut);
      const std::string log = folder.File("log", "");
      ScriptedServer server([&](int connection) {
        Receive(connection, peer.SizeOf(1));
        const std::string text = peer.Encrypted(answer);
        SendAll(connection, text.substr(0, cut));
        AwaitInLog(log, "received " + std::to_string(cut) + " byte");
        SendAll(connection, text.substr(cut));
      });
      const Outcome outcome =
          Fairlead(server.Arguments("send") + peer.Arguments() +
                   Words{"-text", "x", "-log", log} + kForever);
      EXPECT_EQ(outcome.output, answer);
      EXPECT_EQ(outcome.status, 0) << outcome.error;
    }
  }
}

// Bytes that do not complete a block are not a message, but end the silence.
TEST(SendCipherTest, AMessageCountsOnceItCompletesABlock) {
  const TempFolder folder;
  const std::string log = folder.File("log", "");
  ScriptedServer server([&](int connection) {
    Receive(connection, 16);
    const std::string text = kAes128.Encrypted("sixteen letters!");
    SendAll(connection, text.substr(0, 7));
    AwaitInLog(log, "received 7 bytes");
    SendAll(connection, text.substr(7));
    ReceiveAll(connection);
  });
  const Outcome outcome =
      Fairlead(server.Arguments("send") + kAes128.Arguments() +
               Words{"-text", "x", "-log", log, "-messages", "1"} + kForever);
  EXPECT_EQ(outcome.output, "sixteen letters!");
  EXPECT_EQ(outcome.status, 0) << outcome.error;
}

// A message has at most 1796 bytes, which is not a multiple of the block. The
// views show whole blocks and lose none.
TEST(SendCipherTest, ViewsShowWholeBlocks) {
  const std::string body(28'736, 'x');
  const Outcome outcome = RunProgram(
      {.arguments = Words{"send", "-demo", "-stdin", "-view", "text"} +
                    kAes128.Arguments() + kForever,
       .input = body});
  std::string shown;
  std::istringstream lines(outcome.output);
  for (std::string line; std::getline(lines, line);) {
    const std::string text = line.substr(line.find("] ") + 2);
    EXPECT_FALSE(text.empty());
    EXPECT_EQ(text.size() % kBlock, 0U);
    shown += text;
  }
  EXPECT_EQ(shown, body);
}

// The peer replies and stays connected: only a stop rule ends the exchange.
Outcome StoppedBy(const Peer& peer, const std::string& text,
                  const Words& rule) {
  ScriptedServer server([&](int connection) {
    Receive(connection, peer.SizeOf(1));
    SendAll(connection, text);
    ReceiveAll(connection);
  });
  return Fairlead(server.Arguments("send") + peer.Arguments() +
                  Words{"-text", "x"} + rule + kForever);
}

TEST(SendCipherTest, RulesSeeTheDecryptedBytes) {
  const std::string plain = "one\ntwo\nthe end.";
  for (const Peer& peer : kPeers)
    for (const Words& rule : {Words{"-lines", "2"},
                              {"-bytes", "16"},
                              {"-until", "end."},
                              {"-messages", "1"}}) {
      SCOPED_TRACE(rule[0]);
      const Outcome outcome = StoppedBy(peer, peer.Encrypted(plain), rule);
      EXPECT_EQ(outcome.output, plain);
      EXPECT_EQ(outcome.status, 0) << outcome.error;
    }
}

TEST(SendCipherTest, AnIncompleteBlockAfterTheMatchIsDiscarded) {
  const std::string text = kAes128.Encrypted("sixteen letters!") + "12345";
  const Outcome outcome =
      StoppedBy(kAes128, text, {"-until", "letters", "-verbose"});
  EXPECT_EQ(outcome.output, "sixteen letters!");
  EXPECT_EQ(outcome.status, 0);
  EXPECT_THAT(
      outcome.error,
      EndsWith("fairlead send: discarded 5 trailing bytes of an incomplete "
               "cipher block\n"));
}

TEST(SendCipherTest, AReplyThatEndsWithinABlockIsAFailure) {
  ScriptedServer server([](int connection) {
    Receive(connection, 16);
    SendAll(connection, kAes128.Encrypted("sixteen letters!") + "12345");
  });
  const Outcome outcome = Fairlead(server.Arguments("send") +
                                   kAes128.Arguments() + Words{"-text", "x"});
  EXPECT_EQ(outcome.output, "sixteen letters!");
  EXPECT_EQ(outcome.status, 56);
  EXPECT_THAT(
      outcome.error,
      EndsWith("fairlead send: receiving failed: the last 5 bytes are an "
               "incomplete block of 16, which AES cannot decrypt; the "
               "peer closed\n"));
}

TEST(SendCipherTest, LessThanABlockIsAnAnswer) {
  ScriptedServer server([](int connection) {
    Receive(connection, 16);
    SendAll(connection, "12345");
  });
  const Outcome outcome =
      Fairlead(server.Arguments("send") + kAes128.Arguments() +
               Words{"-text", "x", "-until", "y"});
  EXPECT_EQ(outcome.output, "");
  EXPECT_EQ(outcome.status, 56);
}

TEST(SendCipherTest, TheChecksumFollowsTheBody) {
  const Outcome known = Fairlead(
      Words{"send", "-demo", "-hex", "0101", "-sum", "1", "-quiet"} + kForever);
  EXPECT_EQ(known.output, "\1\1" + std::string(7, '\0') + "\3");
  const std::string bytes = std::string(1, '\0') + "\xff\xe9\x80 text";
  for (const int rotation : {0, 1, 5, 16, 31, 32}) {
    const Outcome outcome =
        RunProgram({.arguments = Words{"send", "-demo", "-stdin", "-sum",
                                       std::to_string(rotation)} +
                                 kForever,
                    .input = bytes});
    EXPECT_EQ(outcome.output, bytes + Checksum(bytes, rotation));
  }
}

TEST(SendCipherTest, TheChecksumIsThatOfTheCommandSum) {
  const std::string digits = "00ffe98020746578746162";
  const auto sum = [&](const Words& rotation) {
    return Fairlead(Words{"sum", "-hex", digits, "-form", "64"} + rotation)
        .output;
  };
  const auto sent = [&](const std::string& rotation) {
    std::string line = Fairlead(Words{"send", "-demo", "-hex", digits, "-sum",
                                      rotation, "-view", "hex"} +
                                kForever)
                           .output;
    std::erase(line, ' ');
    return line.substr(line.find(digits) + digits.size(), 16) + "\n";
  };
  EXPECT_EQ(sent("5"), sum({"-rotation", "5"}));
  EXPECT_EQ(sent("27"), sum({"-back", "5"}));
  EXPECT_NE(sent("27"), sent("5"));
}

TEST(SendCipherTest, AnEmptyBodyHasAChecksum) {
  EXPECT_EQ(
      Fairlead(Words{"send", "-demo", "-text", "", "-sum", "5"} + kForever)
          .output,
      std::string(8, '\0'));
}

TEST(SendCipherTest, LineEndAndLengthEncloseTheBodyAndChecksum) {
  const std::string sum = Checksum("abc", 7);
  EXPECT_EQ(Fairlead(Words{"send", "-demo", "-text", "abc", "-sum", "7", "-eol",
                           "crlf", "-pascal"} +
                     kForever)
                .output,
            "\x0d"
            "abc" +
                sum + "\r\n");
}

TEST(SendCipherTest, EverythingIsEncrypted) {
  const std::string wanted =
      "\x0c"
      "abc" +
      Checksum("abc", 7) + "\n";
  for (const Peer& peer : kPeers) {
    const std::string got =
        Received(peer, {"-text", "abc", "-sum", "7", "-eol", "lf", "-pascal"},
                 wanted.size());
    EXPECT_EQ(got, peer.cipher == "aes" ? Padded(wanted) : wanted);
  }
}

TEST(SendCipherTest, KeysHaveSeveralSources) {
  const TempFolder folder;
  for (const Peer& peer : {kAes128, kRc4Peer}) {
    SCOPED_TRACE(peer.cipher);
    const Outcome wanted = Fairlead(Words{"send", "-demo", "-text", "hello"} +
                                    peer.Arguments() + kForever);
    const Words by = {"send",  "-demo",   "-text",
                      "hello", "-cipher", peer.cipher};
    const Outcome file = Fairlead(
        by + Words{"-keyfile", folder.File("key", peer.key + "\n")} + kForever);
    EXPECT_EQ(file.output, wanted.output);
    EXPECT_EQ(file.error, wanted.error);
    const Outcome variable =
        RunProgram({.arguments = by + Words{"-keyenv", "BOX_KEY"} + kForever,
                    .environment = {"BOX_KEY=" + peer.key}});
    EXPECT_EQ(variable.output, wanted.output);
    EXPECT_EQ(variable.error, wanted.error);
  }
}

TEST(SendCipherTest, OnlyVerboseReportsAShortKey) {
  const Words send =
      Words{"send", "-demo", "-text", "x", "-aes", "five!"} + kForever;
  EXPECT_THAT(
      Fairlead(send + Words{"-verbose"}).error,
      testing::StartsWith(
          "fairlead send: padded the AES key of 5 bytes to 16 with zeros\n"));
  const Outcome outcome = Fairlead(send);
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.error, "");
}

TEST(SendCipherTest, KeysAreNotLogged) {
  const TempFolder folder;
  const std::string log = folder.File("log", "");
  EXPECT_EQ(Fairlead(Words{"send", "-demo", "-text", "hello", "-log", log} +
                     kAes128.Arguments() + kForever)
                .status,
            0);
  const std::string lines = ReadFile(log);
  EXPECT_THAT(lines, HasSubstr("sent 16 bytes"));
  EXPECT_THAT(lines, Not(HasSubstr(kAes128.key)));
}

// Expects the status, the message and no output.
void ExpectRefused(const Words& arguments, int status,
                   const std::string& message) {
  SCOPED_TRACE(message);
  const Outcome outcome =
      Fairlead(Words{"send", "-demo", "-text", "x"} + arguments);
  EXPECT_EQ(outcome.status, status);
  EXPECT_THAT(outcome.error, HasSubstr("fairlead send: " + message));
  EXPECT_EQ(outcome.output, "");
}

TEST(SendCipherTest, ReportsAWrongUsage) {
  ExpectRefused({"-aes", "k", "-rc4", "k"}, 2,
                "-aes and -rc4 cannot be combined");
  ExpectRefused({"-aes", "k", "-cipher", "aes", "-keyenv", "PATH"}, 2,
                "-aes and -cipher cannot be combined");
  ExpectRefused({"-bits", "256"}, 2, "-bits needs -aes or -cipher aes");
  ExpectRefused({"-rc4", "k", "-bits", "256"}, 2,
                "-bits needs -aes or -cipher aes");
  ExpectRefused({"-keyfile", "x"}, 2, "-keyfile needs -cipher aes|rc4");
  ExpectRefused({"-cipher", "rc4"}, 2,
                "-cipher needs -keyfile FILE or -keyenv NAME");
  ExpectRefused(
      {"-aes", std::string(17, 'x')}, 2,
      "the key of -aes has 17 bytes; AES of 128 bits accepts at most 16");
  ExpectRefused({"-cipher", "rc4", "-keyfile", "/nonexistent"}, 26,
                "cannot open '/nonexistent'");
  ExpectRefused({"-sum", "33"}, 2,
                "-sum: 33 is out of range (expected 0 to 32)");
  ExpectRefused({"-sum", "-5"}, 2, "-sum");
  ExpectRefused({"-sum", "x"}, 2, "-sum: 'x' is not an integer");
}

}  // namespace
}  // namespace fairlead::tool::send_cipher_test
