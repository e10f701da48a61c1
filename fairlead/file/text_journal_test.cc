// Tests of a new text that is collected as parts of an old one.

#include "fairlead/file/text_journal.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <string_view>
#include <vector>

#include "fairlead/file/edit_testing.h"

namespace fairlead::internal::text_journal_test {
namespace {

class TextJournalTest : public testing::Test {
 protected:
  // The pieces of the new text, if the old one is then `old`.
  static std::vector<std::string> Pieces(const TextJournal& journal,
                                         std::string_view old) {
    std::vector<std::string> pieces;
    EXPECT_EQ(journal.ForEachPiece(old,
                                   [&](std::string_view piece) {
                                     pieces.emplace_back(piece);
                                     return 0;
                                   }),
              0);
    return pieces;
  }

  static Descriptor Open(const std::string& path) {
    return OpenAboveStandardStreams(path.c_str(), O_RDONLY);
  }

  using Texts = std::vector<std::string>;

  const TempFolder folder_;
  std::string text_ = "one\ntwo\nthree\n";
  const Descriptor file_ = Open(Put(folder_, "f", text_));
};

TEST_F(TextJournalTest, JoinsPartsOfTheOldText) {
  const std::string_view old = text_;
  TextJournal journal(file_, old);
  journal.Append(old.substr(0, 2));
  journal.Append("");
  journal.Append(old.substr(2, 2));
  journal.Append("new ");
  journal.Append("and ");
  journal.Append(old.substr(8));
  EXPECT_EQ(journal.size(), 18U);
  // The old text is that which is given last, in upper case here.
  EXPECT_EQ(Pieces(journal, "ONE\nTWO\nTHREE\n"),
            (Texts{"ONE\n", "new and ", "THREE\n"}));
}

TEST_F(TextJournalTest, TakesPartsOfTheOldTextInAnyOrder) {
  const std::string_view old = text_;
  TextJournal journal(file_, old);
  journal.Append(old.substr(8));
  journal.Append(old.substr(0, 4));
  EXPECT_EQ(Pieces(journal, "ONE\nTWO\nTHREE\n"), (Texts{"THREE\n", "ONE\n"}));
}

TEST_F(TextJournalTest, CopiesWhatTheFileDoesNotHave) {
  TextJournal journal(file_, text_);
  text_[4] = 'T';
  journal.Append(std::string_view(text_).substr(0, 4));
  journal.Append(std::string_view(text_).substr(4, 4));
  journal.Append(std::string_view(text_).substr(8));
  text_.assign(text_.size(), '?');
  EXPECT_EQ(Pieces(journal, "ONE\ntwo\nTHREE\n"),
            (Texts{"ONE\n", "Two\n", "THREE\n"}));
}

TEST_F(TextJournalTest, CopiesWhatIsElsewhereInMemory) {
  const std::string twin = text_;
  TextJournal journal(file_, std::string_view(text_).substr(0, 4));
  journal.Append(twin);
  journal.Append(std::string_view(text_).substr(0, 5));  // Beyond its end.
  EXPECT_EQ(Pieces(journal, ""), Texts{twin + "one\nt"});
}

// A file that has become shorter does not have the bytes.
TEST_F(TextJournalTest, CopiesWhatIsBeyondTheEndOfTheFile) {
  const std::string longer = text_ + "four\n";
  TextJournal journal(file_, longer);
  journal.Append(longer);
  EXPECT_EQ(Pieces(journal, ""), Texts{longer});
}

TEST_F(TextJournalTest, CopiesWhatCannotBeRead) {
  const Descriptor folder = OpenAboveStandardStreams("/", O_RDONLY);
  TextJournal journal(folder, text_);
  journal.Append(text_);
  EXPECT_EQ(Pieces(journal, ""), Texts{text_});
}

// Around the size of a block of the file, 65,536 bytes.
TEST_F(TextJournalTest, ComparesPiecesOfAnySize) {
  std::string large(200'000, ' ');
  for (std::size_t i = 0; i < large.size(); ++i)
    large[i] = static_cast<char>(i * i / 7 % 251);
  const Descriptor file = Open(Put(folder_, "large", large));
  for (const std::size_t size : {1U, 65'535U, 65'536U, 65'537U, 200'000U}) {
    const std::string_view old = large;
    TextJournal journal(file, old);
    for (std::size_t at = 0; at < old.size(); at += size)
      journal.Append(old.substr(at, size));
    EXPECT_EQ(Pieces(journal, std::string(large.size(), 'o')),
              Texts{std::string(large.size(), 'o')});
  }
}

TEST_F(TextJournalTest, EndsAtAnError) {
  TextJournal journal(file_, text_);
  journal.Append(text_);
  journal.Append("new");
  int calls = 0;
  EXPECT_EQ(journal.ForEachPiece(
                text_, [&calls](std::string_view) { return ++calls, ENOSPC; }),
            ENOSPC);
  EXPECT_EQ(calls, 1);
}

}  // namespace
}  // namespace fairlead::internal::text_journal_test
