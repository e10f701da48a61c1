// RC4, step by step.

#include "fairlead/crypto/rc4.h"

#include <cstdint>
#include <utility>

namespace fairlead {
namespace {

constexpr std::uint32_t kDiscarded = 12347;

}  // namespace

RC4::RC4(const RC4Key& key) {
  for (std::uint32_t i = 0; i < 256; ++i) m_[i] = i;
  std::uint32_t j = 0;
  for (std::uint32_t i = 0, k = 0; i < 256; ++i) {
    j = (j + m_[i] + key.key[k]) & 0xFF;
    if (++k >= key.length) k = 0;
    std::swap(m_[i], m_[j]);
  }
  for (std::uint32_t s = 0; s < kDiscarded; ++s) GetByte();
}

void RC4::Encode(unsigned char* data, std::int32_t length) {
  for (std::int32_t i = 0; i < length; ++i)
    data[i] = static_cast<unsigned char>(data[i] ^ GetByte());
}

std::int32_t RC4::GetByte() {
  x_ = (x_ + 1) & 0xFF;
  const std::uint32_t a = m_[x_];
  y_ = (y_ + a) & 0xFF;
  const std::uint32_t b = m_[y_];
  m_[x_] = b;
  m_[y_] = a;
  return static_cast<std::int32_t>(m_[(a + b) & 0xFF]);
}

}  // namespace fairlead
