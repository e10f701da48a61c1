// Tests of the allocations of the INI store and of documents: a failed one
// leaves the document unchanged, in either reading, and the hash index of an
// object is built when documented.

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdlib>
#include <functional>
#include <new>
#include <string>
#include <utility>

#include "fairlead/export.h"
#include "fairlead/ini/ini_document.h"
#include "fairlead/ini/ini_file.h"
#include "fairlead/ini/ini_testing.h"

namespace {

constexpr int kNever = -1;

// Counts the allocations of this program and makes them fail.
struct Allocations {
  std::size_t bytes = 0;
  int until_failure = kNever;  // The next one fails at 0.
  bool all_fail_then = false;
};

Allocations allocations;

bool FailsNow() {
  if (allocations.until_failure == kNever) return false;
  if (allocations.until_failure > 0) {
    --allocations.until_failure;
    return false;
  }
  if (!allocations.all_fail_then) allocations.until_failure = kNever;
  return true;
}

}  // namespace

// Not inlined: g++ warns about a `free` of what `new` returned.
[[gnu::noinline]] FAIRLEAD_EXPORT void* operator new(std::size_t size) {
  if (FailsNow()) throw std::bad_alloc();
  allocations.bytes += size;
  if (void* const memory = std::malloc(size == 0 ? 1 : size)) return memory;
  throw std::bad_alloc();
}

[[gnu::noinline]] FAIRLEAD_EXPORT void operator delete(void* memory) noexcept {
  std::free(memory);
}

[[gnu::noinline]] FAIRLEAD_EXPORT void operator delete(
    void* memory, std::size_t /*size*/) noexcept {
  std::free(memory);
}

