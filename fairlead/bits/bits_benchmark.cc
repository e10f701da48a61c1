// Copies of bit runs, and bits as text and back, beside other libraries.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "fairlead/bits/bitstr.h"
#include "fairlead/bits/converter.h"
#include "fairlead/bits/move_bits_model.h"

#ifdef FAIRLEAD_PEER_BOOST_DYNAMIC_BITSET
#include <boost/dynamic_bitset.hpp>
#endif
#ifdef FAIRLEAD_PEER_OPENSSL
#include <openssl/evp.h>
#endif
#ifdef FAIRLEAD_PEER_GLIB
#include <glib.h>
#endif

namespace {

using fairlead::CBitstr;
using fairlead::CConverter;

CBitstr RandomBits() {
  std::mt19937 random(20261121);
  CBitstr bits;
  for (std::uint32_t& word : bits.data)
    word = static_cast<std::uint32_t>(random());
  return bits;
}

// Runs from bit 13 to bit 5.
constexpr int kFrom = 13;
constexpr int kTo = 5;

struct Table {
  std::uint32_t words[18] = {};
};

void OurMove(const Table& source, Table& destination, int count) {
  fairlead::MoveBits(source.words, kFrom, destination.words, kTo, count, 1);
}

void BitByBit(const Table& source, Table& destination, int count) {
  fairlead::MoveBitByBit(source.words, kFrom, destination.words, kTo,
                         static_cast<std::size_t>(count), 1);
}

// One byte of the destination at a time.
void ByteByByte(const Table& source, Table& destination, int count) {
  const auto* const from = reinterpret_cast<const unsigned char*>(source.words);
  auto* const to = reinterpret_cast<unsigned char*>(destination.words);
  for (int done = 0; done < count;) {
    const int s = kFrom + done;
    const int d = kTo + done;
    const int part = std::min(8 - d % 8, count - done);
    const int pair = from[s / 8] | from[s / 8 + 1] << 8;
    const int mask = ((1 << part) - 1) << d % 8;
    to[d / 8] = static_cast<unsigned char>((to[d / 8] & ~mask) |
                                           ((pair >> s % 8 << d % 8) & mask));
    done += part;
  }
}

template <void (*Move)(const Table&, Table&, int)>
void RunMove(benchmark::State& state) {
  const int count = static_cast<int>(state.range(0));
  Table source;
  std::memcpy(source.words, RandomBits().data, 64);
  source.words[16] = 0x12345678;
  Table expected;
  Table destination;
  std::memset(expected.words, 0xEE, sizeof(expected.words));
  destination = expected;
  BitByBit(source, expected, count);
  Move(source, destination, count);
  if (std::memcmp(&expected, &destination, sizeof(expected)) != 0) std::abort();
  for (auto _ : state) {
    Move(source, destination, count);
    benchmark::DoNotOptimize(destination);
  }
}

#ifdef FAIRLEAD_PEER_BOOST_DYNAMIC_BITSET
// Shifts and masks the run only; does not keep the bits around it.
void RunBoostMove(benchmark::State& state) {
  const auto count = static_cast<std::size_t>(state.range(0));
  const CBitstr bits = RandomBits();
  using Bits = boost::dynamic_bitset<std::uint64_t>;
  Bits source(576);
  for (std::size_t i = 0; i < 512; ++i)
    source[i] = (bits.data[i / 32] >> i % 32 & 1U) != 0;
  Bits mask(576);
  mask.set(kTo, count, true);
  Bits destination(576);
  Bits moved(576);
  for (auto _ : state) {
    moved = source;
    moved >>= kFrom - kTo;
    moved &= mask;
    destination -= mask;
    destination |= moved;
    benchmark::DoNotOptimize(destination);
  }
  for (std::size_t i = 0; i < count; ++i)
    if (destination[kTo + i] != source[kFrom + i]) std::abort();
}
BENCHMARK(RunBoostMove)
    ->Name("MoveBits/boost_dynamic_bitset")
    ->Arg(8)
    ->Arg(67)
    ->Arg(512);
#endif

BENCHMARK(RunMove<OurMove>)
    ->Name("MoveBits/fairlead")
    ->Arg(8)
    ->Arg(67)
    ->Arg(512);
BENCHMARK(RunMove<BitByBit>)
    ->Name("MoveBits/bit_by_bit")
    ->Arg(8)
    ->Arg(67)
    ->Arg(512);
BENCHMARK(RunMove<ByteByByte>)
    ->Name("MoveBits/byte_by_byte")
    ->Arg(8)
    ->Arg(67)
    ->Arg(512);

// Bits as text with six bits per character, and back. The peers convert the
// same bytes to base64 and back. All return a string or a record, but for GLib,
// which returns its own allocation.
const unsigned char* Bytes(const CBitstr& bits) {
  return reinterpret_cast<const unsigned char*>(bits.data);
}

int ByteCount(const benchmark::State& state) {
  return static_cast<int>(state.range(0) + 7) / 8;
}

void RunOurWrite(benchmark::State& state) {
  const CBitstr bits = RandomBits();
  const CConverter converter(static_cast<int>(state.range(0)), 6, 5);
  for (auto _ : state) benchmark::DoNotOptimize(converter.BitstrToStr(bits));
}

void RunOurRead(benchmark::State& state) {
  CConverter converter(static_cast<int>(state.range(0)), 6, 5);
  std::string text = converter.BitstrToStr(RandomBits());
  text.resize(static_cast<std::size_t>(state.range(0) / 6));
  for (auto _ : state) benchmark::DoNotOptimize(converter.StrToBitstr(text));
  if (converter.error != 0) std::abort();
}

BENCHMARK(RunOurWrite)
    ->Name("BitsToText/fairlead")
    ->Arg(30)
    ->Arg(120)
    ->Arg(512);
BENCHMARK(RunOurRead)->Name("TextToBits/fairlead")->Arg(30)->Arg(120)->Arg(512);

#ifdef FAIRLEAD_PEER_OPENSSL
std::string OpensslText(const CBitstr& bits, int bytes) {
  std::string text(static_cast<std::size_t>((bytes + 2) / 3 * 4), '\0');
  EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()), Bytes(bits),
                  bytes);
  return text;
}

