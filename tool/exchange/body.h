// What `send` sends.

#ifndef FAIRLEAD_TOOL_EXCHANGE_BODY_H_
#define FAIRLEAD_TOOL_EXCHANGE_BODY_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "fairlead/bits/crc.h"
#include "tool/command/arguments.h"
#include "tool/command/parameters.h"
#include "tool/crypt/cipher.h"
#include "tool/exchange/frames.h"
#include "tool/io/read_file.h"
#include "tool/traffic/data_log.h"
#include "tool/traffic/parameters.h"

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

enum class HalfClose { kOn, kOff };

inline constexpr auto kHalfCloses =
    std::to_array<Choice>({{HalfClose::kOn, "on"}, {HalfClose::kOff, "off"}});

inline constexpr Parameter kHalfclose = {
    .name = "halfclose",
    .kind = Kind::kChoice,
    .group = Group::kWhat,
    .help =
        "close the sending direction after the body, so that the server sees "
        "its end; the default is on with -stdin and -demo, else off",
    .choices = kHalfCloses};

inline constexpr Parameter kPerline = {
    .name = "perline",
    .kind = Kind::kSwitch,
    .group = Group::kWhat,
    .help =
        "each line is a message, without its newline: -sum, -eol, -pascal, "
        "-prefix and the padding of AES apply to each"};

// A script decides itself what is sent and when enough was received. Without a
// body, nothing is.
inline constexpr auto kNotWithScript = std::to_array<const Parameter*>(
    {&kSum, &kPascal, &kPrefix, &kHalfclose, &kMessages, &kBytes, &kLines,
     &kUntil, &kExpect, &kReject});
inline constexpr auto kNotWithNone = std::to_array<const Parameter*>(
    {&kSum, &kEol, &kPascal, &kPrefix, &kHalfclose, &kMessages, &kBytes,
     &kLines, &kUntil, &kExpect, &kReject, &kChanges, &kLogdata, &kAes, &kRc4,
     &kCipher});

inline constexpr Parameter kNone = {
    .name = "none",
    .kind = Kind::kSwitch,
    .group = Group::kWhat,
    .help =
        "only connect and close, to see whether the port is open; prints how "
        "long connecting took, unless -quiet is given",
    .excluded = kNotWithNone};
inline constexpr Parameter kScript = {
    .name = "script",
    .placeholder = "FILE",
    .kind = Kind::kFile,
    .group = Group::kWhat,
    .help = "hold the dialogue of the statements in FILE, as described above",
    .excluded = kNotWithScript};

inline constexpr auto kBodyUses =
    Uses(OneOf(kText, kHex, kFile, kStdin, kNone, kScript), Optional(kSum),
         Optional(kEol), AtMostOne(kPascal, All(kPrefix, Optional(kPrefixadd))),
         OnlyWith(kPerline, When(kFile), When(kStdin)));

/// Returns the bytes of a line end.
std::string_view BytesOf(LineEnd eol);

/// How much of a message waits in memory until its length is known.
inline constexpr std::size_t kMaxHeld = std::size_t{1} << 20U;

/// Where the bytes of a body come from, and what is added to them.
struct BodyPlan {
  std::optional<std::string> bytes;  ///< Those of -text or -hex.
  std::string file;                  ///< Else this; standard input if empty.
  std::optional<int> rotation;       ///< Of the checksum, if one is appended.
  std::string_view line_end;
  bool pascal = false;
  std::optional<FramePrefix> prefix;
  bool per_line = false;

  /// Returns whether a message begins with its length.
  bool HasLength() const { return pascal || prefix; }

  /// Returns whether the body can be sent while it is read.
  ///
  /// @param size that of its source; 0 if it is unknown
  bool IsStreamed(std::uint64_t size) const {
    return !bytes && (per_line || !HasLength() || (prefix && size > 0));
  }

  /// Returns how many bytes Completed() makes of so many without -pascal.
  std::uint64_t CompletedSize(std::uint64_t size) const;
};

/// Returns the body that the arguments describe.
///
/// @param eol the choice of -eol, which may come from elsewhere
/// @throws Failure with kWrongUsage for malformed text or digits
BodyPlan ParseBody(const Arguments<kBodyUses>& arguments, LineEnd eol);

/// Counts bytes for a checksum.
void AddTo(CCRC& sum, std::string_view bytes);

/// Returns the checksum of nothing yet, in the plan's rotation.
CCRC NewSum(const BodyPlan& plan);

/// Returns the message with what the plan appends to it, and the length byte of
/// -pascal.
///
/// @param sum has counted what of the message was sent before
/// @throws Failure with kWrongUsage for one that is too long for -pascal
std::string Completed(const BodyPlan& plan, std::string message, CCRC sum);

/// Returns a completed message with its prefix, if it has one.
///
/// @throws Failure with kWrongUsage if the prefix cannot hold its length
std::string Prefixed(const BodyPlan& plan, std::string message);

/// Throws if the bytes are too many to wait in memory for their length.
///
/// @param what has them, for the error
/// @throws Failure with kWrongUsage
void CheckHeld(const BodyPlan& plan, std::size_t size, std::string_view what);

/// Returns the body from its source, up to kMaxHeld bytes.
///
/// @throws Failure with kCannotRead, or with kWrongUsage for a longer one
std::string ReadBody(const BodyPlan& plan, const Input& source);

}  // namespace fairlead::tool

#endif  // FAIRLEAD_TOOL_EXCHANGE_BODY_H_
