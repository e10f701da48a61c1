// Tests that an edit of very many lines visits each of them once or twice. If
// it visited all of them for each, these tests would take a minute.

#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "fairlead/ini/ini_document.h"
#include "fairlead/ini/ini_document_testing.h"
#include "fairlead/testing/sanitizers.h"

namespace fairlead::internal::ini_document_large_test {
namespace {

std::string Repeated(std::string_view text) {
  std::string all;
  for (int i = Rounds(100'000); i > 0; --i) all += text;
  return all;
}

// An edit of a text that repeats these lines.
struct LargeCase {
  const char* what;
  const char* top;  // Above all of them.
  const char* before;
  DocumentEdit edit;
  const char* after;
};

TEST(IniDocumentLargeTest, EditsManyLines) {
  const IniName key = {.section = "s", .key = "k"};
  const LargeCase cases[] = {
      {"disable keys", "[s]\n", "k=v\n", Disable(key), "#k=v\n"},
      {"delete keys", "[s]\n", "k=v\nb=1\n", Delete(key), "b=1\n"},
      {"rename keys", "[s]\n", "k=v\nb=1\n", Rename(key, "n"), "n=v\nb=1\n"},
      {"enable a section", "[t]\n", "#[s]\n", Enable({"s"}), "[s]\n"},
      {"enable its keys", "[t]\n", "#[s]\n#k=v\n", Enable({"s"}), "[s]\nk=v\n"},
      {"enable keys at the top", "", "#k=v\n# c\n", Enable({""}), "k=v\n# c\n"},
      {"disable a section", "[t]\n", "[s]\nk=v\n[t]\n", Disable({"s"}),
       "#[s]\n#k=v\n[t]\n"},
      {"rename it", "[t]\n", "[s]\n[t]\n", Rename({"s"}, "n"), "[n]\n[t]\n"},
      {"delete it", "[t]\n", "[s]\nk=v\n[t]\n", Delete({"s"}), "[t]\n"},
  };
  for (const LargeCase& c : cases) {
    SCOPED_TRACE(c.what);
    IniDocument document(c.top + Repeated(c.before));
    EXPECT_EQ(c.edit(document).code, Code::kDone);
    const std::string rest = Repeated(c.after);
    EXPECT_TRUE(document.Text().ends_with(rest));
    EXPECT_LE(document.Text().size(), rest.size() + 10);
  }
}

}  // namespace
}  // namespace fairlead::internal::ini_document_large_test
