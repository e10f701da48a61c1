// Conversions of random texts and bits with all settings, against the model.

#include "fairlead/bits/converter_model.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <random>
#include <string>

#include "fairlead/bits/converter.h"

namespace fairlead::internal::converter_model_test {
namespace {

CBitstr RandomBits(std::mt19937& random) {
  CBitstr bits;
  for (unsigned int& word : bits.data)
    word = static_cast<unsigned int>(random());
  bits.length = static_cast<int>(random() % 100);
  return bits;
}

// Reads `text` with a new converter and with the model.
void ExpectReadAlike(int total, int width, const std::string& text) {
  CConverter converter(total, width, 3);
  const auto read = ConverterModel{total, width, 3}.ReadText(text);
  const bool loaded = converter.LoadData(text);
  ASSERT_EQ(converter.error, read.error)
      << total << " bits, " << width << " per character: \"" << text << '"';
  ASSERT_EQ(loaded, read.error == 0);
  ASSERT_EQ(converter.bitstr.length, read.length);
  ASSERT_EQ(std::memcmp(converter.bitstr.data, read.bytes.data(), 64), 0)
      << total << " bits, " << width << " per character: \"" << text << '"';
}

TEST(ConverterModelTest, EverySettingWritesAsTheModel) {
  std::mt19937 random(81);
  CBitstr bits = RandomBits(random);
  for (int width = 0; width <= 8; ++width)
    for (int total = 0; total <= 540; ++total) {
      if (total % 16 == 0) bits = RandomBits(random);
      for (int group = 0; group <= 9; ++group) {
        const ConverterModel model{total, width, group};
        CConverter converter(total, width, group);
        converter.LoadData(bits);
        ASSERT_EQ(converter.GetStr(), model.Text(bits.data)) << total;
        ASSERT_EQ(converter.GetDividedStr(), model.DividedText(bits.data))
            << total << " bits, " << width << " per character, " << group;
        if (total > 100 && group == total % 9) break;
      }
    }
}

TEST(ConverterModelTest, EverySettingReadsAsTheModel) {
  std::mt19937 random(82);
  const std::string symbols = ConverterModel::Symbols();
  for (int width = 1; width <= 8; ++width)
    for (int total = 0; total <= 620; ++total)
      for (int kind = 0; kind < 4; ++kind) {
        std::string text;
        for (int i = 0; i < total / width; ++i)
          text += symbols[random() % std::min(64U, 1U << width)];
        if (kind == 1 && !text.empty())  // One byte may be anything.
          text[random() % text.size()] = static_cast<char>(random());
        if (kind == 2) text = ConverterModel::Divided(text, 1 + total % 7);
        if (kind == 3) text.resize(random() % (text.size() + 3), 'A');
        ExpectReadAlike(total, width, text);
        if (HasFatalFailure()) return;
      }
}

TEST(ConverterModelTest, EveryTextOfUpToSixBitsReadsBack) {
  std::mt19937 random(83);
  for (int width = 1; width <= 6; ++width)
    for (int total = 0; total <= 512; total += width) {
      CConverter writer(total, width, 5);
      const CBitstr bits = RandomBits(random);
      writer.LoadData(bits);
      CConverter reader(total, width, 5);
      ASSERT_TRUE(reader.LoadData(writer.GetDividedStr()));
      EXPECT_EQ(reader.bitstr.length, total / 8);
      EXPECT_EQ(std::memcmp(reader.bitstr.data, bits.data,
                            static_cast<std::size_t>(total / 8)),
                0);
      CConverter whole(total, width, 5);
      ASSERT_TRUE(whole.LoadData(writer.GetStr()));
      EXPECT_EQ(std::memcmp(&whole, &reader, sizeof(whole)), 0);
    }
}

TEST(ConverterModelTest, DecimalsAreReadAsTheModel) {
  std::mt19937 random(84);
  const std::string characters = "0123456789012345678900+- \t\nxa";
  for (int total = 0; total <= 130; ++total)
    for (int trial = 0; trial < 200; ++trial) {
      std::string text;
      const unsigned int size = static_cast<unsigned int>(random()) % 24;
      const std::size_t choice = trial % 2 == 0 ? 22 : characters.size();
      for (unsigned int i = 0; i < size; ++i)
        text += characters[random() % choice];
      ExpectReadAlike(total, 0, text);
      if (HasFatalFailure()) return;
    }
}

TEST(ConverterModelTest, EveryDecimalUpTo63BitsReadsBack) {
  std::mt19937 random(85);
  for (int total = 0; total <= 63; ++total)
    for (int trial = 0; trial < 50; ++trial) {
      CConverter writer(total, 0, 4);
      writer.LoadData(RandomBits(random));
      CConverter reader(total, 0, 4);
      ASSERT_TRUE(reader.LoadData(writer.GetDividedStr()));
      EXPECT_EQ(reader.GetStr(), writer.GetStr());
      EXPECT_EQ(reader.bitstr.length, (total + 7) / 8);
    }
}

TEST(ConverterModelTest, ALongTextIsReadLikeAShortOne) {
  std::string text;
  for (int i = 0; i < 3000; ++i) text += "B-";
  ExpectReadAlike(18'000, 6, text);
  ExpectReadAlike(18'000, 6, text + "C");
  text[5000] = '!';
  ExpectReadAlike(18'000, 6, text);
}

}  // namespace
}  // namespace fairlead::internal::converter_model_test
