// For the test of allocations: texts, command lines, bits, ciphers and times.

#include <sys/time.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <ctime>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "fairlead/allocations/operations_testing.h"
#include "fairlead/bits/bitstr.h"
#include "fairlead/bits/converter.h"
#include "fairlead/bits/crc.h"
#include "fairlead/cmdline/simple_cmd_line.h"
#include "fairlead/crypto/aes.h"
#include "fairlead/crypto/rc4.h"
#include "fairlead/export.h"
#include "fairlead/text/strings.h"
#include "fairlead/time/file_pos.h"
#include "fairlead/time/the_time.h"
#include "fairlead/time/time_of_day.h"

// The clock of the machine is not for a test to set.
extern "C" FAIRLEAD_EXPORT int settimeofday(
    const timeval* /*time*/, const struct timezone* /*zone*/) noexcept {
  errno = EPERM;
  return -1;
}

namespace fairlead::internal::basic_operations {
namespace {

const std::string kPadded = "      a text that is padded with spaces      ";
const std::string kMeaty = "AB-CD-EF-GH-IJ-KL-MN-OP-QR-ST-UV-WX-YZ";

const Operation kTexts[] = {
    {"Trim", {"Trim(std::string&, std::string_view, int)"}, Call([] {
       std::string text = kPadded;
       Trim(text, " ", 3);
       return text;
     })},
    {"TrimStr", {"TrimStr(std::string_view, std::string_view, int)"}, Call([] {
       return TrimStr(kPadded, " ", 3);
     })},
    {"DecTrim", {"DecTrim(std::string_view, std::string_view)"}, Call([] {
       return DecTrim(kPadded, " ");
     })},
    {"MakeUpper", {"MakeUpper(std::string_view)"}, Call([] {
       return MakeUpper(kPadded);
     })},
    {"MakeLower", {"MakeLower(std::string_view)"}, Call([] {
       return MakeLower(kPadded);
     })},
    {"inttostr", {"inttostr(long)"}, Call([] { return inttostr(INT64_MIN); })},
    {"ShortNumbers",
     {"lz2(int)", "lz6(int)", "int2str(int)", "INT2STR(int)"},
     Call([] {
       return lz2(7) + lz6(7) == "07000007" && int2str(70) == INT2STR(70)
                  ? "same"
                  : "other";
     }),
     Memory::kNone},
    {"ReadPascalString",
     {"ReadPascalString(unsigned char const*, std::string&)"},
     Call([] {
       std::array<unsigned char, 256> buffer{};
       WritePascalString(buffer.data(), kPadded);
       std::string text;
       ReadPascalString(buffer.data(), text);
       return text;
     })},
    {"WritePascalString",
     {"WritePascalString(unsigned char*, std::string_view)"},
     Call([] {
       std::array<unsigned char, 256> buffer{};
       return WritePascalString(buffer.data(), kPadded) > 0 ? "long" : "";
     }),
     Memory::kNone},
    {"getval",
     {"bool getval<int>(std::string_view, int&)",
      "bool getval<int, int>(std::string_view, int&, int)"},
     Call([] {
       int number = 0;
       const bool read = getval<int>("12", number);
       return read && !getval<int, int>("x", number, 7) && number == 7 ? "7"
                                                                       : "";
     }),
     Memory::kNone},
};

constexpr const char* kWords[] = {
    "/usr/bin/a program with a long name", "-a-name-that-is-long",
    "a value that is longer than that", "-number", "12"};

std::string LineOf(const CSimpleCmdLine& line) {
  return line.GetStrParam("a-name-that-is-long");
}

const Operation kCommandLines[] = {
    {"CommandLineOfAVector",
     {"CSimpleCmdLine::CSimpleCmdLine(int, char const* const*)",
      "CSimpleCmdLine::GetStrParam(std::string_view) const"},
     Call([] { return LineOf(CSimpleCmdLine(5, kWords)); })},
    {"CommandLineOfAText",
     {"CSimpleCmdLine::CSimpleCmdLine(std::string)"},
     Call([] {
       return LineOf(CSimpleCmdLine(
           "-a-name-that-is-long a_value_that_is_longer_than_that"));
     })},
    {"GetStrParamWithADefault",
     {"CSimpleCmdLine::GetStrParam(std::string_view, std::string_view) const"},
     Call([] {
       return CSimpleCmdLine(5, kWords).GetStrParam("none", kPadded);
     })},
    {"Parameters",
     {"CSimpleCmdLine::PresentParam(std::string_view) const",
      "CSimpleCmdLine::GetParam(std::string_view) const",
      "CSimpleCmdLine::GetIntParam(std::string_view, int) const"},
     [](const TempFolder&) {
       const auto line = std::make_shared<CSimpleCmdLine>(5, kWords);
       return Prepared{[line] {
         return line->PresentParam("A-NAME-THAT-IS-LONG") &&
                        line->GetParam("number") &&
                        line->GetIntParam("number", 0) == 12
                    ? "12"
                    : "";
       }};
     },
     Memory::kNone},
    {"GetExe", {"CSimpleCmdLine::GetExe(std::string_view)"}, Call([] {
       return CSimpleCmdLine::GetExe(kWords[0]);
     })},
    {"ToLower", {"CSimpleCmdLine::ToLower(std::string_view)"}, Call([] {
       return CSimpleCmdLine::ToLower(kPadded);
     })},
    {"CommandLineGetval",
     {"CSimpleCmdLine::getval(std::string_view, int&)",
      "CSimpleCmdLine::getval(std::string_view, int&, int)"},
     Call([] {
       int number = 0;
       const bool read = CSimpleCmdLine::getval("12", number);
       CSimpleCmdLine::getval("x", number, 7);
       return read && number == 7 ? "7" : "";
     }),
     Memory::kNone},
};

CConverter Converter() { return {120, 6, 3}; }

const Operation kBits[] = {
    {"Bitstr",
     {"CBitstr::CBitstr(std::string_view)",
      "MoveBits(unsigned int const*, int, unsigned int*, int, int, int)"},
     Call([] {
       CBitstr bits("0000-0000-0000-0001-2");
       MoveBits(bits.data, 3, bits.data + 8, 5, 20, 1);
       return bits.data[0] != 0 ? "bits" : "";
     }),
     Memory::kNone},
    {"Checksum",
     {"CCRC::AddVal(std::string_view)", "CCRC::AddVal(std::wstring_view)",
      "CCRC::AddArr(unsigned char const*, int)"},
     Call([] {
       CCRC sum{.rotation = 7};
       sum.AddVal(kPadded);
       sum.AddVal(L"wide");
       sum.AddArr(reinterpret_cast<const unsigned char*>(kPadded.data()), 30);
       return sum.count > 60 ? "many" : "";
     }),
     Memory::kNone},
    {"ReadCode",
     {"CConverter::CConverter(int, int, int)",
      "CConverter::StrToBitstr(std::string_view)",
      "CConverter::LoadData(std::string_view)",
      "CConverter::LoadData(CBitstr const&)"},
     Call([] {
       CConverter converter = Converter();
       const bool read = converter.LoadData("ABCDEFGHIJKLMNOPQRST") &&
                         converter.LoadData(converter.StrToBitstr(kMeaty));
       return read ? "read" : "not read";
     }),
     Memory::kNone},
    {"ExtractMeat", {"CConverter::ExtractMeat(std::string_view)"}, Call([] {
       return CConverter::ExtractMeat(kMeaty);
     })},
    {"MakeCode",
     {"CConverter::BitstrToStr(CBitstr const&) const",
      "CConverter::GetDividedStr() const",
      "CConverter::GetDividedStr(std::string_view, int)"},
     Call([] {
       const CConverter converter = Converter();
       return converter.BitstrToStr(CBitstr(kMeaty)) +
              converter.GetDividedStr() + CConverter::GetDividedStr(kMeaty, 2);
     })},
};

const Operation kCiphers[] = {
    {"AesFunctions",
     {"aes_gen_tables()",
      "aes_set_key(aes_context*, unsigned char const*, int)",
      "aes_encrypt(aes_context const*, unsigned char const*, unsigned char*)",
      "aes_decrypt(aes_context const*, unsigned char const*, unsigned char*)"},
     Call([] {
       aes_gen_tables();
       std::array<unsigned char, 32> bytes{};
       aes_context context;
       aes_set_key(&context, bytes.data(), 256);
       aes_encrypt(&context, bytes.data(), bytes.data());
       aes_decrypt(&context, bytes.data(), bytes.data());
       return bytes[0] == 0 ? "restored" : "";
     }),
     Memory::kNone},
    {"Aes",
     {"AES::AES(std::string_view, int)",
      "AES::EncodeBlock(unsigned char*) const",
      "AES::DecodeBlock(unsigned char*) const",
      "AES::EncodeArray(unsigned char*, int) const",
      "AES::DecodeArray(unsigned char*, int) const"},
     Call([] {
       std::array<unsigned char, 320> bytes{};
       const AES cipher(kPadded, 256);
       cipher.EncodeArray(bytes.data(), 320);
       cipher.EncodeBlock(bytes.data());
       cipher.DecodeBlock(bytes.data());
       cipher.DecodeArray(bytes.data(), 320);
       return bytes[0] == 0 ? "restored" : "";
     }),
     Memory::kNone},
    {"Rc4",
     {"RC4::RC4(RC4Key const&)", "RC4::Encode(unsigned char*, int)",
      "RC4::GetByte()"},
     Call([] {
       RC4 cipher(RC4Key{.key = {1, 2, 3}, .length = 3});
       std::array<unsigned char, 100> bytes{};
       cipher.Encode(bytes.data(), 100);
       return cipher.GetByte() >= 0 ? "byte" : "";
     }),
     Memory::kNone},
};

TheTime AtNoon() {
  TheTime time;
  time.ts = {1'794'700'800, 123'456'789};
  return time;
}

// No clock can be set to it.
TheTime AtNoTime() {
  TheTime time;
  time.ts = {-7, 0};
  return time;
}

const Operation kTimes[] = {
    {"TimeTexts",
     {"TheTime::SaveToString() const", "TheTime::GetStr(bool) const",
      "TheTime::GetHumanStr() const", "TheTime::GetDateStr() const",
      "TheTime::GetDateStr2() const",
      "TheTime::GetTimeStr(std::string_view) const"},
     Call([] {
       const TheTime time = AtNoon();
       return time.SaveToString() + time.GetStr(true) + time.GetHumanStr() +
              time.GetDateStr() + time.GetDateStr2() + time.GetTimeStr(kPadded);
     })},
    {"TimeNumbers",
     {"TheTime::Update()", "TheTime::Difference(TheTime const&) const",
      "TheTime::DifferenceFloat(TheTime const&) const",
      "TheTime::SetToPast(int)", "TheTime::DateChanged(TheTime const&) const",
      "TheTime::GetDaySec(unsigned int&) const",
      "TheTime::SetSystemTime() const"},
     Call([] {
       TheTime time;
       unsigned int seconds = 0;
       time.Update();
       time.SetToPast(1000);
       time.GetDaySec(seconds);
       time.DateChanged(AtNoon());
       const bool is_set = AtNoTime().SetSystemTime();
       return !is_set && time.Difference(AtNoon()) != 0 &&
                      time.DifferenceFloat(AtNoon()) != 0
                  ? "numbers"
                  : "";
     }),
     Memory::kNone},
    {"ReadTime",
     {"TheTime::LoadFromString(std::string_view)"},
     Call([] {
       TheTime time;
       return time.LoadFromString("20261114x205754") ? "read" : "not read";
     }),
     Memory::kTakenBySystem},
    {"CurrentTime", {"strtime()", "strtimeonly()", "strdateonly()"}, Call([] {
       return std::to_string(
           (strtime() + strtimeonly() + strdateonly() + kPadded).size());
     })},
    {"CurrentDay",
     {"intdayonly()"},
     Call([] { return intdayonly() > 0 ? "day" : ""; }),
     Memory::kNone},
    {"TimeOfDay",
     {"CTimeOfDay::LoadFromString(std::string_view)",
      "CTimeOfDay::GetStamp() const",
      "CTimeOfDay::operator+(CTimeOfDay const&) const",
      "CTimeOfDay::operator-(CTimeOfDay const&) const",
      "CTimeOfDay::GetSecondsString() const",
      "CTimeOfDay::GetStampString() const"},
     Call([] {
       CTimeOfDay time;
       time.LoadFromString("1:02:03");
       time = time + time - time;
       return time.GetStamp() == 10203 && time.GetSecondsString() == "3723"
                  ? time.GetStampString()
                  : "";
     }),
     Memory::kNone},
    {"FilePosition",
     {"CFilePos::AddValue(unsigned int)",
      "CFilePos::Difference(CFilePos const&) const",
      "CFilePos::DifferenceInMb(CFilePos const&) const",
      "CFilePos::GetFromHex(char, bool&)",
      "CFilePos::GreaterThan(CFilePos const&) const",
      "CFilePos::IsZero() const", "CFilePos::LoadFromString(std::string_view)",
      "CFilePos::GetText() const"},
     Call([] {
       CFilePos position;
       position.LoadFromString("0000000000000600");
       position.AddValue(10);
       bool ok = true;
       const bool right = position.GreaterThan({}) && !position.IsZero() &&
                          position.Difference({}) != 0 &&
                          position.DifferenceInMb({}) >= 0 &&
                          CFilePos::GetFromHex('F', ok) == 15;
       return right ? position.GetText() : "";
     }),
     Memory::kNone},
    {"FilePositionInHexadecimal", {"CFilePos::GetStr() const"}, Call([] {
       return CFilePos().GetStr();
     })},
};

}  // namespace

static std::vector<Operation> All() {
  std::vector<Operation> all(std::begin(kTexts), std::end(kTexts));
  all.insert(all.end(), std::begin(kCommandLines), std::end(kCommandLines));
  all.insert(all.end(), std::begin(kBits), std::end(kBits));
  all.insert(all.end(), std::begin(kCiphers), std::end(kCiphers));
  all.insert(all.end(), std::begin(kTimes), std::end(kTimes));
  return all;
}

}  // namespace fairlead::internal::basic_operations

namespace fairlead::internal {
const std::vector<Operation> kBasicOperations = basic_operations::All();
}  // namespace fairlead::internal
