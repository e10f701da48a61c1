// Reads the body of `send` from its source.

#include "tool/exchange/body.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdint>

#include "fairlead/bits/crc.h"
#include "fairlead/text/strings.h"
#include "tool/base/concat.h"
#include "tool/base/escapes.h"
#include "tool/base/failure.h"
#include "tool/io/read_file.h"

namespace fairlead::tool {
namespace {

constexpr std::size_t kMaxPascal = 255;
constexpr std::size_t kPart = 1U << 30U;  // The library counts in int.

std::string ReadSource(const BodyPlan& plan) {
  if (plan.bytes) return *plan.bytes;
  if (!plan.file.empty()) return ReadFile(plan.file);
  return ReadAll(STDIN_FILENO, "standard input");
}

std::string AsPascalString(const std::string& body) {
  if (body.size() > kMaxPascal)
    throw Failure(kWrongUsage,
                  Concat("the body has ", body.size(),
                         " bytes; -pascal accepts at most ", kMaxPascal));
  std::array<unsigned char, kMaxPascal + 1> buffer{};
  const int length = WritePascalString(buffer.data(), body);
  return {buffer.begin(), buffer.begin() + length};
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

std::string ChecksumOf(CCRC& sum) {
  const std::uint64_t value = sum.ReadCRC();
  std::string checksum;
  for (int shift = 56; shift >= 0; shift -= 8)
    checksum += static_cast<char>(value >> shift);
  return checksum;
}

std::string Completed(const BodyPlan& plan, std::string message) {
  if (plan.rotation) {
    CCRC sum{.rotation = *plan.rotation};
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

std::string ReadBody(const BodyPlan& plan) {
  return Completed(plan, ReadSource(plan));
}

}  // namespace fairlead::tool