void RunOpensslWrite(benchmark::State& state) {
  const CBitstr bits = RandomBits();
  const int bytes = ByteCount(state);
  for (auto _ : state) benchmark::DoNotOptimize(OpensslText(bits, bytes));
}

void RunOpensslRead(benchmark::State& state) {
  const std::string text = OpensslText(RandomBits(), ByteCount(state));
  const std::int32_t length = ByteCount(state);
  for (auto _ : state) {
    CBitstr bits;
    unsigned char bytes[72];
    const int size = EVP_DecodeBlock(
        bytes, reinterpret_cast<const unsigned char*>(text.data()),
        static_cast<int>(text.size()));
    if (size < length) std::abort();
    std::memcpy(bits.data, bytes, static_cast<std::size_t>(length));
    bits.length = length;
    benchmark::DoNotOptimize(bits);
  }
}

BENCHMARK(RunOpensslWrite)
    ->Name("BitsToText/openssl")
    ->Arg(30)
    ->Arg(120)
    ->Arg(512);
BENCHMARK(RunOpensslRead)
    ->Name("TextToBits/openssl")
    ->Arg(30)
    ->Arg(120)
    ->Arg(512);
#endif

#ifdef FAIRLEAD_PEER_GLIB
void RunGlibWrite(benchmark::State& state) {
  const CBitstr bits = RandomBits();
  const auto bytes = static_cast<gsize>(ByteCount(state));
  for (auto _ : state) {
    gchar* const text = g_base64_encode(Bytes(bits), bytes);
    benchmark::DoNotOptimize(text);
    g_free(text);
  }
}

void RunGlibRead(benchmark::State& state) {
  const CBitstr bits = RandomBits();
  gchar* const text =
      g_base64_encode(Bytes(bits), static_cast<gsize>(ByteCount(state)));
  for (auto _ : state) {
    CBitstr record;
    gsize size = 0;
    guchar* const bytes = g_base64_decode(text, &size);
    std::memcpy(record.data, bytes, size);
    record.length = static_cast<std::int32_t>(size);
    benchmark::DoNotOptimize(record);
    g_free(bytes);
  }
  g_free(text);
}

BENCHMARK(RunGlibWrite)->Name("BitsToText/glib")->Arg(30)->Arg(120)->Arg(512);
BENCHMARK(RunGlibRead)->Name("TextToBits/glib")->Arg(30)->Arg(120)->Arg(512);
#endif

// Constructing a converter beside using it once.
void RunMaking(benchmark::State& state) {
  for (auto _ : state) {
    CConverter converter(static_cast<int>(state.range(0)), 6, 5);
    benchmark::DoNotOptimize(converter);
  }
}

BENCHMARK(RunMaking)->Name("MakeConverter/fairlead")->Arg(120);
BENCHMARK(RunOurWrite)->Name("MakeConverter/writing_once")->Arg(120);

}  // namespace
