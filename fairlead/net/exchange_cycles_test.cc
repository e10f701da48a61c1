// Many exchanges in random order, two at a time: connecting, sending, floods,
// resets and ends on either side. FAIRLEAD_CYCLES says how many.

#include <gtest/gtest.h>
#include <sys/socket.h>

#include <array>
#include <charconv>
#include <chrono>
#include <cstddef>
#include <cstdlib>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <thread>

#include "fairlead/net/exchange.h"
#include "fairlead/net/exchange_testing.h"
#include "fairlead/net/loopback_testing.h"

namespace fairlead::internal::exchange_cycles_test {
namespace {

constexpr int kThreads = 2;

int Cycles() {
  int cycles = 300;
  if (const char* const text = std::getenv("FAIRLEAD_CYCLES"))
    std::from_chars(text, text + std::string_view(text).size(), cycles);
  return cycles;
}

void Flood(const Socket& peer) {
  const std::string piece(1 << 16, 'x');
  while (peer.Send(piece)) {
  }
}

void ReadAll(const Socket& peer) {
  std::array<char, 1 << 16> buffer{};
  while (recv(peer.number(), buffer.data(), buffer.size(), 0) > 0) {
  }
}

// The first byte of a connection says what to do.
void Serve(Socket& peer) {
  const std::string command = peer.Receive(1);
  if (command == "a") {  // Answer, and read until the end.
    peer.Send("answer");
    ReadAll(peer);
  }
  if (command == "f") Flood(peer);
  if (command == "r") peer.Reset();
  if (command == "h") {  // Half an answer.
    peer.Send("ans");
    peer.Reset();
  }
  if (command == "c") peer.Send("answer");
}

struct Plan {
  char command;
  std::size_t enough;  // Bytes.
  ExchangeEnd end;
};

constexpr std::size_t kNever = std::string::npos;
constexpr Plan kPlans[] = {
    {'a', 6, ExchangeEnd::kDone},
    {'f', 1, ExchangeEnd::kDone},
    {'f', 3'000'000, ExchangeEnd::kDone},
    {'r', kNever, ExchangeEnd::kPeerReset},
    {'h', kNever, ExchangeEnd::kPeerReset},
    {'c', kNever, ExchangeEnd::kPeerClosed},
};

class Cycler {
 public:
  explicit Cycler(unsigned int seed) : random_(seed) {}

  void Run(int cycles) {
    for (int cycle = 0; cycle < cycles && !testing::Test::HasFailure();
         ++cycle) {
      SCOPED_TRACE(cycle);
      const Plan& plan = kPlans[Below(std::size(kPlans))];
      ASSERT_TRUE(exchange_->Connect("127.0.0.1", server_.port()));
      const ExchangeResult result = Converse(plan);
      EXPECT_EQ(result.end, plan.end) << plan.command << result.Text();
      End();
    }
  }

 private:
  std::size_t Below(std::size_t end) { return random_() % end; }

  // A long body is only for a peer that reads it.
  ExchangeResult Converse(const Plan& plan) {
    std::string body(1, plan.command);
    if (plan.command == 'a' && Below(4) == 0) body += large_;
    std::size_t received = 0;
    const auto sink = [&](std::string_view bytes, const TheTime&) {
      received += bytes.size();
      return bytes.empty() || received >= plan.enough;
    };
    if (body.size() > 1 || Below(2) == 0)
      return exchange_->Converse(body, sink);
    Pipe input;
    input.Write(body);
    if (Below(2) == 0) input.CloseWriting();
    return exchange_->Converse(ExchangeInput{.descriptor = input.ends[0]},
                               sink);
  }

  // By Close(), by the destructor, or by the next Connect().
  void End() {
    const std::size_t way = Below(3);
    if (way == 0) exchange_->Close();
    if (way == 1) exchange_.emplace(ExchangeOptions{.limits = kPatient});
  }

  std::mt19937 random_;
  const std::string large_ = std::string(1'000'000, 'x');
  SerialServer server_{Serve};
  std::optional<Exchange> exchange_{ExchangeOptions{.limits = kPatient}};
};

TEST(ExchangeCyclesTest, EachEndsAsItsPeerDoes) {
  const unsigned int seed = std::random_device()();
  const int cycles = Cycles() / kThreads;
  ASSERT_GT(cycles, 0);
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::array<std::thread, kThreads> threads;
  for (unsigned int i = 0; i < kThreads; ++i)
    threads[i] = std::thread([=] {
      SCOPED_TRACE(testing::Message() << "seed " << seed + i);
      Cycler(seed + i).Run(cycles);
    });
  for (std::thread& thread : threads) thread.join();
}

}  // namespace
}  // namespace fairlead::internal::exchange_cycles_test