namespace fairlead::internal {
namespace {

const std::string kSection = "a section with a long name";
const std::string kKey = "a key that has a long name";
const std::string kValue = "a value that is long enough to need memory";
const std::string kNew = "a name that is nowhere in the file";

enum class End { kDone, kBadAlloc, kOther };

// Runs `act` while allocation number n (from 0) fails, and all later ones if
// `all_then`.
End ActWithFailure(const std::function<void()>& act, int n, bool all_then) {
  allocations.until_failure = n;
  allocations.all_fail_then = all_then;
  End end = End::kDone;
  try {
    act();
  } catch (const std::bad_alloc&) {
    end = End::kBadAlloc;
  } catch (...) {
    end = End::kOther;
  }
  allocations.until_failure = kNever;
  return end;
}

struct DocumentEdit {
  const char* name;
  std::function<IniResult(IniDocument& document)> act;
};

const DocumentEdit kDocumentEdits[] = {
    {"Set a key",
     [](auto& d) {
       return d.Set({kSection, kKey}, kNew);
     }},
    {"Set a new key",
     [](auto& d) {
       return d.Set({kSection, kNew}, kNew);
     }},
    {"Set in a new section",
     [](auto& d) {
       return d.Set({kNew, kKey}, kNew);
     }},
    {"Add a section", [](auto& d) { return d.Add({kNew}); }},
    {"Delete a key",
     [](auto& d) {
       return d.Delete({kSection, kKey});
     }},
    {"Delete a section", [](auto& d) { return d.Delete({kSection}); }},
    {"Enable a key",
     [](auto& d) {
       return d.Enable({kSection, "off"});
     }},
    {"Disable a key",
     [](auto& d) {
       return d.Disable({kSection, kKey});
     }},
    {"Disable a section", [](auto& d) { return d.Disable({kSection}); }},
    {"Rename a key",
     [](auto& d) {
       return d.Rename({kSection, kKey}, kNew);
     }},
    {"Rename a section", [](auto& d) { return d.Rename({kSection}, kNew); }},
    {"Comment a key",
     [](auto& d) {
       return d.Comment({kSection, kKey}, kNew + '\n' + kNew);
     }},
};

// Duplicates in two parts of a section, so that most edits change several
// lines; without a final newline, which most new lines need.
std::string DocumentText() {
  const std::string part = "\n[" + kSection + "]\n# " + kNew + "\n" + kKey +
                           " = " + kValue + "\n#off = 1\n";
  return part + part + kKey + "=2";
}

std::string EntriesOf(const IniDocument& document) {
  std::string text;
  for (const IniEntry& entry : document)
    text.append(1, entry.mark).append(entry.section).append(entry.key) +=
        entry.value;
  return text;
}

TEST(IniDocumentAllocationTest, AFailureLeavesTheDocument) {
  const std::string text = DocumentText();
  for (const IniReading reading : {IniReading::kLive, IniReading::kRecords}) {
    const std::string entries = EntriesOf(IniDocument(text, reading));
    for (const DocumentEdit& edit : kDocumentEdits) {
      End end = End::kBadAlloc;
      for (int n = 0; end != End::kDone; ++n) {
        SCOPED_TRACE(testing::Message() << edit.name << ", allocation " << n);
        IniDocument document(text, reading);
        IniResult result;
        end = ActWithFailure([&] { result = edit.act(document); }, n, true);
        ASSERT_NE(end, End::kOther);
        ASSERT_EQ(document.Text() == text, end == End::kBadAlloc);
        ASSERT_EQ(document.IsEdited(), end == End::kDone);
        if (end == End::kDone) break;
        ASSERT_EQ(EntriesOf(document), entries);
        ASSERT_EQ(edit.act(document).code, IniResult::Code::kDone);
      }
    }
  }
}

// A key that is disabled already gets its second comment character in a copy.
TEST(IniDocumentAllocationTest, AFailureLeavesAnEditedDocument) {
  for (const IniReading reading : {IniReading::kLive, IniReading::kRecords}) {
    IniDocument disabled(DocumentText(), reading);
    ASSERT_EQ(disabled.Disable({kSection, kKey, 1}).code,
              IniResult::Code::kDone);
    const std::string text = disabled.Text();
    const std::string entries = EntriesOf(disabled);
    const auto disable = [](auto& d) { return d.Disable({kSection}, ';'); };
    End end = End::kBadAlloc;
    for (int n = 0; end != End::kDone; ++n) {
      SCOPED_TRACE(testing::Message() << "allocation " << n);
      IniDocument document = disabled;
      end = ActWithFailure([&] { disable(document); }, n, true);
      ASSERT_EQ(document.Text() == text, end == End::kBadAlloc);
      ASSERT_EQ(EntriesOf(document) == entries, end == End::kBadAlloc);
    }
  }
}

// A line has two bytes: one that Undo() restores, and one for its new marks.
// The lines are so short that a copy for the time of a call needs no memory.
TEST(IniDocumentAllocationTest, CopiesNoLineThatItDisablesOrEnables) {
  constexpr std::size_t kLines = 100'000;
  std::string text;
  for (std::size_t i = 0; i < kLines; i += 2) text += " #k=v\n# prose\n";
  IniDocument document(text);
  const std::size_t before = allocations.bytes;
  ASSERT_EQ(document.Enable({""}).code, IniResult::Code::kDone);
  EXPECT_LT(allocations.bytes - before, 3 * kLines);
  IniDocument active(document.Text());
  const std::size_t made = allocations.bytes;
  ASSERT_EQ(active.Disable({""}).code, IniResult::Code::kDone);
  EXPECT_LT(allocations.bytes - made, 3 * kLines);
  EXPECT_EQ(active.Text(), text);
}

TEST(IniDocumentAllocationTest, TakesAByteForALine) {
  constexpr std::size_t kLines = 100'000;
  std::string text;
  for (std::size_t i = 0; i < kLines; ++i) text += "k=v\n";
  const std::size_t before = allocations.bytes;
  IniDocument document(std::move(text));
  EXPECT_LT(allocations.bytes - before, kLines * 3 / 2);
  const std::size_t made = allocations.bytes;
  document.Add({"", "n"}, "1");
  EXPECT_LT(allocations.bytes - made, kLines);
}

constexpr int kKeys = 1000;

class IniIndexTest : public IniTest {
 protected:
  IniIndexTest() {
    std::string text;
    for (int i = 0; i < kKeys; ++i) text += "k" + std::to_string(i) + "=v\n";
    ini_.Load(Write(text));
  }

  // Returns how many bytes a lookup allocates.
  std::size_t BytesOf(const std::string& key) {
    CapturedOutput output;
    const std::size_t before = allocations.bytes;
    EXPECT_EQ(ini_.GetValueDef("", key, "none"), "v");
    const std::size_t bytes = allocations.bytes - before;
    output.Take();
    return bytes;
  }

  CIniFile ini_;
};

TEST_F(IniIndexTest, IsBuiltOnceScansHaveVisitedAsManyRecordsAsThereAre) {
  EXPECT_EQ(BytesOf("k600"), 0U);  // Scans 601 records.
  EXPECT_EQ(BytesOf("k999"), 0U);  // 405 more, from 595 on: 1,006.
  const std::size_t index = BytesOf("k999");
  EXPECT_GE(index, 24U * kKeys);
  EXPECT_LE(index, 40U * kKeys);
  EXPECT_EQ(BytesOf("k998"), 0U);
  EXPECT_EQ(BytesOf("k997"), 0U);
}

TEST_F(IniIndexTest, IsNotBuiltForAFewLookups) {
  for (const char* key : {"k0", "k1", "k2", "k9", "k10", "k100"})
    EXPECT_EQ(BytesOf(key), 0U) << key;
}

}  // namespace
}  // namespace fairlead::internal
