// The command against other programs that speak over TCP, if they are
// installed: a name server, a TLS server, and a client and server for anything.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "tool/listen/listen_testing.h"
#include "tool/real_servers_testing.h"
#include "tool/testing.h"

namespace fairlead::tool::real_peers_test {
namespace {

const Words kForever = {"-idle", "86400", "-timeout", "30"};

TEST(RealPeersTest, DnsmasqAnswersAQueryOverTcp) {
  if (!IsInstalled("dnsmasq")) GTEST_SKIP() << "dnsmasq is not installed";
  const RealServer dnsmasq([](int port) {
    return Launch{
        .arguments = {"--no-daemon", "--conf-file=/dev/null", "--no-resolv",
                      "--no-hosts", "--bind-interfaces",
                      "--pid-file=", "--listen-address=127.0.0.1",
                      "--address=/box.example/"
                      "10.1.2.3",
                      "--port=" + std::to_string(port)},
        .program = "dnsmasq"};
  });
  // A length, the number of the query, its flags, four counts, and the
  // question: the IPv4 address of box.example.
  const Outcome outcome =
      dnsmasq.Send(Words{"-hex",
                         "001d 1234 0100 0001 0000 0000 0000"
                         "03626f78 076578616d706c65 00 0001 0001",
                         "-bytes", "47"} +
                   kForever);
  const std::string question("\3box\7example\0\0\1\0\1", 17);
  const std::string answer("\xc0\x0c\0\1\0\1\0\0\0\0\0\4\12\1\2\3", 16);
  EXPECT_EQ(outcome.output,
            std::string("\0\x2d\x12\x34\x85\x80\0\1\0\1\0\0\0\0", 14) +
                question + answer);
  EXPECT_EQ(outcome.error, "");
  EXPECT_EQ(outcome.status, 0);
}

// A handshake message that says ClientHello and has nothing in it.
TEST(RealPeersTest, ATlsServerAnswersGarbageWithAnAlert) {
  if (!IsInstalled("openssl")) GTEST_SKIP() << "openssl is not installed";
  const TempFolder folder;
  const std::string key = folder.Path("key.pem");
  const std::string certificate = folder.Path("cert.pem");
  ASSERT_EQ(RunProgram({.arguments = {"req", "-x509", "-newkey", "ec",
                                      "-pkeyopt", "ec_paramgen_curve:P-256",
                                      "-nodes", "-subj", "/CN=localhost",
                                      "-keyout", key, "-out", certificate},
                        .program = "openssl"})
                .status,
            0);
  const RealServer server([&](int port) {
    return Launch{.arguments = {"s_server", "-accept",
                                "127.0.0.1:" + std::to_string(port), "-key",
                                key, "-cert", certificate},
                  .input_stays_open = true,
                  .program = "openssl"};
  });
  const Outcome outcome =
      server.Send(Words{"-hex", "16 0301 0004 01000000"} + kForever);
  // An alert of TLS 1.2, fatal: decode_error.
  EXPECT_EQ(outcome.output, std::string("\x15\3\3\0\2\2\x32", 7));
  EXPECT_EQ(outcome.error, "");
  EXPECT_EQ(outcome.status, 0);
}

class NcatTest : public testing::Test {
 protected:
  void SetUp() override {
    if (!IsInstalled("ncat")) GTEST_SKIP() << "ncat is not installed";
  }

  // Runs the shell command for each connection.
  static Launch Serve(int port, const std::string& command) {
    return {.arguments = {"--listen", "--keep-open", "127.0.0.1",
                          std::to_string(port), "--sh-exec", command},
            .program = "ncat"};
  }
};

TEST_F(NcatTest, EchoesAsAServer) {
  const RealServer ncat([](int port) { return Serve(port, "exec cat"); });
  const TempFolder folder;
  const std::string bytes = RandomBytes(20'000);  // More would stall ncat.
  const Outcome outcome =
      ncat.Send(Words{"-file", folder.File("body", bytes), "-bytes",
                      std::to_string(bytes.size())} +
                kForever);
  EXPECT_TRUE(outcome.output == bytes);
  EXPECT_EQ(outcome.error, "");
  EXPECT_EQ(outcome.status, 0);
}

TEST_F(NcatTest, SpeaksFirstAndClosesAsAServer) {
  const RealServer ncat([](int port) { return Serve(port, "echo hello"); });
  const Outcome outcome = ncat.Receive(kForever);
  EXPECT_EQ(outcome.output, "hello\n");
  EXPECT_EQ(outcome.error, "");
  EXPECT_EQ(outcome.status, 0);
}

TEST_F(NcatTest, HoldsADialogueAsAServer) {
  const RealServer ncat([](int port) {
    return Serve(port,
                 "printf 'name: '; read name; printf 'age: '; read age; "
                 "echo \"$name is $age\"");
  });
  const TempFolder folder;
  const Outcome outcome =
      ncat.Send(Words{"-script", folder.File("script",
                                             "until name: \n"
                                             "send Ann\n"
                                             "until age: \n"
                                             "send 7\n"
                                             "expect Ann is 7\n")} +
                kForever);
  EXPECT_EQ(outcome.output, "name: age: Ann is 7\n");
  EXPECT_EQ(outcome.error, "");
  EXPECT_EQ(outcome.status, 0);
}

TEST_F(NcatTest, IsEchoedAsAClient) {
  ListenProcess server({"-echo", "-timeout", "60"});
  const std::string bytes = RandomBytes(300'000);
  const Outcome client =
      RunProgram({.arguments = {"127.0.0.1", std::to_string(server.port())},
                  .input = bytes,
                  .program = "ncat"});
  EXPECT_TRUE(client.output == bytes);
  EXPECT_EQ(client.error, "");
  const Outcome served = server.Wait();
  EXPECT_TRUE(served.output == bytes);
  EXPECT_EQ(served.error, "");
  EXPECT_EQ(served.status, 0);
}

}  // namespace
}  // namespace fairlead::tool::real_peers_test
