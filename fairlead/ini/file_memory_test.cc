// Tests of the memory that reading and editing a file, or a document, needs at
// most.

#include <gtest/gtest.h>
#include <malloc.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "fairlead/export.h"
#include "fairlead/file/edit_testing.h"
#include "fairlead/file/file_edit.h"
#include "fairlead/ini/ini_document.h"
#include "fairlead/ini/ini_keys.h"
#include "fairlead/testing/sanitizers.h"

namespace {

// The memory of this program that is in use, and the most there was.
std::size_t in_use = 0;
std::size_t peak = 0;

}  // namespace

// Not inlined: g++ warns about a `free` of what `new` returned.
[[gnu::noinline]] FAIRLEAD_EXPORT void* operator new(std::size_t size) {
  void* const memory = std::malloc(size == 0 ? 1 : size);
  if (memory == nullptr) throw std::bad_alloc();
  in_use += malloc_usable_size(memory);
  peak = std::max(peak, in_use);
  return memory;
}

[[gnu::noinline]] FAIRLEAD_EXPORT void operator delete(void* memory) noexcept {
  in_use -= malloc_usable_size(memory);
  std::free(memory);
}

[[gnu::noinline]] FAIRLEAD_EXPORT void operator delete(
    void* memory, std::size_t /*size*/) noexcept {
  operator delete(memory);
}

