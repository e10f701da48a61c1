// Encodes the fields of a ticket and their checksum as a code that a user can
// type, and decodes it:
//
//     ticket_code -event 512 -seat 77 -row 3
//     ticket_code -read 'ABCD-EFGH'
//
// The checksum detects typing errors. It does not prevent forgery.

#include <fairlead/fairlead.h>

#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>

namespace {

// 40 bits of fields and 8 of the checksum are 8 characters of 6 bits.
constexpr int kEventBits = 16;
constexpr int kSeatBits = 14;
constexpr int kRowBits = 10;
constexpr int kFieldBits = kEventBits + kSeatBits + kRowBits;
constexpr int kChecksumBits = 8;

struct Ticket {
  unsigned int event = 0;
  unsigned int seat = 0;
  unsigned int row = 0;
};

fairlead::CConverter Codes() { return {kFieldBits + kChecksumBits, 6, 4}; }

unsigned int ChecksumOf(const fairlead::CBitstr& bits) {
  fairlead::CCRC checksum{.rotation = 5};
  for (int at = 0; at < kFieldBits; at += 8)
    checksum.AddVal(bits.data[at / 32] >> at % 32 & 0xFFU);
  return checksum.ReadCRC8();
}

void Put(fairlead::CBitstr& bits, unsigned int value, int at, int count) {
  fairlead::MoveBits(&value, 0, bits.data, at, count, 1);
}

unsigned int Get(const fairlead::CBitstr& bits, int at, int count) {
  unsigned int value = 0;
  fairlead::MoveBits(bits.data, at, &value, 0, count, 1);
  return value;
}

std::string CodeOf(const Ticket& ticket) {
  fairlead::CBitstr bits;
  Put(bits, ticket.event, 0, kEventBits);
  Put(bits, ticket.seat, kEventBits, kSeatBits);
  Put(bits, ticket.row, kEventBits + kSeatBits, kRowBits);
  Put(bits, ChecksumOf(bits), kFieldBits, kChecksumBits);

  fairlead::CConverter codes = Codes();
  codes.LoadData(bits);
  return codes.GetDividedStr();
}

std::optional<Ticket> TicketOf(const std::string& code) {
  fairlead::CConverter codes = Codes();  // A new one for each text.
  if (!codes.LoadData(code)) return std::nullopt;
  const fairlead::CBitstr bits = codes.GetBitstr();
  if (Get(bits, kFieldBits, kChecksumBits) != ChecksumOf(bits))
    return std::nullopt;
  return Ticket{.event = Get(bits, 0, kEventBits),
                .seat = Get(bits, kEventBits, kSeatBits),
                .row = Get(bits, kEventBits + kSeatBits, kRowBits)};
}

// The number of a parameter, or nothing if it has more than `bits` bits.
std::optional<unsigned int> Field(const fairlead::CSimpleCmdLine& args,
                                  const char* name, int bits) {
  const int value = args.GetIntParam(name, -1);
  if (value >= 0 && value < 1 << bits) return static_cast<unsigned int>(value);
  std::fprintf(stderr, "ticket_code: -%s must be from 0 to %d\n", name,
               (1 << bits) - 1);
  return std::nullopt;
}

int Read(const std::string& code) {
  const std::optional<Ticket> ticket = TicketOf(code);
  if (!ticket) {
    std::fprintf(
        stderr,
        "ticket_code: '%s' is not a valid code; check for typing errors\n",
        code.c_str());
    return 3;
  }
  std::printf("event %u, seat %u, row %u\n", ticket->event, ticket->seat,
              ticket->row);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  const fairlead::CSimpleCmdLine args(argc, argv);
  if (args.PresentParam("read")) return Read(args.GetStrParam("read"));

  const auto event = Field(args, "event", kEventBits);
  const auto seat = Field(args, "seat", kSeatBits);
  const auto row = Field(args, "row", kRowBits);
  if (!event || !seat || !row) return 2;
  std::puts(CodeOf({.event = *event, .seat = *seat, .row = *row}).c_str());
  return 0;
}
