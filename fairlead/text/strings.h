// Text helpers: trimming, case, numbers as text and back, packed strings.

#ifndef FAIRLEAD_TEXT_STRINGS_H_
#define FAIRLEAD_TEXT_STRINGS_H_

#include <cstdint>
#include <string>
#include <string_view>

#include "fairlead/export.h"

/// The plumbing of a small command-line client.
namespace fairlead {

/// @file
/// Text here is a string of bytes: any byte may occur, zero included, and no
/// encoding is known. Bad input never throws; only a failure to allocate a
/// result does.
///
/// @par Thread safety
/// Any number of threads may call every function. The result depends on the
/// arguments alone, but for MakeUpper() and MakeLower(): these use the locale
/// of the calling thread, which `setlocale` must not change meanwhile.

/// Cuts the bytes of `set` off the ends of `text`, in place.
///
/// `mode` says at which end: 1 the left one only, 2 or more the right one only,
/// 0 or less both. A text made of nothing but bytes of `set` becomes empty,
/// whatever the mode.
///
/// @par Example
/// @code
/// std::string text = "  a b  ";
/// fairlead::Trim(text, " ", 0);  // "a b"
/// @endcode
/// @par Cost
/// Linear in the bytes of `set` at both ends, each of which is compared with
/// those of `set`, and, where the left end was cut, in the bytes that stay.
/// Allocates nothing.
FAIRLEAD_EXPORT void Trim(std::string& text, std::string_view set, int mode);

/// What Trim() would leave of `text`, as a string of its own.
FAIRLEAD_EXPORT std::string TrimStr(std::string_view text, std::string_view set,
                                    int mode);

/// The part of `text` from its first to its last byte that is in `set`, or ""
/// where it holds none: the opposite of a trim.
///
/// What stands between the two stays, in the set or not: "ab12x34cd" with the
/// digits as the set gives "12x34". A zero byte ends the set.
FAIRLEAD_EXPORT std::string DecTrim(std::string_view text,
                                    std::string_view set);

/// The text with every byte passed through the system's `toupper`.
///
/// Unless the program has set a locale, only the letters a to z change.
FAIRLEAD_EXPORT std::string MakeUpper(std::string_view text);

/// The text with every byte passed through the system's `tolower`.
///
/// Unless the program has set a locale, only the letters A to Z change.
FAIRLEAD_EXPORT std::string MakeLower(std::string_view text);

/// The number in decimal, without padding, as `printf` writes it with "%lld".
FAIRLEAD_EXPORT std::string inttostr(std::int64_t number);

/// The number in decimal with leading zeros, at least two characters wide, as
/// `printf` writes it with "%02d": 7 is "07", -5 is "-5", 123 is "123".
FAIRLEAD_EXPORT std::string lz2(int number);

/// The number in decimal with leading zeros, at least six characters wide, as
/// `printf` writes it with "%06d": 42 is "000042", -5 is "-00005".
FAIRLEAD_EXPORT std::string lz6(int number);

/// The number as four bytes, most significant first (big-endian).
///
/// Not to be mistaken for INT2STR(), which has the other byte order.
FAIRLEAD_EXPORT std::string int2str(int number);

/// The number as four bytes, least significant first (little-endian).
///
/// Not to be mistaken for int2str(), which has the other byte order.
FAIRLEAD_EXPORT std::string INT2STR(int number);

/// Writes `text` to `buffer` as a Pascal string: one byte with the length, then
/// the bytes. A text of more than 255 bytes is cut to its first 255, without
/// notice.
///
/// @param buffer room for one byte more than the text, 256 at most; not checked
/// @return the number of bytes written, the length byte included (1 to 256)
FAIRLEAD_EXPORT int WritePascalString(unsigned char* buffer,
                                      std::string_view text);

/// Replaces `text` by the Pascal string that stands at `buffer`.
///
/// @param buffer a length byte and as many bytes as it says; not checked
/// @return the length of the text (0 to 255), one less than what
///     WritePascalString() returned: to walk on, add 1 for the length byte
FAIRLEAD_EXPORT int ReadPascalString(const unsigned char* buffer,
                                     std::string& text);

/// Reads a number from the start of `text`, exactly as a stream set to the
/// classic locale does with `>>`. Exists for `int` alone.
template <typename Number>
bool getval(std::string_view text, Number& target) = delete;

/// Reads a number, or falls back on a default. Exists for `int` alone.
template <typename Number, typename Default>
bool getval(std::string_view text, Number& target, Default fallback) = delete;

/// Reads an `int` from the start of `text`: white space is skipped, then come
/// an optional sign and decimal digits. What follows the number is not looked
/// at, so "12abc" is 12.
///
/// @return false where no number stands, and for one outside the range of
///     `int`. The target is then what a stream would leave: untouched where
///     there was nothing but white space, 0 where there was no digit, the
///     nearest `int` where the number was out of range.
/// @par Cost
/// Linear in the white space and the digits; no stream is made.
template <>
FAIRLEAD_EXPORT_SPECIALIZATION bool getval<int>(std::string_view text,
                                                int& target);

/// Reads an `int` as getval<int>() does; where that fails, the target becomes
/// `fallback`.
///
/// @return what getval<int>() returned
/// @par Example
/// @code
/// int port = 0;
/// fairlead::getval<int, int>("80 or so", port, 21);  // true, 80
/// fairlead::getval<int, int>("none", port, 21);      // false, 21
/// @endcode
template <>
FAIRLEAD_EXPORT_SPECIALIZATION bool getval<int, int>(std::string_view text,
                                                     int& target, int fallback);

}  // namespace fairlead

#endif  // FAIRLEAD_TEXT_STRINGS_H_
