// The command against daemons that need a user, folders or files of their own,
// if they are installed: a mail server, a database, and an SSH server.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <system_error>

#include "tool/real_servers_testing.h"
#include "tool/testing.h"

namespace fairlead::tool::real_daemons_test {
namespace {

using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::StartsWith;

const Words kForever = {"-idle", "86400", "-timeout", "30"};

// Its spool and its socket have fixed paths, which it finds empty.
class MailTest : public testing::Test {
 protected:
  void SetUp() override {
    if (!IsInstalled("smtpd")) GTEST_SKIP() << "opensmtpd is not installed";
    if (const std::string why = WhyNoNamespaces(); !why.empty())
      GTEST_SKIP() << why;
    server_ = std::make_unique<RealServer>([&](int port) {
      const std::string configuration = folder_.File(
          "smtpd.conf", "listen on 127.0.0.1 port " + std::to_string(port) +
                            " hostname mail.example\n"
                            "action \"keep\" mda \"cat\" user root\n"
                            "match from any for any action \"keep\"\n");
      return InOwnNamespaces(
          "mount -t tmpfs none /var/spool && mkdir -m 711 /var/spool/smtpd && "
          "mount -t tmpfs none /run && exec smtpd -d -P mda -f \"$1\"",
          {configuration});
    });
  }

  Outcome Run(const std::string& script) const {
    return server_->Send(
        Words{"-eol", "crlf", "-script", folder_.File("script", script)} +
        kForever);
  }
  std::string Script() const { return folder_.Path("script"); }

 private:
  const TempFolder folder_;
  std::unique_ptr<RealServer> server_;
};

constexpr std::string_view kMail =
    "expect 220\n"
    "send EHLO client.example\n"
    "expect 250\n"
    "send MAIL FROM:<a@client.example>\n"
    "expect 250\n"
    "send RCPT TO:<root@mail.example>\n"
    "expect 250\n"
    "send DATA\n"
    "expect 354\n"
    "send Subject: hello\n"
    "send\n"
    "send A text.\n"
    "send .\n"
    "expect 250\n"
    "send QUIT\n"
    "expect 221\n";

TEST_F(MailTest, TakesAMessage) {
  const Outcome outcome = Run(std::string(kMail));
  EXPECT_THAT(
      outcome.output,
      AllOf(StartsWith("220 mail.example ESMTP OpenSMTPD\r\n"
                       "250-mail.example Hello client.example [127.0.0.1], "
                       "pleased to meet you\r\n250-"),
            HasSubstr("\r\n250 HELP\r\n"
                      "250 2.0.0 Ok\r\n"
                      "250 2.1.5 Destination address valid: Recipient ok\r\n"
                      "354 Enter mail, end with \".\" on a line by itself\r\n"
                      "250 2.0.0 "),
            EndsWith(" Message accepted for delivery\r\n221 2.0.0 Bye\r\n")));
  EXPECT_EQ(outcome.error, "");
  EXPECT_EQ(outcome.status, 0);
}

TEST_F(MailTest, RefusesACommandOutOfTurn) {
  const Outcome outcome =
      Run("expect 220\n"
          "send HELO client.example\n"
          "expect 250\n"
          "send DATA\n"
          "expect 354\n"
          "send QUIT\n");
  EXPECT_THAT(outcome.output, EndsWith("\r\n503 5.5.1 Invalid command: Command "
                                       "not allowed at this point.\r\n"));
  EXPECT_EQ(outcome.error,
            "fairlead send: " + Script() +
                ":5: expected '354': got '503 5.5.1 Invalid command: Command "
                "not allowed at this point.'\n");
  EXPECT_EQ(outcome.status, 1);
}

// Its programs are outside the search path; the newest version is the last.
std::string DatabasePrograms() {
  const std::filesystem::path versions = "/usr/lib/postgresql";
  std::string found;
  std::error_code error;
  for (const auto& version :
       std::filesystem::directory_iterator(versions, error))
    if (exists(version.path() / "bin/initdb"))
      found = std::max(found, (version.path() / "bin").string());
  return found;
}

// The database refuses to run as root.
Launch AsAnybody(const std::string& program, const Words& arguments) {
  if (geteuid() != 0) return {.arguments = arguments, .program = program};
  return {.arguments = Words{"--reuid=65534", "--regid=65534", "--clear-groups",
                             program} +
                       arguments,
          .program = "setpriv"};
}

class DatabaseTest : public testing::Test {
 protected:
  void SetUp() override {
    const std::string programs = DatabasePrograms();
    if (programs.empty()) GTEST_SKIP() << "postgresql is not installed";
    const std::string data = folder_.Path("data");
    ASSERT_EQ(chmod(folder_.path().c_str(), 0755), 0);
    ASSERT_EQ(mkdir(data.c_str(), 0700), 0);
    ASSERT_TRUE(geteuid() != 0 || chown(data.c_str(), 65534, 65534) == 0);
    const Outcome made = RunProgram(AsAnybody(
        programs + "/initdb", {"-D", data, "-U", "postgres", "--auth=trust",
                               "--no-sync", "--locale=C"}));
    ASSERT_EQ(made.status, 0) << made.error;
    server_ = std::make_unique<RealServer>([&](int port) {
      return AsAnybody(programs + "/postgres",
                       {"-D", data, "-p", std::to_string(port), "-k", "", "-c",
                        "listen_addresses=127.0.0.1", "-c", "fsync=off"});
    });
  }

