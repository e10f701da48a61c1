// Reads any bytes as text and as bits with any settings, and compares the
// results with the model's.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

#include "fairlead/bits/converter.h"
#include "fairlead/bits/converter_model.h"

namespace {

using fairlead::CBitstr;
using fairlead::CConverter;
using fairlead::internal::ConverterModel;

constexpr std::size_t kSettingsSize = 4;  // Bytes at the start of an input.

void Require(bool holds) {
  if (!holds) std::abort();
}

void ReadText(const ConverterModel& model, std::string_view text) {
  CConverter converter(model.total, model.width, model.group);
  const ConverterModel::Read read = model.ReadText(text);
  Require(converter.LoadData(text) == (read.error == 0));
  Require(converter.error == read.error);
  Require(converter.bitstr.length == read.length);
  Require(std::memcmp(converter.bitstr.data, read.bytes.data(),
                      read.bytes.size()) == 0);
  Require(CConverter::ExtractMeat(text) == ConverterModel::Stripped(text));
  Require(CConverter::GetDividedStr(text, model.group) ==
          ConverterModel::Divided(std::string(text), model.group));
}

void WriteBits(const ConverterModel& model, std::string_view bytes) {
  CBitstr bits;
  std::memcpy(
      bits.data, bytes.data(),
      bytes.size() < sizeof(bits.data) ? bytes.size() : sizeof(bits.data));
  CConverter converter(model.total, model.width, model.group);
  Require(converter.LoadData(bits));
  Require(converter.GetStr() == model.Text(bits.data));
  Require(converter.GetDividedStr() == model.DividedText(bits.data));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  if (size < kSettingsSize) return 0;
  ConverterModel model{data[0] + data[1] * 4, data[2] % 9,
                       static_cast<std::int8_t>(data[3])};
  const std::string_view rest(
      reinterpret_cast<const char*>(data) + kSettingsSize,
      size - kSettingsSize);
  ReadText(model, rest);
  WriteBits(model, rest);

  // With these settings most texts have a wrong length: try the right ones,
  // too.
  const std::size_t digits = ConverterModel::Stripped(rest).size();
  if (digits > 4096) return 0;
  model.total = static_cast<int>(digits) * model.width + data[0] % 8;
  ReadText(model, rest);
  return 0;
}
