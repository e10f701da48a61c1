// What `send` sends.

#ifndef FAIRLEAD_TOOL_EXCHANGE_BODY_H_
#define FAIRLEAD_TOOL_EXCHANGE_BODY_H_

#include <array>
#include <optional>
#include <string>
#include <string_view>

#include "tool/command/arguments.h"
#include "tool/command/parameters.h"

namespace fairlead::tool {

enum class LineEnd { kNone, kLf, kCrlf };

inline constexpr auto kLineEnds = std::to_array<Choice>({
    {LineEnd::kNone, "none"},
    {LineEnd::kLf, "lf"},
    {LineEnd::kCrlf, "crlf"},
});

inline constexpr Parameter kSum = {
    .name = "sum",
    .placeholder = "ROTATION",
    .kind = Kind::kNumber,
    .group = Group::kWhat,
    .help =
        "append the body's checksum as 8 bytes, highest first, as 'fairlead "
        "sum' computes it with -rotation ROTATION; for -back N write 32 - N",
    .range = {.least = 0, .most = 32}};
inline constexpr Parameter kEol = {.name = "eol",
                                   .kind = Kind::kChoice,
                                   .group = Group::kWhat,
                                   .help = "append a line end",
                                   .choices = kLineEnds,
                                   .fallback = "none"};
inline constexpr Parameter kPascal = {
    .name = "pascal",
    .kind = Kind::kSwitch,
    .group = Group::kWhat,
    .help = "prepend one byte with the length of all of the above, up to 255"};

inline constexpr auto kBodyUses =
    Uses(OneOf(kText, kHex, kFile, kStdin), Optional(kSum), Optional(kEol),
         Optional(kPascal));

/// Where the bytes of a body come from, and what is added to them.
struct BodyPlan {
  std::optional<std::string> bytes;  ///< Those of -text or -hex.
  std::string file;                  ///< Else this; standard input if empty.
  std::optional<int> rotation;       ///< Of the checksum, if one is appended.
  std::string_view line_end;
  bool pascal = false;
};

/// Returns the body that the arguments describe.
///
/// @param eol the choice of -eol, which may come from elsewhere
/// @throws Failure with kWrongUsage for malformed text or digits
BodyPlan ParseBody(const Arguments<kBodyUses>& arguments, LineEnd eol);

/// Returns the bytes of the body, read from their source.
///
/// @throws Failure with kCannotRead, or with kWrongUsage for a body that is too
///     long for -pascal
std::string ReadBody(const BodyPlan& plan);

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_EXCHANGE_BODY_H_
