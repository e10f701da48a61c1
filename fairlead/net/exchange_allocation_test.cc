// Exchanges while memory is short: std::bad_alloc or a result comes out of each
// failed allocation, in whichever thread, and the exchange can be used again.

#include <gtest/gtest.h>
#include <netdb.h>

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <string>
#include <string_view>

#include "fairlead/export.h"
#include "fairlead/net/exchange.h"
#include "fairlead/net/exchange_testing.h"
#include "fairlead/net/loopback_testing.h"

namespace {

// The allocations of all threads but the peers', and which fail.
struct Allocations {
  std::atomic<bool> counted = false;
  std::atomic<int> before = 0;  // Those that succeed first.
  std::atomic<int> hits = 0;
  bool for_ever = false;
};
Allocations allocations;
thread_local bool is_peer = false;

bool FailsNow() {
  if (is_peer || !allocations.counted) return false;
  if (allocations.before-- > 0) return false;
  return allocations.hits++ == 0 || allocations.for_ever;
}

}  // namespace

// Not inlined: g++ warns about a `free` of what `new` returned.
[[gnu::noinline]] FAIRLEAD_EXPORT void* operator new(std::size_t size) {
  void* const memory = FailsNow() ? nullptr : std::malloc(size == 0 ? 1 : size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}

[[gnu::noinline]] FAIRLEAD_EXPORT void operator delete(void* memory) noexcept {
  std::free(memory);
}

[[gnu::noinline]] FAIRLEAD_EXPORT void operator delete(
    void* memory, std::size_t /*size*/) noexcept {
  std::free(memory);
}

namespace fairlead::internal::exchange_allocation_test {
namespace {

// Counts what comes, without memory of its own.
class Count {
 public:
  Exchange::Sink Until(std::size_t enough) {
    return [this, enough](std::string_view bytes, const TheTime&) {
      bytes_ += bytes.size();
      return bytes_ >= enough;
    };
  }
  std::size_t bytes() const { return bytes_; }

 private:
  std::size_t bytes_ = 0;
};

constexpr std::size_t kNever = SIZE_MAX;

bool IsShortOfMemory(const ExchangeResult& result) {
  if (result.end != ExchangeEnd::kFailed) return false;
  return result.phase == ExchangePhase::kResolving
             ? result.error == EAI_MEMORY || result.error == EAI_AGAIN
             : result.error == ENOMEM;
}

class ExchangeAllocationTest : public testing::TestWithParam<const char*> {
 protected:
  ~ExchangeAllocationTest() override { allocations.counted = false; }

  // A turn with a long body and one with an input.
  ExchangeResult Converse(Exchange& exchange, Count& count) {
    ExchangeResult result = exchange.Connect(GetParam(), server_.port());
    if (result) result = exchange.Converse(body_, count.Until(3));
    if (result) {
      Pipe input;
      input.Write("hello");
      input.CloseWriting();
      result = exchange.Converse(ExchangeInput{.descriptor = input.ends[0]},
                                 count.Until(kNever));
    }
    return result;
  }

  // Returns whether an allocation has failed.
  bool ConverseWithFault(int before, bool for_ever) {
    Exchange exchange({.limits = kPatient, .half_close = false});
    Count count;
    ExchangeResult result;
    bool threw = false;
    allocations.before = before;
    allocations.hits = 0;
    allocations.for_ever = for_ever;
    allocations.counted = true;
    try {
      result = Converse(exchange, count);
    } catch (const std::bad_alloc&) {
      threw = true;
    }
    exchange.Close();
    allocations.counted = false;
    const bool hit = allocations.hits > 0;
    const bool done =
        result.end == ExchangeEnd::kPeerClosed && count.bytes() == 6;
    EXPECT_TRUE(done || (hit && (threw || IsShortOfMemory(result))))
        << result.Text() << " " << count.bytes();
    ExpectDone(exchange);
    return hit;
  }

  void ExpectDone(Exchange& exchange) {
    Count count;
    EXPECT_EQ(Converse(exchange, count).end, ExchangeEnd::kPeerClosed);
    EXPECT_EQ(count.bytes(), 6u);
  }

 private:
  const std::string body_ = std::string(1 << 20, 'x') + '\n';
  SerialServer server_{[this](Socket& peer) {
    is_peer = true;
    const std::size_t size = body_.size();
    if (peer.Receive(size).size() != size) return;
    peer.Send("ok\n");
    if (peer.Receive(5).size() == 5) peer.Send("ok\n");
  }};
};

TEST_P(ExchangeAllocationTest, AFailureIsAnExceptionOrAResult) {
  for (const bool for_ever : {false, true})
    for (int before = 0; before < 1000; ++before) {
      SCOPED_TRACE(testing::Message()
                   << "allocation " << before << (for_ever ? " and all" : ""));
      if (!ConverseWithFault(before, for_ever)) {
        EXPECT_GE(before, 4);
        break;
      }
      ASSERT_FALSE(HasFailure());
    }
}

INSTANTIATE_TEST_SUITE_P(Hosts, ExchangeAllocationTest,
                         testing::Values("127.0.0.1", "localhost"),
                         [](const auto& test) {
                           return test.index == 0 ? "Address" : "Name";
                         });

}  // namespace
}  // namespace fairlead::internal::exchange_allocation_test