namespace fairlead::internal {
namespace {

constexpr std::size_t kSize = 4'000'000;
constexpr std::size_t kRest = 200'000;  // Buffers, and the results.

// Returns the most memory that `act` uses at once.
template <typename Act>
std::size_t PeakOf(const Act& act) {
  const std::size_t before = in_use;
  peak = in_use;
  act();
  return peak - before;
}

class FileMemoryTest : public testing::Test {
 protected:
  const TempFolder folder_;
  const std::string path_ = Put(folder_, "f", std::string(kSize, 'x'));
};

// Changes the first byte, and passes the text on in lines of 50 bytes.
bool ChangeFirst(std::optional<std::string> text, const PieceWriter& write) {
  text->front() = 'y';
  for (std::size_t at = 0; at < text->size(); at += 50)
    write(std::string_view(*text).substr(at, 50));
  return true;
}

TEST_F(FileMemoryTest, AFileIsReadIntoOneBuffer) {
  EXPECT_LE(PeakOf([&] {
              EXPECT_EQ(fairlead::ReadFileContent(path_).text.size(), kSize);
            }),
            kSize + kRest);
}

TEST_F(FileMemoryTest, AReplacementNeedsOneText) {
  for (const char* const suffix : {"", "~"})
    EXPECT_LE(PeakOf([&] {
                EXPECT_EQ(
                    RewriteFile(path_, ChangeFirst, {.backup_suffix = suffix}),
                    kWritten);
              }),
              kSize + kRest);
}

TEST_F(FileMemoryTest, InPlaceNeedsOneTextToo) {
  for (const char* const suffix : {"", "~"})
    EXPECT_LE(PeakOf([&] {
                EXPECT_EQ(
                    RewriteFile(path_, ChangeFirst,
                                {.in_place = true, .backup_suffix = suffix}),
                    kWritten);
              }),
              kSize + 2 * kRest);
}

TEST_F(FileMemoryTest, InPlaceAWhollyNewTextIsOneMore) {
  const auto rewrite = [](const std::optional<std::string>& text,
                          const PieceWriter& write) {
    for (std::size_t at = 0; at < text->size(); at += 50)
      write(std::string(50, 'y'));
    return true;
  };
  EXPECT_LE(PeakOf([&] {
              EXPECT_EQ(RewriteFile(path_, rewrite, {.in_place = true}),
                        kWritten);
            }),
            2 * kSize + kSize / 8 + 2 * kRest);
}

TEST_F(FileMemoryTest, EditFileNeedsBothTexts) {
  const auto change = [](std::optional<std::string> text) {
    ++text->front();
    return text;
  };
  for (const bool in_place : kBothWays)
    EXPECT_LE(PeakOf([&] {
                EXPECT_EQ(EditFile(path_, change, {.in_place = in_place}),
                          kWritten);
              }),
              2 * kSize + kSize / 8 + kRest);
}

constexpr std::size_t kTextSize = Rounds(500'000);

// Large texts of short lines.
struct TextShape {
  std::string_view lines;  // The text is so many times these.
  std::string_view section;
  std::string_view key;
};

constexpr TextShape kTextShapes[] = {
    {"\n", "", "k"},
    {"a\n", "", "k"},
    {"#\n", "", "k"},
    {"k=\n", "", "k"},
    {"k=1\n", "", "k"},
    {"a=1\nb=1\nc=1\nd=1\n", "", "b"},
    {"[s]\n", "s", "k"},
    {"[s]\nk=1\n", "s", "k"},
    {"#c\nk=1\n\n", "", "k"},
    {"  key = 12\r\n", "", "key"},
    {"a line that is long = yes\n", "", "a line that is long"},
};

std::string TextOfShape(const TextShape& shape) {
  std::string text;
  text.reserve(kTextSize + shape.lines.size());
  while (text.size() < kTextSize) text += shape.lines;
  return text;
}

// Makes the edit of a document with the text. Expects the memory of two texts.
template <typename Edit>
void ExpectTwoTexts(const char* name, const TextShape& shape, const Edit& edit,
                    IniReading reading = IniReading::kLive) {
  SCOPED_TRACE(testing::Message()
               << name << " of " << testing::PrintToString(shape.lines));
  EXPECT_LE(PeakOf([&] {
              IniDocument document(TextOfShape(shape), reading);
              edit(document);
            }),
            2 * kTextSize + kTextSize / 16);
}

TEST(IniDocumentMemoryTest, AnEditOfShortLinesNeedsTwoTexts) {
  for (const IniReading reading : {IniReading::kLive, IniReading::kRecords})
    for (const TextShape& shape : kTextShapes) {
      const IniName name = {shape.section, shape.key};
      const auto set = [&](auto& document) { document.Set(name, "22"); };
      const auto add = [&](auto& document) {
        document.Set({shape.section, "new"}, "1");
        document.Set({"new", "new"}, "1");
      };
      const auto erase = [&](auto& document) { document.Delete(name); };
      const auto erase_all = [&](auto& document) {
        document.Delete({shape.section});
      };
      ExpectTwoTexts("Set", shape, set, reading);
      ExpectTwoTexts("Add", shape, add, reading);
      ExpectTwoTexts("Delete", shape, erase, reading);
      // In the other reading, each line is searched for the comments above it.
      if (reading == IniReading::kLive)
        ExpectTwoTexts("Delete a section", shape, erase_all);
    }
}

TEST(IniDocumentMemoryTest, DisablingShortLinesNeedsTwoTexts) {
  for (const TextShape& shape : kTextShapes) {
    const bool has_blank = shape.lines.ends_with("\n\n");
    if (shape.lines.size() < 4 || has_blank) continue;
    ExpectTwoTexts("Disable", shape,
                   [&](auto& document) { document.Disable({shape.section}); });
  }
}

TEST(IniDocumentMemoryTest, AnIndentedHeaderWithoutBracketNeedsFourBytes) {
  const std::string_view line = " [a\n";
  std::string text = "x=1\n[s]\nk=1\n";
  text.reserve(kTextSize);
  while (text.size() + line.size() <= kTextSize) text += line;
  EXPECT_LE(
      PeakOf([&] {
        IniDocument document(std::move(text));
        EXPECT_EQ(document.Set({"", "x"}, "2").code, IniResult::Code::kDone);
        EXPECT_EQ(document.Set({"s", "k"}, "2").line, 4U);
      }),
      4 * (kTextSize / line.size()) + kTextSize);
}

TEST(IniDocumentMemoryTest, ASearchNeedsTwoTexts) {
  for (const TextShape& shape : kTextShapes)
    ExpectTwoTexts("Find", shape, [&](const auto& document) {
      const IniKeys keys(document);
      EXPECT_LE(keys.size(), 4U);
      const IniFound found = document.Find({shape.section, shape.key});
      EXPECT_EQ(keys.Find(shape.section, shape.key).has_value(),
                static_cast<bool>(found));
      std::size_t lines = 0;
      for (const IniEntry& entry : document) lines = entry.line;
      EXPECT_LE(lines, kTextSize);
    });
}

TEST(IniDocumentMemoryTest, AnIndexOfDifferentNamesNeedsTwoTexts) {
  std::string text;
  text.reserve(kTextSize);
  for (std::size_t i = 0; text.size() + 9 < kTextSize; ++i) {
    const std::string digits = std::to_string(10'000'000 + i);
    text.append(digits, 1).append("=\n");
  }
  EXPECT_LE(PeakOf([&] {
              const IniDocument document(std::move(text));
              const IniKeys keys(document);
              EXPECT_EQ(keys.size(), kTextSize / 9);
            }),
            kTextSize + kTextSize / 16);
}

}  // namespace
}  // namespace fairlead::internal
