#include "tool/exchange/body.h"

#include <unistd.h>

#include <algorithm>
#include <array>

#include "fairlead/bits/crc.h"
#include "fairlead/text/strings.h"
#include "tool/base/concat.h"
#include "tool/base/escapes.h"
#include "tool/base/failure.h"
#include "tool/io/read_file.h"

namespace fairlead::tool {
namespace {

constexpr std::size_t kLongestPascal = 255;
constexpr std::size_t kPart = 1U << 30U;  // The library counts in int.

std::string ReadDoor(const Arguments& arguments) {
  if (arguments.Has(kText)) return Unescaped(arguments.Text(kText), kText.name);
  if (arguments.Has(kHex)) return FromHex(arguments.Text(kHex), kHex.name);
  if (arguments.Has(kFile)) return ReadFile(arguments.Text(kFile));
  return ReadAll(STDIN_FILENO, "standard input");
}

// The check value of the bytes, the highest byte first.
std::string CheckValue(std::string_view bytes, int rotation) {
  CCRC crc{.rotation = rotation};
  for (; !bytes.empty(); bytes.remove_prefix(std::min(bytes.size(), kPart)))
    // Bytes are bytes: unsigned char may look at any object.
    crc.AddArr(reinterpret_cast<const unsigned char*>(bytes.data()),
               static_cast<int>(std::min(bytes.size(), kPart)));
  std::string value;
  for (int shift = 56; shift >= 0; shift -= 8)
    value += static_cast<char>(crc.ReadCRC() >> shift);
  return value;
}

std::string_view LineEnd(std::string_view eol) {
  if (eol == "crlf") return "\r\n";
  return eol == "lf" ? "\n" : "";
}

std::string AsPascalString(const std::string& body) {
  if (body.size() > kLongestPascal)
    throw Failure(kWrongUsage,
                  Concat("-pascal takes 255 bytes at most, and the body has ",
                         body.size()));
  std::array<unsigned char, kLongestPascal + 1> buffer{};
  const int length = WritePascalString(buffer.data(), body);
  return {buffer.begin(), buffer.begin() + length};
}

}  // namespace

void CheckDoors(const Arguments& arguments) {
  std::string given;
  int doors = 0;
  for (const Parameter& door : {kText, kHex, kFile, kStdin}) {
    if (!arguments.Has(door)) continue;
    given += Concat(given.empty() ? "-" : " and -", door.name);
    ++doors;
  }
  if (doors == 0)
    throw Failure(kWrongUsage,
                  "there is nothing to send: give one of -text, -hex, -file "
                  "and -stdin ('fairlead recv' only listens)");
  if (doors > 1)
    throw Failure(kWrongUsage,
                  Concat(given, " are given: a body comes from one"));
}

std::string ReadBody(const Arguments& arguments, std::string_view eol) {
  std::string body = ReadDoor(arguments);
  if (arguments.Has(kSum)) body += CheckValue(body, arguments.Number(kSum));
  body += LineEnd(eol);
  return arguments.Has(kPascal) ? AsPascalString(body) : body;
}

}  // namespace fairlead::tool
