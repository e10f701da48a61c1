// Registers the races of the AES benchmarks.

#ifndef FAIRLEAD_CRYPTO_AES_RACE_H_
#define FAIRLEAD_CRYPTO_AES_RACE_H_

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "fairlead/crypto/aes.h"
#include "fairlead/crypto/aes_peers.h"

namespace fairlead {

inline std::string RaceKey(std::size_t bytes) {
  return std::string("no secret: the key of this race!").substr(0, bytes);
}

// Ends the program unless the competitor has our answers.
template <class Competitor>
void CheckAnswers(const std::string& key) {
  std::vector<unsigned char> data(4096, 'd');
  const AES aes(key, static_cast<int>(key.size()) * 8);
  Competitor competitor(key);
  competitor.Encode(data.data(), data.size());
  aes.DecodeArray(data.data(), 4096);
  aes.EncodeArray(data.data(), 4096);
  competitor.Decode(data.data(), data.size());
  if (data == std::vector<unsigned char>(4096, 'd')) return;
  std::printf("%s has another answer\n", Competitor::kName);
  std::exit(1);
}

// Enciphers so many bytes a call, each call at another place of some memory, so
// that no call waits for what the one before it has written.
template <class Transform>
void Race(benchmark::State& state, const Transform& transform) {
  constexpr std::size_t kMemory = 4096;
  const auto size = static_cast<std::size_t>(state.range(0));
  std::vector<unsigned char> data(std::max(size, kMemory));
  std::size_t place = 0;
  for (auto _ : state) {
    transform(&data[place], size);
    benchmark::ClobberMemory();
    place += size;
    if (place == data.size()) place = 0;
  }
  state.SetBytesProcessed(state.iterations() * state.range(0));
}

template <class Competitor>
void Encode(benchmark::State& state, const std::string& key) {
  Competitor competitor(key);
  Race(state, [&](unsigned char* data, std::size_t size) {
    competitor.Encode(data, size);
  });
}

template <class Competitor>
void Decode(benchmark::State& state, const std::string& key) {
  Competitor competitor(key);
  Race(state, [&](unsigned char* data, std::size_t size) {
    competitor.Decode(data, size);
  });
}

template <class Competitor>
void SetKey(benchmark::State& state, std::string key) {
  Competitor competitor(key);
  for (auto _ : state) {
    competitor.SetKey(key);
    benchmark::ClobberMemory();
    ++key[0];
  }
}

// Blocks and arrays in both directions, and keying, for each key size.
template <class Competitor>
void EnterAesRaces() {
  const std::string competitor = Competitor::kName;
  for (const std::size_t bytes : {16U, 24U, 32U}) {
    const std::string key = RaceKey(bytes);
    const std::string bits = std::to_string(bytes * 8);
    CheckAnswers<Competitor>(key);
    const auto enter = [&](const std::string& race, const auto& run) {
      return benchmark::RegisterBenchmark(
          (race + bits + "/" + competitor).c_str(), run, key);
    };
    enter("AesEncode", Encode<Competitor>)->Arg(16)->Arg(1024)->Arg(1 << 20);
    enter("AesDecode", Decode<Competitor>)->Arg(16)->Arg(1024)->Arg(1 << 20);
    enter("AesKey", SetKey<Competitor>);
  }
}

}  // namespace fairlead

#endif  // FAIRLEAD_CRYPTO_AES_RACE_H_
