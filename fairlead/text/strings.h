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
/// Text is bytes, zero included, in no encoding. Only a failed allocation
/// throws. All functions are linear and thread-safe, also after `fork()`.
/// Formats such as "%02d" are those of `printf`.

/// Removes the bytes of `set` from the ends of `text`, in place: from the left
/// end if `mode` is 1, from the right if it is 2 or more, from both if it is 0
/// or less. A text of nothing but such bytes becomes empty in every mode.
/// @code
/// std::string text = "  a b  ";
/// fairlead::Trim(text, " ", 0);  // text == "a b"
/// @endcode
FAIRLEAD_EXPORT void Trim(std::string& text, std::string_view set, int mode);

/// Returns what Trim() would leave of `text`.
FAIRLEAD_EXPORT std::string TrimStr(std::string_view text, std::string_view set,
                                    int mode);

/// Returns `text` from its first to its last byte that is in `set`, or "" if it
/// has none: "12x34" for "ab12x34cd" and digits. A zero byte ends the set.
FAIRLEAD_EXPORT std::string DecTrim(std::string_view text,
                                    std::string_view set);

/// Returns the text with every byte converted by `toupper` (POSIX): a to z
/// only, unless the program calls `setlocale`.
FAIRLEAD_EXPORT std::string MakeUpper(std::string_view text);

/// Does the same with `tolower`: A to Z.
FAIRLEAD_EXPORT std::string MakeLower(std::string_view text);

FAIRLEAD_EXPORT std::string inttostr(std::int64_t number);  ///< As "%lld".

FAIRLEAD_EXPORT std::string lz2(int number);  ///< As "%02d": "07", "-5", "123".
FAIRLEAD_EXPORT std::string lz6(int number);  ///< As "%06d": "000042".

FAIRLEAD_EXPORT std::string int2str(int number);  ///< 4 bytes, big-endian.
FAIRLEAD_EXPORT std::string INT2STR(int number);  ///< 4 bytes, little-endian.

/// Writes `text` to `buffer` as a Pascal string: a length byte, then the bytes.
/// Silently truncates a text of more than 255 bytes to its first 255.
/// @param buffer holds one byte more than the text, at most 256; not checked
/// @return the number of bytes written, including the length byte (1 to 256)
FAIRLEAD_EXPORT int WritePascalString(unsigned char* buffer,
                                      std::string_view text);

/// Sets `text` to the Pascal string at `buffer` and returns its length, 0 to
/// 255. The next one begins that many bytes and one after `buffer`.
/// @param buffer holds a length byte and that many bytes; not checked
FAIRLEAD_EXPORT int ReadPascalString(const unsigned char* buffer,
                                     std::string& text);

/// Reads a number from the start of `text`. Only specialized for `int`.
template <typename Number>
bool getval(std::string_view text, Number& target) = delete;

/// Reads a number, or uses a default. Only specialized for `int`.
template <typename Number, typename Default>
bool getval(std::string_view text, Number& target, Default fallback) = delete;

/// Reads an `int` from the start of `text` as `>>` does from a stream with the
/// classic locale: whitespace, an optional sign, decimal digits. Ignores the
/// rest, so "12abc" is 12. Creates no stream.
/// @return false if there is no number or it is out of range. The target is
///     then unchanged if the text is only whitespace, 0 if there is no digit,
///     and the nearest `int` if the number is out of range.
template <>
FAIRLEAD_EXPORT_SPECIALIZATION bool getval<int>(std::string_view text,
                                                int& target);

/// Does the same, and sets the target to `fallback` on failure.
template <>
FAIRLEAD_EXPORT_SPECIALIZATION bool getval<int, int>(std::string_view text,
                                                     int& target, int fallback);

}  // namespace fairlead

#endif  // FAIRLEAD_TEXT_STRINGS_H_
