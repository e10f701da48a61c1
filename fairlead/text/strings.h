// Text helpers: trimming, case, numbers as text and back, Pascal strings.

#ifndef FAIRLEAD_TEXT_STRINGS_H_
#define FAIRLEAD_TEXT_STRINGS_H_

#include <cstdint>
#include <string>
#include <string_view>

#include "fairlead/export.h"

/// The plumbing of a small command-line client.
namespace fairlead {

/// @file
/// Text is bytes: any byte may occur, zero included, and no encoding is
/// assumed. Only a failed allocation throws. Every function may be called from
/// any number of threads and after `fork()`, and depends on its arguments
/// alone, except that MakeUpper() and MakeLower() use the locale of
/// `setlocale`.

/// Removes the bytes of `set` from the ends of `text`, in place: from the left
/// end if `mode` is 1, from the right if it is 2 or more, from both if it is 0
/// or less. A text of nothing but such bytes becomes empty in every mode.
/// @par Cost
/// Linear in the bytes removed and, if the left end moves, in those kept. Does
/// not allocate.
/// @par Example
/// @code
/// std::string text = "  a b  ";
/// fairlead::Trim(text, " ", 0);  // text == "a b"
/// @endcode
FAIRLEAD_EXPORT void Trim(std::string& text, std::string_view set, int mode);

/// Returns what Trim() would leave of `text`.
FAIRLEAD_EXPORT std::string TrimStr(std::string_view text, std::string_view set,
                                    int mode);

/// Returns `text` from its first to its last byte that is in `set`, or "" if it
/// has none. Keeps every byte between the two: "ab12x34cd" with the digits as
/// the set gives "12x34". A zero byte ends the set.
FAIRLEAD_EXPORT std::string DecTrim(std::string_view text,
                                    std::string_view set);

/// Returns the text with every byte converted by the system's `toupper`. Only
/// the letters a to z change unless the program sets a locale.
FAIRLEAD_EXPORT std::string MakeUpper(std::string_view text);

/// Returns the text with every byte converted by the system's `tolower`. Only
/// the letters A to Z change unless the program sets a locale.
FAIRLEAD_EXPORT std::string MakeLower(std::string_view text);

/// Returns the number in decimal, as `printf` writes it with "%lld".
FAIRLEAD_EXPORT std::string inttostr(std::int64_t number);

/// Returns the number as `printf` writes it with "%02d": "07", "-5", "123".
FAIRLEAD_EXPORT std::string lz2(int number);

/// Returns the number as `printf` writes it with "%06d": "000042", "-00005".
FAIRLEAD_EXPORT std::string lz6(int number);

/// Returns four bytes, most significant first (big-endian), unlike INT2STR().
FAIRLEAD_EXPORT std::string int2str(int number);

/// Returns four bytes, least significant first (little-endian), unlike
/// int2str().
FAIRLEAD_EXPORT std::string INT2STR(int number);

/// Writes `text` to `buffer` as a Pascal string: a length byte, then the bytes.
/// Silently truncates a text of more than 255 bytes to its first 255.
///
/// @param buffer holds one byte more than the text, at most 256; not checked
/// @return the number of bytes written, including the length byte (1 to 256)
FAIRLEAD_EXPORT int WritePascalString(unsigned char* buffer,
                                      std::string_view text);

/// Sets `text` to the Pascal string at `buffer`.
///
/// @param buffer holds a length byte and that many bytes; not checked
/// @return the length of the text without the length byte (0 to 255), so the
///     next string begins one byte more than that after `buffer`
FAIRLEAD_EXPORT int ReadPascalString(const unsigned char* buffer,
                                     std::string& text);

/// Reads a number from the start of `text`. Only specialized for `int`.
template <typename Number>
bool getval(std::string_view text, Number& target) = delete;

/// Reads a number, or uses a default. Only specialized for `int`.
template <typename Number, typename Default>
bool getval(std::string_view text, Number& target, Default fallback) = delete;

/// Reads an `int` from the start of `text`, exactly as `>>` reads it from a
/// stream with the classic locale: whitespace is skipped, then comes an
/// optional sign, then decimal digits. The rest is ignored, so "12abc" is 12.
///
/// @return false if there is no number or it is out of the range of `int`. The
///     target is then unchanged if the text is only whitespace, 0 if there is
///     no digit, and the nearest `int` if the number is out of range.
/// @par Cost
/// Linear in the whitespace and the digits; creates no stream.
template <>
FAIRLEAD_EXPORT_SPECIALIZATION bool getval<int>(std::string_view text,
                                                int& target);

/// Reads an `int` as getval<int>() does and returns the same. On failure, sets
/// the target to `fallback`.
template <>
FAIRLEAD_EXPORT_SPECIALIZATION bool getval<int, int>(std::string_view text,
                                                     int& target, int fallback);

}  // namespace fairlead

#endif  // FAIRLEAD_TEXT_STRINGS_H_
