// A check value over numbers, text and bytes: a turning exclusive-or sum.

#ifndef FAIRLEAD_BITS_CRC_H_
#define FAIRLEAD_BITS_CRC_H_

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "fairlead/export.h"

namespace fairlead {

/// A running check value. In spite of its name it is no polynomial code: each
/// value added turns the state by `rotation` bits and is then combined into it
/// with exclusive or.
///
/// The turn is one of 32 bits in a register of 64: a bit that leaves bit 31
/// stays above it and comes back at the bottom as well. With `state` s and
/// `rotation` r, adding v makes
///
/// - for r >= 0: v ^ (s >> (32 - r) | s << r)
/// - for r < 0:  v ^ (s << (r + 32) | s >> -r)
///
/// in 64 bits, each shift by its count modulo 64. A rotation of -n is thus the
/// same as one of 32 - n, and every `int` is a rotation, although only those
/// from -32 to 32 make sense.
///
/// @par What it does not protect against
/// The value forgets. For rotations of 1 to 31 either way, a bit that reaches
/// the upper half of the state never leaves it. Once that half is all ones,
/// which for ordinary data and middle rotations takes some fifty values, only
/// the last few values decide the state: with r from 1 to 31 the last 32 / (32
/// - r), rounded up, which are two for r <= 16 and 32 for r = 31. What came
/// before may be changed at will without changing the result. Neither does a
/// run of zeros change a fresh value. Use it where a given format asks for it,
/// and something else against damage in long data or against intent.
///
/// @par Text and bytes differ
/// Characters of a text are added sign-extended, those of an array
/// zero-extended: the same bytes above 0x7F give different values.
///
/// @par Thread safety
/// A plain value: one thread per object, or any number of readers.
/// @par Cost
/// Three dependent operations a value, until the upper half of the state is
/// full; the rest of a text or an array then costs no more than its last 32
/// values, whatever its length. With rotations of 0 and 32 either way every
/// value counts, but none waits for the one before.
/// @par Example
/// @code
/// fairlead::CCRC crc{.rotation = 5};
/// crc.AddVal("hello");
/// std::printf("%02x\n", crc.ReadCRC8());
/// @endcode
struct FAIRLEAD_EXPORT CCRC {
  std::uint64_t state = 0;    ///< The check value so far.
  std::int32_t rotation = 0;  ///< Bits turned before each value is added;
                              ///< positive towards the high bits.
  std::int32_t count = 0;     ///< Values added; wraps past 2^31 - 1.

  /// Adds one value. A negative `int` or `char` is added sign-extended.
  void AddVal(unsigned int value) noexcept {
    state = Next(state, Left(), value);
    CountUp(1);
  }

  /// Adds each character in order, each as its byte sign-extended to 32 bits:
  /// the byte 0xE9 is added as 0xFFFFFFE9.
  void AddVal(std::string_view text) noexcept;

  /// Adds each wide character in order, each as its full 32-bit code.
  void AddVal(std::wstring_view text) noexcept;

  /// Adds each of `size` bytes in order, each zero-extended: the byte 0xE9 is
  /// added as 0x000000E9. A size of 0 or less adds nothing.
  void AddArr(const unsigned char* bytes, int size) noexcept;

  /// The state as it stands.
  [[nodiscard]] std::uint64_t ReadCRC() const noexcept { return state; }

  /// A value of 24 bits: byte 3 of the state folded onto byte 2, above bytes 1
  /// and 0.
  [[nodiscard]] std::uint64_t ReadCRC24() const noexcept {
    return ((state & 0xFF000000U) >> 8U) ^ (state & 0xFFFFFFU);
  }

  /// The two lower 16-bit quarters of the state folded together, in the low 16
  /// bits. Those above are not cleared; see dw().
  [[nodiscard]] std::uint32_t ReadCRC16() const noexcept { return dw(state); }

  /// A value of 8 bits: the four lower bytes of the state folded together.
  [[nodiscard]] std::uint8_t ReadCRC8() const noexcept {
    return static_cast<std::uint8_t>(db(state));
  }

  /// The low 32 bits of v ^ v >> 16. The low 16 bits are bits 0 to 15 folded
  /// with bits 16 to 31; the upper 16 are bits 16 to 31 folded with bits 32 to
  /// 47.
  [[nodiscard]] static constexpr std::uint32_t dw(unsigned long v) noexcept {
    return static_cast<std::uint32_t>(v ^ v >> 16U);
  }

  /// v ^ v >> 8: the low byte is both bytes folded together, the byte above
  /// stays as it was.
  [[nodiscard]] static constexpr std::uint32_t wb(unsigned short v) noexcept {
    const std::uint32_t word = v;
    return word ^ word >> 8U;
  }

  /// x ^ (x >> 8 & 0xFF) with x = dw(v): the low byte is the four low bytes of
  /// `v` folded together.
  [[nodiscard]] static constexpr std::uint32_t db(unsigned long v) noexcept {
    return dw(v) ^ (dw(v) >> 8U & 0xFFU);
  }

 private:
  // The rotation as a shift to the left: -n and 32 - n are the same one.
  unsigned int Left() const noexcept {
    const auto turn = static_cast<std::uint32_t>(rotation);
    return (rotation < 0 ? turn + 32U : turn) & 63U;
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
  FAIRLEAD_PRIVATE void AddTurned(const Unit* first, const Unit* last);
};

}  // namespace fairlead

#endif  // FAIRLEAD_BITS_CRC_H_
