// RC4, eight steps at a time where there are eight to take.

#include "fairlead/crypto/rc4.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>

namespace fairlead {
namespace {

// A row is eight steps, and their eight bytes of the stream are one word.
constexpr std::uint32_t kRow = 8;
static_assert(std::endian::native == std::endian::little);

constexpr std::size_t kDiscarded = 12347;

// One step. Returns the byte of the stream.
std::uint32_t Step(std::uint32_t* m, std::uint32_t& x, std::uint32_t& y) {
  x = (x + 1) & 0xFF;
  const std::uint32_t a = m[x];
  y = (y + a) & 0xFF;
  const std::uint32_t b = m[y];
  m[x] = b;
  m[y] = a;
  return m[(a + b) & 0xFF];
}

// A step but for its byte of the stream: moves y on by a, swaps m[y] and the
// entry that held a, and returns b. In this order of instructions it takes two
// thirds of the time that compilers need. An address takes all 64 bits of y.
// Both outputs are written before the last input is read ('&').
// NOLINTNEXTLINE(readability-non-const-parameter): the instructions write m.
inline std::uint32_t Swap(std::uint32_t* m, std::uint64_t& y, std::uint32_t a,
                          std::uint32_t& entry) {
  std::uint32_t b = 0;
  __asm__(
      "addb %b[a], %b[y]\n\t"
      "movl (%[m],%q[y],4), %[b]\n\t"
      "movl %[a], (%[m],%q[y],4)\n\t"
      "movl %[b], %[entry]"
      : [y] "+&r"(y), [b] "=&r"(b), [entry] "=m"(entry)
      : [a] "r"(a), [m] "r"(m)
      : "memory", "cc");
  return b;
}

void XorByte(unsigned char* data, std::uint32_t stream) {
  *data = static_cast<unsigned char>(*data ^ stream);
}

void XorWord(unsigned char* data, std::uint64_t stream) {
  std::uint64_t word = 0;
  std::memcpy(&word, data, sizeof word);
  word ^= stream;
  std::memcpy(data, &word, sizeof word);
}

// Takes the steps of whole rows, the first of which begins at m[first], and
// returns y. No row goes around the end of m. A function of its own, so that
// the compilers have all registers for it.
//
// Where a step goes depends on what stood at x, so that is read two steps
// before its turn, lest the processor wait for memory at every step. Now and
// then a step in between changes what was read already: then it is put right.
template <bool kDiscard>
[[gnu::noinline]] std::uint32_t TakeRows(std::uint32_t* m, std::uint32_t first,
                                         std::uint32_t start_y,
                                         unsigned char* data,
                                         std::size_t rows) {
  std::uint64_t y = start_y;
  std::array<std::uint32_t, kRow + 2> a = {m[first], m[first + 1]};
  for (; rows > 0; --rows) {
    std::uint32_t* const row = m + first;
    const std::uint32_t next = (first + kRow) & 0xFF;
    const std::uint32_t* const next_row = m + next;
    std::uint64_t stream = 0;
#pragma GCC unroll 8
    for (std::uint32_t i = 0; i < kRow; ++i) {
      a[i + 2] = i + 2 < kRow ? row[i + 2] : next_row[i + 2 - kRow];
      const std::uint32_t b = Swap(m, y, a[i], row[i]);
      const std::uint64_t distance = (y - (first + i + 1)) & 0xFF;
      if (distance < 2) [[unlikely]] {
        if (distance == 0) a[i + 1] = a[i];
        if (distance == 1) a[i + 2] = a[i];
      }
      stream |= std::uint64_t{m[(a[i] + b) & 0xFF]} << (8 * i);
    }
    if constexpr (!kDiscard) {
      XorWord(data, stream);
      data += kRow;
    }
    a[0] = a[kRow];
    a[1] = a[kRow + 1];
    first = next;
  }
  return static_cast<std::uint32_t>(y);
}

// Takes so many steps, and XORs the stream into data unless it is discarded.
template <bool kDiscard>
void Run(std::uint32_t* m, std::uint32_t& x, std::uint32_t& y,
         unsigned char* data, std::size_t count) {
  while (count > 0) {
    const std::uint32_t first = (x + 1) & 0xFF;
    const std::size_t to_end =
        first % kRow == 0 ? count : 254 - std::min(first, 254U);
    const std::size_t rows = std::min(count, to_end) / kRow;
    const std::size_t steps = rows > 0 ? rows * kRow : 1;
    if (rows > 0) {
      y = TakeRows<kDiscard>(m, first, y, data, rows);
      x = (x + static_cast<std::uint32_t>(steps)) & 0xFF;
    } else {
      const std::uint32_t stream = Step(m, x, y);
      if constexpr (!kDiscard) XorByte(data, stream);
    }
    if constexpr (!kDiscard) data += steps;
    count -= steps;
  }
}

}  // namespace

RC4::RC4(const RC4Key& key) noexcept {
  for (std::uint32_t i = 0; i < 256; ++i) m_[i] = i;
  std::uint32_t j = 0;
  for (std::uint32_t i = 0, k = 0; i < 256; ++i) {
    j = (j + m_[i] + key.key[k]) & 0xFF;
    if (++k >= key.length) k = 0;
    std::swap(m_[i], m_[j]);
  }
  Run<true>(m_, x_, y_, nullptr, kDiscarded);
}

void RC4::Encode(unsigned char* data, std::int32_t length) noexcept {
  if (length <= 0) return;
  Run<false>(m_, x_, y_, data, static_cast<std::size_t>(length));
}

std::int32_t RC4::GetByte() noexcept {
  return static_cast<std::int32_t>(Step(m_, x_, y_));
}

}  // namespace fairlead