  // So that it removes its shared memory.
  void TearDown() override {
    if (server_) server_->End(SIGQUIT);
  }

  const TempFolder folder_;
  std::unique_ptr<RealServer> server_;
};

TEST_F(DatabaseTest, RefusesWhatItDoesNotKnow) {
  // It asks for TLS: not here.
  const Outcome tls = server_->Send(
      Words{"-hex", "00000008 04d2162f", "-bytes", "1"} + kForever);
  EXPECT_EQ(tls.output, "N");
  EXPECT_EQ(tls.status, 0);

  // Version 1.1 of its protocol.
  const Outcome version =
      server_->Send(Words{"-hex", "00000009 00010001 00"} + kForever);
  EXPECT_EQ(version.output,
            std::string("EFATAL:  unsupported frontend protocol 1.1: server "
                        "supports 3.0 to 3.0\n") +
                '\0');
  EXPECT_EQ(version.error, "");
  EXPECT_EQ(version.status, 0);

  // "user", "me": let in without a password, and unknown.
  const std::string me = "00000011 00030000 7573657200 6d6500 00";
  const Outcome user = server_->Send(Words{"-hex", me} + kForever);
  EXPECT_TRUE(user.output.starts_with(std::string("R\0\0\0\10\0\0\0\0E", 10)));
  EXPECT_THAT(user.output, HasSubstr("Mrole \"me\" does not exist"));
  EXPECT_EQ(user.error, "");
  EXPECT_EQ(user.status, 0);

  const Outcome rejected =
      server_->Send(Words{"-hex", me, "-reject", "FATAL"} + kForever);
  EXPECT_EQ(rejected.status, 1);
  EXPECT_THAT(
      rejected.error,
      AllOf(StartsWith("fairlead send: the text of -reject came: "
                       R"('R\x00\x00\x00\x08\x00\x00\x00\x00E\x00)"),
            HasSubstr(R"(SFATAL\x00VFATAL\x00C28000\x00Mrole "me" does not )"
                      "exist")));
}

// As root it needs a folder that exists only while the service runs.
TEST(SshTest, AnnouncesItself) {
  if (!IsInstalled("/usr/sbin/sshd"))
    GTEST_SKIP() << "openssh-server is not installed";
  if (const std::string why = WhyNoNamespaces(); !why.empty())
    GTEST_SKIP() << why;
  const TempFolder folder;
  const std::string key = folder.Path("key");
  ASSERT_EQ(
      RunProgram({.arguments = {"-q", "-t", "ed25519", "-N", "", "-f", key},
                  .program = "ssh-keygen"})
          .status,
      0);
  const RealServer sshd([&](int port) {
    return InOwnNamespaces(
        "mount -t tmpfs none /run && mkdir -m 755 /run/sshd && "
        "exec /usr/sbin/sshd -D -e -f /dev/null -h \"$1\" -p \"$2\" "
        "-o ListenAddress=127.0.0.1 -o PidFile=none",
        {key, std::to_string(port)});
  });
  const Outcome outcome = sshd.Receive(Words{"-lines", "1"} + kForever);
  EXPECT_THAT(outcome.output, MatchesRegex("SSH-2\\.0-OpenSSH_[^\r\n]*\r\n"));
  EXPECT_EQ(outcome.error, "");
  EXPECT_EQ(outcome.status, 0);
}

int ListenOn(in_addr_t host, int port) {
  const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<in_port_t>(port));
  address.sin_addr.s_addr = htonl(host);
  EXPECT_EQ(bind(listener, reinterpret_cast<const sockaddr*>(&address),
                 sizeof address),
            0);
  EXPECT_EQ(listen(listener, 1), 0);
  return listener;
}

// A name with two addresses, in a hosts file of its own. The queue of the first
// is full, so that no connection to it is ever made.
TEST(TwoAddressesTest, AConnectTimeoutLeadsToTheSecond) {
  if (const std::string why = WhyNoNamespaces(); !why.empty())
    GTEST_SKIP() << why;
  const int black_hole = ListenOnLoopback(0);
  const int port = PortOf(black_hole);
  const int only = ConnectToPort(port);
  const int second = ListenOn(INADDR_LOOPBACK + 8, port);  // 127.0.0.9

  const TempFolder folder;
  const std::string hosts =
      folder.File("hosts", "127.0.0.1 two.example\n127.0.0.9 two.example\n");
  const Outcome outcome = RunProgram(InOwnNamespaces(
      "mount --bind \"$1\" /etc/hosts && exec \"$2\" send -none -verbose -host "
      "two.example -port \"$3\" -connecttimeout 200ms -timeout 60",
      {hosts, Program(), std::to_string(port)}));
  EXPECT_THAT(outcome.error,
              HasSubstr("fairlead send: no connection to 127.0.0.1 port " +
                        std::to_string(port) +
                        ": Connection timed out\n"
                        "fairlead send: connected to 127.0.0.9:" +
                        std::to_string(port) + "\n"));
  EXPECT_EQ(outcome.status, 0);
  for (const int socket : {second, only, black_hole}) close(socket);
}

}  // namespace
}  // namespace fairlead::tool::real_daemons_test
