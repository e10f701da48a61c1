// The command against real servers, if they are installed.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <string>

#include "tool/real_servers_testing.h"
#include "tool/testing.h"

namespace fairlead::tool::real_servers_test {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

TEST(RealServersTest, Redis) {
  if (!IsInstalled("redis-server"))
    GTEST_SKIP() << "redis-server is not installed";
  const TempFolder folder;
  const RealServer redis([&](int port) {
    return Launch{
        .arguments = {"--port", std::to_string(port), "--bind", "127.0.0.1",
                      "--save", "", "--dir", folder.path()},
        .output_path = "/dev/null",
        .program = "redis-server"};
  });
  const Outcome pong =
      redis.Send({"-text", "PING", "-eol", "crlf", "-lines", "1"});
  EXPECT_EQ(pong.output, "+PONG\r\n");
  EXPECT_EQ(pong.error, "");
  EXPECT_EQ(pong.status, 0);

  const Outcome both = redis.Send(
      {"-text", R"(SET k "a\\x00b"\r\nGET k\r\nQUIT\r\n)", "-idle", "60"});
  EXPECT_EQ(both.output, std::string("+OK\r\n$3\r\na\0b\r\n+OK\r\n", 19));
  EXPECT_EQ(both.status, 0);

  const std::string value(3'000'000, 'v');
  const std::string file =
      folder.File("body", "*3\r\n$3\r\nSET\r\n$3\r\nbig\r\n$" +
                              std::to_string(value.size()) + "\r\n" + value +
                              "\r\nGET big\r\nQUIT\r\n");
  const Outcome big = redis.Send({"-file", file, "-idle", "60"});
  EXPECT_TRUE(big.output == "+OK\r\n$" + std::to_string(value.size()) + "\r\n" +
                                value + "\r\n+OK\r\n");
}

TEST(RealServersTest, Memcached) {
  if (!IsInstalled("memcached")) GTEST_SKIP() << "memcached is not installed";
  const RealServer memcached([](int port) {
    return Launch{.arguments = {"-p", std::to_string(port), "-U", "0", "-l",
                                "127.0.0.1", "-u", "nobody"},
                  .program = "memcached"};
  });
  const Outcome stored = memcached.Send(
      {"-text", R"(set k 0 0 5\r\nhello\r\n)", "-until", R"(STORED\r\n)"});
  EXPECT_EQ(stored.output, "STORED\r\n");
  EXPECT_EQ(stored.status, 0);
  const Outcome got = memcached.Send(
      {"-text", "get k", "-eol", "crlf", "-until", R"(END\r\n)"});
  EXPECT_EQ(got.output, "VALUE k 0 5\r\nhello\r\nEND\r\n");
  const Outcome missing =
      memcached.Send({"-text", R"(get none\r\nquit\r\n)", "-until", "VALUE"});
  EXPECT_EQ(missing.output, "END\r\n");
  EXPECT_EQ(missing.status, 1);
}

TEST(RealServersTest, Nginx) {
  if (!IsInstalled("nginx")) GTEST_SKIP() << "nginx is not installed";
  const TempFolder folder;
  chmod(folder.path().c_str(), 0755);
  std::string page(2'000'000, 'p');
  for (std::size_t i = 0; i < page.size(); i += 97) page[i] = '\n';
  folder.File("page.txt", page);
  const RealServer nginx([&](int port) {
    const std::string configuration = folder.File(
        "nginx.conf",
        "daemon off; master_process off; pid nginx.pid; error_log stderr;\n"
        "events {}\n"
        "http {\n"
        "  access_log off;\n"
        "  client_body_temp_path body; proxy_temp_path proxy;\n"
        "  fastcgi_temp_path fastcgi; uwsgi_temp_path uwsgi;\n"
        "  scgi_temp_path scgi;\n"
        "  server { listen 127.0.0.1:" +
            std::to_string(port) + "; root " + folder.path() +
            "; }\n"
            "}\n");
    return Launch{
        .arguments = {"-p", folder.path(), "-c", configuration, "-e", "stderr"},
        .program = "nginx"};
  });
  const Outcome whole =
      nginx.Send({"-text", R"(GET /page.txt HTTP/1.0\r\n\r\n)", "-idle", "60"});
  EXPECT_THAT(whole.output.substr(0, 100), StartsWith("HTTP/1.1 200 OK\r\n"));
  EXPECT_TRUE(whole.output.ends_with("\r\n\r\n" + page));
  EXPECT_EQ(whole.status, 0);

  const Outcome none = nginx.Send(
      {"-text", R"(GET /none HTTP/1.0\r\n\r\n)", "-until", "404 Not Found"});
  EXPECT_THAT(none.output, HasSubstr("404 Not Found"));
  EXPECT_EQ(none.status, 0);
}

}  // namespace
}  // namespace fairlead::tool::real_servers_test
