// The AES benchmarks of one library. Not installed.

#ifndef FAIRLEAD_CRYPTO_AES_BENCHMARK_H_
#define FAIRLEAD_CRYPTO_AES_BENCHMARK_H_

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

namespace fairlead::internal {

inline std::string BenchmarkKey(std::size_t bytes) {
  return std::string("not a secret: the benchmark's key").substr(0, bytes);
}

// Ends the program unless the library's results equal ours.
template <class Library>
void CheckResults(const std::string& key) {
  std::vector<unsigned char> data(4096, 'd');
  const AES aes(key, static_cast<int>(key.size()) * 8);
  Library library(key);
  library.Encode(data.data(), data.size());
  aes.DecodeArray(data.data(), 4096);
  aes.EncodeArray(data.data(), 4096);
  library.Decode(data.data(), data.size());
  if (data == std::vector<unsigned char>(4096, 'd')) return;
  std::printf("%s has a wrong result\n", Library::kName);
  std::exit(1);
}

// Encrypts or decrypts `state.range(0)` bytes per call. Consecutive calls use
// different memory, so that no call waits for the stores of the one before.
template <class Transform>
void Measure(benchmark::State& state, const Transform& transform) {
  constexpr std::size_t kMemory = 4096;
  const auto size = static_cast<std::size_t>(state.range(0));
  std::vector<unsigned char> data(std::max(size, kMemory));
  std::size_t offset = 0;
  for (auto _ : state) {
    transform(&data[offset], size);
    benchmark::ClobberMemory();
    offset += size;
    if (offset == data.size()) offset = 0;
  }
  state.SetBytesProcessed(state.iterations() * state.range(0));
}

template <class Library>
void Encode(benchmark::State& state, const std::string& key) {
  Library library(key);
  Measure(state, [&](unsigned char* data, std::size_t size) {
    library.Encode(data, size);
  });
}

template <class Library>
void Decode(benchmark::State& state, const std::string& key) {
  Library library(key);
  Measure(state, [&](unsigned char* data, std::size_t size) {
    library.Decode(data, size);
  });
}

template <class Library>
void SetKey(benchmark::State& state, std::string key) {
  Library library(key);
  for (auto _ : state) {
    library.SetKey(key);
    benchmark::ClobberMemory();
    ++key[0];
  }
}

// Registers blocks and arrays in both directions, and keying, for each key
// size.
template <class Library>
void RegisterAesBenchmarks() {
  const std::string library = Library::kName;
  for (const std::size_t bytes : {16U, 24U, 32U}) {
    const std::string key = BenchmarkKey(bytes);
    const std::string bits = std::to_string(bytes * 8);
    CheckResults<Library>(key);
    const auto add = [&](const std::string& name, const auto& run) {
      return benchmark::RegisterBenchmark((name + bits + "/" + library).c_str(),
                                          run, key);
    };
    add("AesEncode", Encode<Library>)->Arg(16)->Arg(1024)->Arg(1 << 20);
    add("AesDecode", Decode<Library>)->Arg(16)->Arg(1024)->Arg(1 << 20);
    add("AesKey", SetKey<Library>);
  }
}

}  // namespace fairlead::internal

#endif  // FAIRLEAD_CRYPTO_AES_BENCHMARK_H_
