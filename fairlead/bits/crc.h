// A checksum over numbers, text and bytes: a rotating exclusive-or sum.

#ifndef FAIRLEAD_BITS_CRC_H_
#define FAIRLEAD_BITS_CRC_H_

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "fairlead/export.h"

namespace fairlead {

/// A running checksum over numbers, text and bytes. Plain value, which `fork()`
/// copies.
///
/// Not a polynomial CRC, in spite of its name: adding a value rotates the state
/// and combines the value into it with exclusive or. With `state` s and
/// `rotation` r, adding v sets s to
///
/// - for r >= 0: v ^ (s >> (32 - r) | s << r)
/// - for r < 0:  v ^ (s << (r + 32) | s >> -r)
///
/// in 64 bits, with shift counts modulo 64. This is a 32-bit rotation computed
/// in 64 bits: a bit shifted out of bit 31 stays in the upper half and also
/// re-enters at bit 0. A rotation of -n equals one of 32 - n. Every `int` is
/// accepted; only -32 to 32 are useful.
/// @code
/// fairlead::CCRC crc{.rotation = 5};
/// crc.AddVal("hello");
/// int checksum = crc.ReadCRC8();  // checksum == 0x67
/// @endcode
/// @par Limits
/// The state saturates. With rotations of 1 to 31 either way, bits that reach
/// the upper half stay set; ordinary data and middle rotations set them all
/// within about 50 values. From then on only the last ceil(32 / (32 - r))
/// values affect the state, with r from 1 to 31: 2 for r <= 16, 32 for r = 31.
/// Leading zeros do not change a fresh state. Use it only where an existing
/// format requires it: use a CRC to detect corruption, a MAC to detect
/// tampering.
/// @par Cost
/// Three dependent operations per value. Once the upper half is full, the rest
/// of a text or an array costs at most 32 values, whatever its length. With
/// rotations of 0, 32 and -32 every value is read, independently of the others.
struct FAIRLEAD_EXPORT CCRC {
  std::uint64_t state = 0;    ///< The checksum so far.
  std::int32_t rotation = 0;  ///< Bits to rotate left before each value.
  std::int32_t count = 0;     ///< Values added; wraps around after 2^31 - 1.

  /// Adds one value, sign-extended if it is a negative `int` or `char`.
  void AddVal(unsigned int value) noexcept {
    state = Next(state, Left(), value);
    CountUp(1);
  }

  /// Adds each byte sign-extended to 32 bits: 0xE9 as 0xFFFFFFE9.
  void AddVal(std::string_view text) noexcept;

  /// Adds each wide character as its full 32-bit code.
  void AddVal(std::wstring_view text) noexcept;

  /// Adds each of `size` bytes zero-extended, unlike the characters of a text:
  /// 0xE9 as 0x000000E9. Does nothing if `size` is 0 or less.
  void AddArr(const unsigned char* bytes, int size) noexcept;

  /// Returns the state.
  [[nodiscard]] std::uint64_t ReadCRC() const noexcept { return state; }

  /// Returns 24 bits: the low three bytes of the state, with byte 3 folded
  /// (exclusive or) onto byte 2.
  [[nodiscard]] std::uint64_t ReadCRC24() const noexcept {
    return ((state & 0xFF000000U) >> 8U) ^ (state & 0xFFFFFFU);
  }

  /// Returns the low 32 bits of the state folded to 16. The upper 16 bits of
  /// the result are not cleared: see dw().
  [[nodiscard]] std::uint32_t ReadCRC16() const noexcept { return dw(state); }

  /// Returns the low four bytes of the state folded together.
  [[nodiscard]] std::uint8_t ReadCRC8() const noexcept {
    return static_cast<std::uint8_t>(db(state));
  }

  /// Returns the low 32 bits of v ^ v >> 16: bits 0 to 15 folded with bits 16
  /// to 31, below bits 16 to 31 folded with bits 32 to 47.
  [[nodiscard]] static constexpr std::uint32_t dw(unsigned long v) noexcept {
    return static_cast<std::uint32_t>(v ^ v >> 16U);
  }

  /// Returns v ^ v >> 8: both bytes folded together, below the unchanged high
  /// byte.
  [[nodiscard]] static constexpr std::uint32_t wb(unsigned short v) noexcept {
    const std::uint32_t word = v;
    return word ^ word >> 8U;
  }

  /// Returns x ^ (x >> 8 & 0xFF) with x = dw(v). Its low byte is the low four
  /// bytes of `v` folded together.
  [[nodiscard]] static constexpr std::uint32_t db(unsigned long v) noexcept {
    return dw(v) ^ (dw(v) >> 8U & 0xFFU);
  }

 private:
  // The rotation as a left shift: -n equals 32 - n.
  unsigned int Left() const noexcept {
    const auto shift = static_cast<std::uint32_t>(rotation);
    return (rotation < 0 ? shift + 32U : shift) & 63U;
  }

  static std::uint64_t Next(std::uint64_t state, unsigned int left,
                            std::uint32_t value) noexcept {
    return value ^ (state >> ((32U - left) & 63U) | state << left);
  }

  void CountUp(std::size_t values) noexcept {
    count = static_cast<std::int32_t>(static_cast<std::uint32_t>(count) +
                                      static_cast<std::uint32_t>(values));
  }

  template <typename Unit>
  FAIRLEAD_PRIVATE void AddUnits(const Unit* units, std::size_t size);
  template <typename Unit>
  FAIRLEAD_PRIVATE void AddRotated(const Unit* first, const Unit* last);
};

}  // namespace fairlead

#endif  // FAIRLEAD_BITS_CRC_H_
