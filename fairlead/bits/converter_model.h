// A slow model of the converter, on streams and single bits. Not installed.

#ifndef FAIRLEAD_BITS_CONVERTER_MODEL_H_
#define FAIRLEAD_BITS_CONVERTER_MODEL_H_

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

namespace fairlead::internal {

// The settings of a converter, all in range, and the results expected of it.
struct ConverterModel {
  struct Read {
    std::array<unsigned char, 64> bytes{};
    int length = 0;
    int error = 0;
  };

  int total;
  int width;
  int group;

  static std::string Symbols() {
    std::string symbols;
    for (char c = 'A'; c <= 'Z'; ++c) symbols += c;
    for (char c = '1'; c <= '9'; ++c) symbols += c;
    for (char c = 'a'; c <= 'z'; ++c) symbols += c;
    return symbols + "0@#";
  }

  static int ValueOf(char symbol) {
    static const std::string symbols = Symbols();
    if (static_cast<unsigned char>(symbol) > 0x7F) return 45;
    const std::size_t at = symbols.find(symbol);
    return at == std::string::npos ? 255 : static_cast<int>(at);
  }

  static std::string Stripped(std::string_view text) {
    std::string stripped;
    for (const char c : text)
      if (c != '-' && c != ' ') stripped += c;
    return stripped;
  }

  int Digits() const { return static_cast<int>(total * 0.30103 + 1.0); }

  Read ReadText(std::string_view text) const {
    const std::string stripped = Stripped(text);
    return width == 0 ? ReadNumber(stripped) : ReadSymbols(stripped);
  }

  Read ReadSymbols(const std::string& stripped) const {
    Read read;
    if (static_cast<int>(stripped.size()) != total / width) {
      read.error = 1;
      return read;
    }
    std::vector<bool> bits;
    for (const char symbol : stripped) {
      const int value = ValueOf(symbol);
      if (value >= 1 << width) {
        read.error = 2;
        break;
      }
      for (int i = 0; i < width; ++i) bits.push_back((value >> i & 1) != 0);
    }
    if (read.error == 0) {
      if (total % width != 0) bits.resize(bits.size() + std::size_t(width));
      read.length = total / 8;
    }
    const std::size_t whole = std::min<std::size_t>(bits.size() / 8, 64);
    for (std::size_t i = 0; i < whole * 8; ++i)
      if (bits[i])
        read.bytes[i / 8] =
            static_cast<unsigned char>(read.bytes[i / 8] | 1U << i % 8);
    return read;
  }

  Read ReadNumber(std::string stripped) const {
    Read read;
    while (stripped.size() > 1 && stripped[0] == '0') stripped.erase(0, 1);
    if (static_cast<int>(stripped.size()) > Digits()) {
      read.error = 3;
      return read;
    }
    std::istringstream stream(stripped);
    long long number = 0;
    if (!(stream >> number)) {
      read.error = 4;
      return read;
    }
    read.length = (total + 7) / 8;
    for (int i = 0; i < std::min(read.length, 8); ++i)
      read.bytes[static_cast<std::size_t>(i)] =
          static_cast<unsigned char>(number >> (8 * i));
    return read;
  }

  static int Bit(const std::uint32_t* words, int at) {
    return at < 512 ? static_cast<int>(words[at / 32] >> at % 32 & 1U) : 0;
  }

  std::string Text(const std::uint32_t* words) const {
    return width == 0 ? NumberText(words) : SymbolText(words);
  }

  std::string SymbolText(const std::uint32_t* words) const {
    static const std::string symbols = Symbols();
    std::string text;
    for (int p = 0; p < total; p += width) {
      std::size_t value = 0;
      for (int i = width; i-- > 0;)
        value = value * 2 + std::size_t(Bit(words, p + i));
      text += value < symbols.size() ? symbols[value] : '-';
    }
    return text;
  }

  std::string NumberText(const std::uint32_t* words) const {
    if (total > 64) return "";
    std::uint64_t number = 0;
    for (int i = total; i-- > 0;)
      number = number * 2 + std::uint64_t(Bit(words, i));
    std::ostringstream stream;
    stream << static_cast<long long>(number);
    std::string text = stream.str();
    while (static_cast<int>(text.size()) < Digits()) text.insert(0, "0");
    return text;
  }

  static std::string Divided(const std::string& text, int size) {
    std::string divided;
    for (std::size_t i = 0; i < text.size(); ++i) {
      divided += text[i];
      const int k = static_cast<int>(i) + 1;
      if (i + 1 < text.size() && size != 0 && k % size == 0) divided += '-';
    }
    return divided;
  }

  std::string DividedText(const std::uint32_t* words) const {
    const int shown = width == 0 ? Digits() : total / width;
    return Divided(Text(words).substr(0, static_cast<std::size_t>(shown)),
                   group);
  }
};

}  // namespace fairlead::internal

#endif  // FAIRLEAD_BITS_CONVERTER_MODEL_H_
