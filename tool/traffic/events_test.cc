// The events of an exchange as JSON.

#include "tool/traffic/events.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>

namespace fairlead::tool::events_test {
namespace {

using std::chrono_literals::operator""ns;
using std::string_literals::operator""s;

TheTime At(std::time_t seconds, long nanoseconds) {  // NOLINT(*-runtime-int)
  TheTime time;
  time.ts = {.tv_sec = seconds, .tv_nsec = nanoseconds};
  return time;
}

const TheTime kNoon = At(1'769'860'800, 123'999'999);
constexpr const char* kPeer = "127.0.0.1:7000";

TEST(EventsTest, TheTimeIsUtcToTheMillisecond) {
  EXPECT_EQ(event::UtcTime(kNoon), "2026-01-31T12:00:00.123Z");
  EXPECT_EQ(event::UtcTime(At(0, 0)), "1970-01-01T00:00:00.000Z");
  EXPECT_EQ(event::UtcTime(At(0, 999'999)), "1970-01-01T00:00:00.000Z");
  EXPECT_EQ(event::UtcTime(At(0, 1'000'000)), "1970-01-01T00:00:00.001Z");
  EXPECT_EQ(event::UtcTime(At(1'709'251'199, 999'999'999)),
            "2024-02-29T23:59:59.999Z");
  EXPECT_EQ(event::UtcTime(At(-1, 5'000'000)), "1969-12-31T23:59:59.005Z");
}

TEST(EventsTest, EachIsOneObjectOnALine) {
  EXPECT_EQ(event::Resolved(kNoon, "box", "127.0.0.1"),
            R"({"event":"resolved","time":"2026-01-31T12:00:00.123Z",)"
            R"("host":"box","address":"127.0.0.1"})"
            "\n");
  EXPECT_EQ(event::Connected(kNoon, kPeer),
            R"({"event":"connected","time":"2026-01-31T12:00:00.123Z",)"
            R"("peer":"127.0.0.1:7000"})"
            "\n");
  EXPECT_EQ(event::Connected(kNoon, kPeer, 1'059'999ns),
            R"({"event":"connected","time":"2026-01-31T12:00:00.123Z",)"
            R"("peer":"127.0.0.1:7000","milliseconds":1.05})"
            "\n");
  EXPECT_EQ(event::Sent(kNoon, kPeer, "PING\r\n"),
            R"({"event":"sent","time":"2026-01-31T12:00:00.123Z",)"
            R"("peer":"127.0.0.1:7000","bytes":6,"data":"UElORw0K",)"
            R"("text":"PING\u000d\u000a"})"
            "\n");
  EXPECT_EQ(event::Closed(kNoon, kPeer, 6, 5'000'000'000, "the peer closed"),
            R"({"event":"closed","time":"2026-01-31T12:00:00.123Z",)"
            R"("peer":"127.0.0.1:7000","sent":6,"received":5000000000,)"
            R"("reason":"the peer closed"})"
            "\n");
  EXPECT_EQ(event::Error(kNoon, kNotConnected, "cannot connect to \"box\""),
            R"({"event":"error","time":"2026-01-31T12:00:00.123Z",)"
            R"("status":7,"message":"cannot connect to \"box\""})"
            "\n");
}

// The members from "bytes" on.
std::string BytesOf(const std::string& bytes) {
  const std::string line = event::Received(kNoon, kPeer, bytes);
  return line.substr(line.find("\"bytes\""));
}

TEST(EventsTest, OnlyBytesThatAreUtf8HaveAText) {
  EXPECT_EQ(BytesOf(""), "\"bytes\":0,\"data\":\"\",\"text\":\"\"}\n");
  EXPECT_EQ(BytesOf("a\0"s), R"("bytes":2,"data":"YQA=","text":"a\u0000"})"
                             "\n");
  EXPECT_EQ(BytesOf("\xc3\xab"),
            "\"bytes\":2,\"data\":\"w6s=\",\"text\":\"\xc3\xab\"}\n");
  EXPECT_EQ(BytesOf("\xc2\x85"), R"("bytes":2,"data":"woU=","text":"\u0085"})"
                                 "\n");
  EXPECT_EQ(BytesOf("\xeb"), "\"bytes\":1,\"data\":\"6w==\"}\n");
  EXPECT_EQ(BytesOf("ok\xff"), "\"bytes\":3,\"data\":\"b2v/\"}\n");
}

}  // namespace
}  // namespace fairlead::tool::events_test
