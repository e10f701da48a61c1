// How cost grows: from 10 to 10 million lines, keys, bytes and messages, and
// from 1 to 16 threads. `./dev bench -charts Growth` draws the time of one of
// them.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "fairlead/bits/crc.h"
#include "fairlead/crypto/aes.h"
#include "fairlead/ini/ini_document.h"
#include "fairlead/ini/ini_file.h"
#include "fairlead/log/log.h"
#include "fairlead/log/only_once.h"
#include "fairlead/net/loopback_testing.h"
#include "fairlead/net/tcp_client.h"
#include "fairlead/testing/memory_file.h"
#include "fairlead/testing/temp_folder.h"

namespace {

using Clock = std::chrono::steady_clock;

std::size_t CountOf(const benchmark::State& state) {
  return static_cast<std::size_t>(state.range(0));
}

void UpTo10Million(benchmark::internal::Benchmark* benchmark) {
  benchmark->RangeMultiplier(10)->Range(10, 10'000'000);
}

// A line or message takes more memory than the others.
void UpToAMillion(benchmark::internal::Benchmark* benchmark) {
  benchmark->RangeMultiplier(10)->Range(10, 1'000'000);
}

std::string Lines(std::size_t count) {
  std::string text = "[section]\n";
  for (std::size_t i = 1; i < count; ++i)
    text += "key" + std::to_string(i) + " = value\n";
  return text;
}

void BM_DocumentLines(benchmark::State& state) {
  const std::string text = Lines(CountOf(state));
  for (auto _ : state) {
    fairlead::IniDocument document(text);
    document.Set({"section", "key1"}, "new");
    benchmark::DoNotOptimize(document);
  }
}
BENCHMARK(BM_DocumentLines)
    ->Name("GrowthDocumentLines/fairlead")
    ->Apply(UpTo10Million);

void BM_LoadedLines(benchmark::State& state) {
  const fairlead::internal::MemoryFile file;
  const std::string path = file.Path();
  file.Write(Lines(CountOf(state)));
  for (auto _ : state) {
    std::vector<fairlead::CIniFile::Record> records;
    fairlead::CIniFile::Load(path, records);
    benchmark::DoNotOptimize(records.data());
  }
}
BENCHMARK(BM_LoadedLines)
    ->Name("GrowthLoadedLines/fairlead")
    ->Apply(UpToAMillion);

void BM_Keys(benchmark::State& state) {
  std::vector<std::string> keys;
  for (std::size_t i = 0; i < CountOf(state); ++i)
    keys.push_back("key" + std::to_string(i));
  for (auto _ : state) {
    fairlead::COnlyOnce once(fairlead::OnceThrottle);
    for (const std::string& key : keys)
      benchmark::DoNotOptimize(once.Start(key, 1e9));
  }
}
BENCHMARK(BM_Keys)->Name("GrowthThrottledKeys/fairlead")->Apply(UpToAMillion);

void BM_ChecksumBytes(benchmark::State& state) {
  const std::vector<unsigned char> bytes(CountOf(state), 'x');
  for (auto _ : state) {
    fairlead::CCRC checksum;
    checksum.AddArr(bytes.data(), static_cast<int>(bytes.size()));
    benchmark::DoNotOptimize(checksum);
  }
}
BENCHMARK(BM_ChecksumBytes)
    ->Name("GrowthChecksumBytes/fairlead")
    ->Apply(UpTo10Million);

constexpr char kKey[] = "sixteen byte key";

void BM_CipherBytes(benchmark::State& state) {
  const fairlead::AES cipher(kKey, 128);
  std::vector<unsigned char> bytes(CountOf(state) / 16 * 16 + 16);
  for (auto _ : state)
    cipher.EncodeArray(bytes.data(), static_cast<std::int32_t>(bytes.size()));
}
BENCHMARK(BM_CipherBytes)
    ->Name("GrowthCipherBytes/fairlead")
    ->Apply(UpTo10Million);

// Full messages, which a server sends and a client takes out of its queue.
void BM_Messages(benchmark::State& state) {
  constexpr std::size_t kSize = 1796;
  const fairlead::internal::Listener listener =
      std::move(fairlead::internal::Listener().Listen());
  std::size_t wanted = CountOf(state) * kSize;
  std::thread server([&] {
    const fairlead::internal::Socket peer = listener.Accept();
    const int no_delay = 1;
    setsockopt(peer.number(), IPPROTO_TCP, TCP_NODELAY, &no_delay,
               sizeof(no_delay));
    const std::string message(kSize, 'x');
    while (peer.Receive(1) == "x")
      for (std::size_t i = 0; i < CountOf(state); ++i)
        if (!peer.Send(message)) std::abort();
  });
  fairlead::CTCPClient client;
  const fairlead::CTCPMessage go = fairlead::internal::MessageOf("x");
  if (!client.ConnectTo(&listener.endpoint())) std::abort();
  for (auto _ : state) {
    if (!client.SendMsg(&go)) std::abort();
    for (std::size_t received = 0; received < wanted;) {
      for (int count = client.MessagesCount(); count > 0; --count)
        received += static_cast<std::size_t>(client.PopMessage().len);
      std::unique_lock<std::mutex> lock(client.queueMutex);
      if (received < wanted)
        client.messageCv.wait_for(lock, std::chrono::microseconds(100));
    }
  }
  client.Close();
  server.join();
}
BENCHMARK(BM_Messages)
    ->Name("GrowthMessages/fairlead")
    ->RangeMultiplier(10)
    ->Range(10, 100'000)
    ->UseRealTime();

// Sends what the log writes to standard output nowhere.
class SilentOutput {
 public:
  SilentOutput() : saved_(dup(STDOUT_FILENO)) {
    std::fflush(stdout);
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (saved_ == -1 || dup2(nowhere, STDOUT_FILENO) == -1) std::abort();
    close(nowhere);
  }
  ~SilentOutput() {
    std::fflush(stdout);
    dup2(saved_, STDOUT_FILENO);
    close(saved_);
  }
  SilentOutput(const SilentOutput&) = delete;
  SilentOutput& operator=(const SilentOutput&) = delete;

 private:
  const int saved_;
};

constexpr int kCallsOfAThread = 10'000;

// Measures what each thread needs for one call while all threads make calls.
template <typename Call>
void RunThreads(benchmark::State& state, Call call) {
  for (auto _ : state) {
    const Clock::time_point start = Clock::now();
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < CountOf(state); ++i)
      threads.emplace_back([&call, i] {
        for (int calls = 0; calls < kCallsOfAThread; ++calls) call(i);
      });
    for (std::thread& thread : threads) thread.join();
    const std::chrono::duration<double> taken = Clock::now() - start;
    state.SetIterationTime(taken.count() / kCallsOfAThread);
  }
}

void Threads(benchmark::internal::Benchmark* benchmark) {
  benchmark->RangeMultiplier(2)->Range(1, 16)->UseManualTime()->Iterations(5);
}

void BM_LogThreads(benchmark::State& state) {
  const fairlead::internal::TempFolder folder;
  const SilentOutput silent;
  fairlead::CLog log(folder.Path("log"), false);
  RunThreads(state, [&](std::size_t) { log << "a line of the log\n"; });
}
BENCHMARK(BM_LogThreads)->Name("GrowthLogThreads/fairlead")->Apply(Threads);

void BM_ThrottleThreads(benchmark::State& state) {
  fairlead::COnlyOnce once(fairlead::OnceThrottle);
  const std::vector<std::string> keys = {"a", "b", "c", "d"};
  RunThreads(state, [&](std::size_t i) { once.Start(keys[i % 4], 1e9); });
}
BENCHMARK(BM_ThrottleThreads)
    ->Name("GrowthThrottleThreads/fairlead")
    ->Apply(Threads);

void BM_CipherThreads(benchmark::State& state) {
  const fairlead::AES cipher(kKey, 128);
  constexpr std::size_t kSize = 1024;
  std::vector<unsigned char> bytes(CountOf(state) * kSize);
  RunThreads(state, [&](std::size_t i) {
    cipher.EncodeArray(bytes.data() + i * kSize,
                       static_cast<std::int32_t>(kSize));
  });
}
BENCHMARK(BM_CipherThreads)
    ->Name("GrowthCipherThreads/fairlead")
    ->Apply(Threads);

}  // namespace
