// RC4: its stream against a plain model, and the model against RFC 6229.

#include "fairlead/crypto/rc4.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>
#include <random>
#include <type_traits>

#include "fairlead/crypto/ciphers_testing.h"
#include "fairlead/crypto/plain_rc4.h"

namespace fairlead {
namespace {

static_assert(std::is_trivial_v<RC4Key> && sizeof(RC4Key) == 257);
static_assert(offsetof(RC4Key, key) == 0 && offsetof(RC4Key, length) == 256);
static_assert(std::is_same_v<decltype(RC4Key::length), std::uint8_t>);
static_assert(sizeof(RC4) == (2 + 256) * sizeof(std::uint32_t));
static_assert(std::is_constructible_v<RC4, RC4Key>);
static_assert(std::is_same_v<decltype(RC4(RC4Key{}).GetByte()), std::int32_t>);

constexpr int kDiscarded = 12347;

RC4Key MakeKey(const Bytes& bytes) {
  RC4Key key;
  std::memset(key.key, 0xEE, sizeof key.key);  // Not to be looked at.
  std::copy(bytes.begin(), bytes.end(), key.key);
  key.length = static_cast<std::uint8_t>(bytes.size());
  return key;
}

PlainRc4 Model(const Bytes& key) {
  PlainRc4 model(key);
  model.Skip(kDiscarded);
  return model;
}

Bytes Stream(PlainRc4& model, std::size_t count) {
  Bytes stream(count);
  for (unsigned char& byte : stream) byte = model.Next();
  return stream;
}

struct StreamCase {
  const char* key;
  int offset;
  const char* stream;
};

// RFC 6229, section 2.
constexpr StreamCase kStreams[] = {
    {"0102030405", 0, "b2396305f03dc027ccc3524a0a1118a8"},
    {"0102030405", 16, "6982944f18fc82d589c403a47a0d0919"},
    {"0102030405", 240, "28cb1132c96ce286421dcaadb8b69eae"},
    {"0102030405060708090a0b0c0d0e0f10", 0, "9ac7cc9a609d1ef7b2932899cde41b97"},
    {"0102030405060708090a0b0c0d0e0f101112131415161718191a1b1c1d1e1f20", 0,
     "eaa6bd25880bf93d3f5d1e4ca2611d91"},
};

TEST(Rc4Test, TheModelHasThePublishedStream) {
  for (const StreamCase& c : kStreams) {
    SCOPED_TRACE(testing::Message() << c.key << " at " << c.offset);
    PlainRc4 model(FromHex(c.key));
    model.Skip(c.offset);
    EXPECT_EQ(ToHex(Stream(model, 16)), c.stream);
  }
}

TEST(Rc4Test, BeginsWithByte12348OfThePlainStream) {
  const Bytes key = FromHex("0102030405");
  PlainRc4 plain(key);
  const Bytes stream = Stream(plain, kDiscarded + 1);
  EXPECT_EQ(RC4(MakeKey(key)).GetByte(), stream[12347]);
}

TEST(Rc4Test, EveryKeyLengthHasItsStream) {
  std::mt19937 random(81);
  for (std::size_t length = 1; length <= 255; ++length) {
    SCOPED_TRACE(length);
    const Bytes key = RandomBytes(random, length);
    PlainRc4 model = Model(key);
    const Bytes expected = Stream(model, 1000);
    Bytes data(1000);
    RC4(MakeKey(key)).Encode(data.data(), 1000);
    EXPECT_EQ(data, expected);
    RC4 by_byte(MakeKey(key));
    for (const unsigned char byte : expected)
      ASSERT_EQ(by_byte.GetByte(), byte);
  }
}

// However the stream is cut into calls, it is one stream; every length is tried
// from every place of the first index.
TEST(Rc4Test, GetByteAndEncodeShareOneStream) {
  std::mt19937 random(82);
  const Bytes key = RandomBytes(random, 16);
  PlainRc4 model = Model(key);
  RC4 rc4(MakeKey(key));
  for (int call = 0; call < 3000; ++call) {
    if (random() % 3 == 0) {
      ASSERT_EQ(rc4.GetByte(), model.Next());
      continue;
    }
    const std::size_t length = random() % (call % 10 == 0 ? 1000 : 40);
    Bytes data = RandomBytes(random, length + 1);  // And one more, to be kept.
    Bytes expected = data;
    for (std::size_t i = 0; i < length; ++i) expected[i] ^= model.Next();
    rc4.Encode(data.data(), static_cast<int>(length));
    ASSERT_EQ(data, expected) << "call " << call;
  }
}

// An object at the very end of its memory: a step behind its last entry faults.
TEST(Rc4Test, NothingBehindTheObjectIsRead) {
  const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  void* const pages = mmap(nullptr, 2 * page, PROT_READ | PROT_WRITE,
                           MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  ASSERT_NE(pages, MAP_FAILED);
  auto* const end = static_cast<unsigned char*>(pages) + page;
  ASSERT_EQ(mprotect(end, page, PROT_NONE), 0);
  const RC4 keyed(MakeKey(FromHex("0102030405")));
  RC4& rc4 = *new (end - sizeof(RC4)) RC4(keyed);
  for (int start = 0; start < 256; ++start)
    for (int length = 0; length <= 300; ++length) {
      rc4 = keyed;
      for (int i = 0; i < start; ++i) rc4.GetByte();
      unsigned char data[300] = {};
      rc4.Encode(data, length);
    }
  munmap(pages, 2 * page);
}

TEST(Rc4Test, GetByteMovesEncodeOnByOne) {
  const Bytes key = FromHex("a1b2c3");
  PlainRc4 model = Model(key);
  const Bytes stream = Stream(model, 21);
  RC4 rc4(MakeKey(key));
  EXPECT_EQ(rc4.GetByte(), stream[0]);
  Bytes data(20);
  rc4.Encode(data.data(), 20);
  EXPECT_EQ(data, Bytes(stream.begin() + 1, stream.end()));
}

TEST(Rc4Test, TwoObjectsOfOneKeyUndoEachOther) {
  std::mt19937 random(83);
  const RC4Key key = MakeKey(RandomBytes(random, 7));
  const Bytes plain = RandomBytes(random, 5000);
  Bytes data = plain;
  RC4(key).Encode(data.data(), 5000);
  EXPECT_NE(data, plain);
  RC4(key).Encode(data.data(), 5000);
  EXPECT_EQ(data, plain);
}

TEST(Rc4Test, LengthsOfZeroOrBelowChangeNothing) {
  const RC4Key key = MakeKey(FromHex("0102030405"));
  RC4 rc4(key);
  const RC4 fresh(key);
  unsigned char byte = 'x';
  for (const int length : {0, -1, -256, INT_MIN}) rc4.Encode(&byte, length);
  rc4.Encode(nullptr, 0);
  EXPECT_EQ(byte, 'x');
  EXPECT_EQ(std::memcmp(&rc4, &fresh, sizeof rc4), 0);
}

TEST(Rc4Test, ALengthOfZeroUsesTheFirstByteThroughout) {
  RC4Key none = MakeKey({});
  none.key[0] = 0x42;
  RC4 rc4(none);
  RC4 one(MakeKey({0x42}));
  EXPECT_EQ(std::memcmp(&rc4, &one, sizeof rc4), 0);
  EXPECT_EQ(rc4.GetByte(), one.GetByte());
}

TEST(Rc4Test, AKeyOfOneByteIsThatByteRepeated) {
  RC4 one(MakeKey({0x42}));
  RC4 many(MakeKey(Bytes(200, 0x42)));
  for (int i = 0; i < 1000; ++i) ASSERT_EQ(one.GetByte(), many.GetByte());
}

TEST(Rc4Test, BytesBeyondTheLengthDoNotCount) {
  RC4Key a = MakeKey(FromHex("010203"));
  RC4Key b = a;
  std::memset(b.key + 3, 0, sizeof b.key - 3);
  const RC4 first(a);
  const RC4 second(b);
  EXPECT_EQ(std::memcmp(&first, &second, sizeof first), 0);
}

TEST(Rc4Test, ACopyGoesOnFromTheSamePlace) {
  RC4 rc4(MakeKey(FromHex("010203")));
  rc4.GetByte();
  RC4 copy = rc4;
  for (int i = 0; i < 300; ++i) ASSERT_EQ(copy.GetByte(), rc4.GetByte());
}

TEST(Rc4Test, DistinctObjectsAreIndependent) {
  const RC4Key key = MakeKey(FromHex("010203"));
  RC4 first(key);
  RC4 second(key);
  for (int i = 0; i < 100; ++i) first.GetByte();
  PlainRc4 model = Model(FromHex("010203"));
  EXPECT_EQ(second.GetByte(), model.Next());
}

}  // namespace
}  // namespace fairlead
