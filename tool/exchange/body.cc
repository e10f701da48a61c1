// Reads the body of `send` from its source.

#include "tool/exchange/body.h"

#include <algorithm>
#include <array>
#include <cstdint>

#include "fairlead/bits/crc.h"
#include "fairlead/text/strings.h"
#include "tool/base/concat.h"
#include "tool/base/escapes.h"
#include "tool/base/failure.h"

namespace fairlead::tool {
namespace {

constexpr std::size_t kMaxPascal = 255;
constexpr std::size_t kPart = 1U << 30U;  // The library counts in int.
constexpr std::size_t kChecksumSize = 8;

std::string AsPascalString(const std::string& body) {
  if (body.size() > kMaxPascal)
    throw Failure(kWrongUsage,
                  Concat("the body has ", body.size(),
                         " bytes; -pascal accepts at most ", kMaxPascal));
  std::array<unsigned char, kMaxPascal + 1> buffer{};
  const int length = WritePascalString(buffer.data(), body);
  return {buffer.begin(), buffer.begin() + length};
}

// Returns the checksum as it is sent, the highest byte first.
std::string ChecksumOf(CCRC& sum) {
  const std::uint64_t value = sum.ReadCRC();
  std::string checksum;
  for (std::size_t i = kChecksumSize; i-- > 0;)
    checksum += static_cast<char>(value >> 8 * i);
  return checksum;
}

}  // namespace

std::string_view BytesOf(LineEnd eol) {
  switch (eol) {
    case LineEnd::kNone:
      return "";
    case LineEnd::kLf:
      return "\n";
    case LineEnd::kCrlf:
      return "\r\n";
  }
  return {};
}

void AddTo(CCRC& sum, std::string_view bytes) {
  for (; !bytes.empty(); bytes.remove_prefix(std::min(bytes.size(), kPart)))
    // unsigned char may alias any object.
    sum.AddArr(reinterpret_cast<const unsigned char*>(bytes.data()),
               static_cast<int>(std::min(bytes.size(), kPart)));
}

std::uint64_t BodyPlan::CompletedSize(std::uint64_t size) const {
  return size + (rotation ? kChecksumSize : 0) + line_end.size();
}

CCRC NewSum(const BodyPlan& plan) {
  return {.rotation = plan.rotation.value_or(0)};
}

std::string Completed(const BodyPlan& plan, std::string message, CCRC sum) {
  if (plan.rotation) {
    AddTo(sum, message);
    message += ChecksumOf(sum);
  }
  message += plan.line_end;
  return plan.pascal ? AsPascalString(message) : message;
}

std::string Prefixed(const BodyPlan& plan, std::string message) {
  if (!plan.prefix) return message;
  return Framed(*plan.prefix, message);
}

BodyPlan ParseBody(const Arguments<kBodyUses>& arguments, LineEnd eol) {
  BodyPlan plan;
  if (arguments.Has(kText))
    plan.bytes = Unescaped(arguments.Text(kText), kText.name);
  else if (arguments.Has(kHex))
    plan.bytes = FromHex(arguments.Text(kHex), kHex.name);
  else if (arguments.Has(kNone))
    plan.bytes = "";
  plan.file = arguments.Text(kFile);
  if (arguments.Has(kSum)) plan.rotation = arguments.Number(kSum);
  plan.line_end = BytesOf(eol);
  plan.pascal = arguments.Has(kPascal);
  plan.prefix = PrefixOf(arguments);
  plan.per_line = arguments.Has(kPerline);
  return plan;
}

void CheckHeld(const BodyPlan& plan, std::size_t size, std::string_view what) {
  if (size <= kMaxHeld) return;
  const std::string has = Concat(what, " has more than ", kMaxHeld, " bytes; ");
  if (plan.pascal)
    throw Failure(kWrongUsage,
                  Concat(has, "-pascal accepts at most ", kMaxPascal));
  throw Failure(
      kWrongUsage,
      Concat(has, "-prefix has to count them before they are sent",
             plan.per_line ? "" : ", unless -file is a regular file"));
}

std::string ReadBody(const BodyPlan& plan, const Input& source) {
  std::string body;
  ReadPieces(source.descriptor(), source.name(), [&](std::string_view piece) {
    body += piece;
    CheckHeld(plan, body.size(), source.name());
  });
  return body;
}

}  // namespace fairlead::tool
