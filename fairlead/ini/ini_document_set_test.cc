// Tests IniDocument::Set() and Add() in the live reading.

#include <gtest/gtest.h>

#include <string>

#include "fairlead/ini/ini_document_testing.h"

namespace fairlead::internal::ini_document_set_test {
namespace {

using namespace std::literals;
using Where = IniPlace::Where;

constexpr std::string_view kBom = "\xef\xbb\xbf";

TEST(IniDocumentSetTest, ReplacesTheValueAndNothingElse) {
  const ChangeCase cases[] = {
      {"plain", "[s]\nk=1\n", Set({"s", "k"}, "2"), "[s]\nk=2\n"},
      {"blanks round it", "[s]\n\t k \t=\t 1  \n", Set({"s", "k"}, "2"),
       "[s]\n\t k \t=\t 2  \n"},
      {"CRLF", "[s]\r\nk = 1\r\n", Set({"s", "k"}, "2"), "[s]\r\nk = 2\r\n"},
      {"mixed line ends", "[s]\nk=1\r\nj=1\n", Set({"s", "k"}, "22"),
       "[s]\nk=22\r\nj=1\n"},
      {"no final newline", "[s]\nk=1", Set({"s", "k"}, "2"), "[s]\nk=2"},
      {"a byte order mark", "\xef\xbb\xbfk=1\n", Set({"", "k"}, "2"),
       "\xef\xbb\xbfk=2\n"},
      {"NUL bytes", "[s\0]\nk\0=1\0\n"s, Set({"s\0"sv, "k\0"sv}, "2\0"sv),
       "[s\0]\nk\0=2\0\n"s},
      {"bytes that are no UTF-8", "[\xff]\n\xfe=\xfd\n",
       Set({"\xff", "\xfe"}, "\xfc"), "[\xff]\n\xfe=\xfc\n"},
      {"a trimmed name and value", "k=1\n", Set({"", " k\t"}, "\t2 \r\n"),
       "k=2\n"},
      {"an empty value", "[s]\nk=\n", Set({"s", "k"}, "2"), "[s]\nk=2\n"},
      {"an empty value after a space", "k = \r\n", Set({"", "k"}, "2"),
       "k = 2\r\n"},
      {"an empty value at the end", "k=", Set({"", "k"}, "2"), "k=2"},
      {"to an empty value", "k = 1 \n", Set({"", "k"}, ""), "k =  \n"},
      {"a value with =", "k=a=b\n", Set({"", "k"}, "c=d"), "k=c=d\n"},
      {"a quoted value", "k=\"a\"\n", Set({"", "k"}, "b"), "k=b\n"},
      {"a key of several words", "my key = 1\n", Set({"", "my key"}, "2"),
       "my key = 2\n"},
      {"the last duplicate", "k=1\nk=2\nj=\n", Set({"", "k"}, "3"),
       "k=1\nk=3\nj=\n"},
      {"the first duplicate", "k=1\nk=2\n", Set({"", "k", 1}, "3"),
       "k=3\nk=2\n"},
      {"the second duplicate", "k=1\nk=2\nk=3\n", Set({"", "k", 2}, "9"),
       "k=1\nk=9\nk=3\n"},
      {"not its disabled twins", "#k=1\nk=2\n;k=3\n", Set({"", "k"}, "4"),
       "#k=1\nk=4\n;k=3\n"},
      {"the last part of a split section", "[s]\nk=1\n[t]\nk=2\n[s]\nk=3\n",
       Set({"s", "k"}, "4"), "[s]\nk=1\n[t]\nk=2\n[s]\nk=4\n"},
      {"below a header with a remark", "[s] remark ]\nk=1\n",
       Set({"s", "k"}, "2"), "[s] remark ]\nk=2\n"},
      {"before any header", "k=1\n[s]\nk=1\n", Set({"", "k"}, "2"),
       "k=2\n[s]\nk=1\n"},
      {"beside lines that are no INI", "[s]\njunk\nk=1\n  more\n[open\nj=2\n",
       Set({"s", "n"}, "1"), "[s]\njunk\nk=1\n  more\nn=1\n[open\nj=2\n"},
  };
  CheckChanges(cases);
}

TEST(IniDocumentSetTest, AddsAKeyAtTheEndOfItsSection) {
  const ChangeCase cases[] = {
      {"in the style of the last one", "[s]\n  j : = 1\n\tk\t=  2\n\n[t]\n",
       Set({"s", "n"}, "3"), "[s]\n  j : = 1\n\tk\t=  2\n\tn\t=  3\n\n[t]\n"},
      {"with its newline", "[s]\nj=1\r\n", Set({"s", "n"}, "3"),
       "[s]\nj=1\r\nn=3\r\n"},
      {"before trailing comments and blank lines",
       "[s]\nj=1\n\n# about t\n[t]\n", Set({"s", "n"}, "3"),
       "[s]\nj=1\nn=3\n\n# about t\n[t]\n"},
      {"below an empty header", "[s]\n\n[t]\nk = 1\n", Set({"s", "n"}, "3"),
       "[s]\nn = 3\n\n[t]\nk = 1\n"},
      {"to the last part of a split section", "[s]\nj=1\n[t]\n[s]\nk=1\n",
       Set({"s", "n"}, "3"), "[s]\nj=1\n[t]\n[s]\nk=1\nn=3\n"},
      {"without a final newline", "[s]\nj=1", Set({"s", "n"}, "3"),
       "[s]\nj=1\nn=3"},
      {"without a final newline, CRLF", "[s]\r\nj=1", Set({"s", "n"}, "3"),
       "[s]\r\nj=1\r\nn=3"},
      {"before any header", "# about s\n[s]\n", Set({"", "n"}, "3"),
       "n=3\n# about s\n[s]\n"},
      {"below comments without a header", "# about all\n", Set({"", "n"}, "3"),
       "# about all\nn=3\n"},
      {"above the comments of a disabled one", "# on s\n#[s]\n",
       Set({"", "n"}, "3"), "n=3\n# on s\n#[s]\n"},
      {"into an empty text", "", Set({"", "n"}, "3"), "n=3\n"},
      {"behind a byte order mark", std::string(kBom), Set({"", "n"}, "3"),
       "\xef\xbb\xbfn=3\n"},
      {"an empty value has no space", "k = 1\n", Set({"", "n"}, ""),
       "k = 1\nn =\n"},
      {"below its disabled twin", "[s]\n# k = 1\nj=2\n", Set({"s", "k"}, "3"),
       "[s]\n# k = 1\nk = 3\nj=2\n"},
      {"below its last disabled twin", "[s]\n#k=1\n;k=2\nj=2\n",
       Set({"s", "k"}, "3"), "[s]\n#k=1\n;k=2\nk=3\nj=2\n"},
      {"below what follows its disabled twin", "#k=1\n  more\n",
       Set({"", "k"}, "3"), "#k=1\n  more\nk=3\n"},
      {"below a value that continues", "[s]\nj=1\n  more\n\tmore\n",
       Set({"s", "n"}, "3"), "[s]\nj=1\n  more\n\tmore\nn=3\n"},
      {"below one that continues below a comment",
       "[s]\nj=\n  # a\n  more\n  # b\n\n  more\n# c\n", Set({"s", "n"}, "3"),
       "[s]\nj=\n  # a\n  more\n  # b\n\n  more\nn=3\n# c\n"},
      {"not indented below a backslash", "[s]\n  j=1\\\n", Set({"s", "n"}, "3"),
       "[s]\n  j=1\\\nn=3\n"},
      {"not into the disabled section below", "[s]\nj=1\n#[t]\n#x=1\n",
       Set({"s", "x"}, "3"), "[s]\nj=1\nx=3\n#[t]\n#x=1\n"},
      {"prose is no disabled twin", "[s]\n# this is k = 1\nj=2\n",
       Set({"s", "this is k"}, "3"),
       "[s]\n# this is k = 1\nj=2\nthis is k=3\n"},
  };
  CheckChanges(cases);
}

TEST(IniDocumentSetTest, AddsASectionAtTheEnd) {
  const ChangeCase cases[] = {
      {"with a blank line like the others", "[s]\nj = 1\n\n[t]\nk = 2\n",
       Set({"u", "n"}, "3"), "[s]\nj = 1\n\n[t]\nk = 2\n\n[u]\nn = 3\n"},
      {"without", "[s]\nj=1\n[t]\n", Set({"u", "n"}, "3"),
       "[s]\nj=1\n[t]\n[u]\nn=3\n"},
      {"one blank line is enough", "\n[s]\n\n", Set({"u", "n"}, "3"),
       "\n[s]\n\n[u]\nn=3\n"},
      {"the blank line above a comment counts", "x=1\n\n# c\n[s]\n", Add({"u"}),
       "x=1\n\n# c\n[s]\n\n[u]\n"},
      {"indented like the last one", "  [s]\r\n", Add({"u"}),
       "  [s]\r\n  [u]\r\n"},
      {"without a final newline", "\n[s]\nj=1", Set({"u", "n"}, "3"),
       "\n[s]\nj=1\n\n[u]\nn=3"},
      {"into an empty text", "", Set({"u", "n"}, "3"), "[u]\nn=3\n"},
      {"beside its disabled one", "#[u]\n#k=1\n", Set({"u", "k"}, "3"),
       "#[u]\n#k=1\n[u]\nk=3\n"},
      {"with blanks in its name", "", Add({" u "}), "[ u ]\n"},
      {"with an empty name", "[s]\n", Add({""}), "[s]\n[]\n"},
      {"below an unclosed header", "[open\nk=1\n", Set({"s", "k"}, "2"),
       "[open\nk=1\n[s]\nk=2\n"},
  };
  CheckChanges(cases);
}

TEST(IniDocumentAddTest, PutsAKeyWhereItIsAsked) {
  const std::string text = "[s]\n# about j\nj=1\n\nk = 2\n#x=1\n[t]\n";
  const ChangeCase cases[] = {
      {"at the end", text, Add({"s", "n"}, "3"),
       "[s]\n# about j\nj=1\n\nk = 2\n#x=1\nn=3\n[t]\n"},
      {"below the header", text, Add({"s", "n"}, "3", {Where::kFirst}),
       "[s]\nn=3\n# about j\nj=1\n\nk = 2\n#x=1\n[t]\n"},
      {"above a key and its comments", text,
       Add({"s", "n"}, "3", {Where::kBefore, "j"}),
       "[s]\nn=3\n# about j\nj=1\n\nk = 2\n#x=1\n[t]\n"},
      {"in the style of that key", text,
       Add({"s", "n"}, "3", {Where::kBefore, "k"}),
       "[s]\n# about j\nj=1\n\nn = 3\nk = 2\n#x=1\n[t]\n"},
      {"below a key", text, Add({"s", "n"}, "3", {Where::kAfter, "k"}),
       "[s]\n# about j\nj=1\n\nk = 2\nn = 3\n#x=1\n[t]\n"},
      {"with blanks round its name", text,
       Add({"s", "n"}, "3", {Where::kAfter, " k\t"}),
       "[s]\n# about j\nj=1\n\nk = 2\nn = 3\n#x=1\n[t]\n"},
      {"below the value of a key", "k=1\n  more\nj=2\n",
       Add({"", "n"}, "3", {Where::kAfter, "k"}), "k=1\n  more\nn=3\nj=2\n"},
      {"first before any header", "# c\nk=1\n",
       Add({"", "n"}, "3", {Where::kFirst}), "n=3\n# c\nk=1\n"},
      {"below lines that would continue it", "[s]\n  junk\nj=1\n",
       Add({"s", "n"}, "3", {Where::kFirst}), "[s]\n  junk\nn=3\nj=1\n"},
      {"first in a new section", "", Add({"u", "n"}, "3", {Where::kFirst}),
       "[u]\nn=3\n"},
      {"although only disabled", "#k=1\n", Add({"", "k"}, "3"), "#k=1\nk=3\n"},
  };
  CheckChanges(cases);
}

TEST(IniDocumentAddTest, PutsASectionWhereItIsAsked) {
  const std::string text =
      "top=1\n\n# about s\n[s]\nj=1\n# end\n\n# about t\n[t]\nk=2\n";
  const ChangeCase cases[] = {
      {"at the end", text, Add({"u"}), text + "\n[u]\n"},
      {"before all others", text, Add({"u"}, "", {Where::kFirst}),
       "top=1\n\n[u]\n\n# about s\n[s]\nj=1\n# end\n\n# about t\n[t]\nk=2\n"},
      {"above a section and its comments", text,
       Add({"u"}, "", {Where::kBefore, "t"}),
       "top=1\n\n# about s\n[s]\nj=1\n# end\n\n[u]\n\n# about t\n[t]\nk=2\n"},
      {"below the lines of a section", text,
       Add({"u"}, "", {Where::kAfter, "s"}),
       "top=1\n\n# about s\n[s]\nj=1\n# end\n\n[u]\n\n# about t\n[t]\nk=2\n"},
      {"below the keys before any header", text,
       Add({"u"}, "", {Where::kAfter, ""}),
       "top=1\n\n[u]\n\n# about s\n[s]\nj=1\n# end\n\n# about t\n[t]\nk=2\n"},
      {"below the last part of a split one", "[s]\n[t]\n[s]\nk=1\n[x]\n",
       Add({"u"}, "", {Where::kAfter, "s"}), "[s]\n[t]\n[s]\nk=1\n[u]\n[x]\n"},
      {"above the first part of a split one", "[s]\n[t]\n[s]\nk=1\n",
       Add({"u"}, "", {Where::kBefore, "s"}), "[u]\n[s]\n[t]\n[s]\nk=1\n"},
      {"indented like the header below", "a=1\n\n  # about s\n[s]\n",
       Add({"u"}, "", {Where::kAfter, ""}), "a=1\n\n[u]\n\n  # about s\n[s]\n"},
      {"not like the blank line above that", "a=1\n   \n[s]\n",
       Add({"u"}, "", {Where::kAfter, ""}), "a=1\n\n[u]\n   \n[s]\n"},
      {"although the line above that is not", "a=1\n\n  [s]\n",
       Add({"u"}, "", {Where::kAfter, ""}), "a=1\n\n  [u]\n\n  [s]\n"},
      {"not above keys below a disabled header", "#[s]\nk=1\n[t]\n",
       Add({"u"}, "", {Where::kFirst}), "#[s]\nk=1\n[u]\n[t]\n"},
      {"below comments without a header", "k=1\n# about k\n",
       Add({"u"}, "", {Where::kFirst}), "k=1\n# about k\n[u]\n"},
  };
  CheckChanges(cases);
}

TEST(IniDocumentSetTest, RefusesWhatALineCannotHold) {
  const RefusalCase cases[] = {
      {"a section with ]", "", Set({"a]", "k"}, "1"), Code::kInvalid, 0,
       "a section name cannot contain ']'"},
      {"a section with a newline", "", Add({"a\nb"}), Code::kInvalid, 0,
       "a section name cannot contain a newline"},
      {"an empty key", "", Set({"s", " \t"}, "1"), Code::kInvalid, 0,
       "a key cannot be empty"},
      {"a key with =", "", Set({"s", "a=b"}, "1"), Code::kInvalid, 0,
       "a key cannot contain '='"},
      {"a key with a newline", "", Add({"s", "a\nb"}, "1"), Code::kInvalid, 0,
       "a key cannot contain a newline"},
      {"a key like a header", "", Set({"s", "[a"}, "1"), Code::kInvalid, 0,
       "a key cannot begin with '[', '#' or ';'"},
      {"a key like a comment", "", Set({"s", "#a"}, "1"), Code::kInvalid, 0,
       "a key cannot begin with '[', '#' or ';'"},
      {"a disabled key's name", "", Add({"s", ";a"}, "1"), Code::kInvalid, 0,
       "a key cannot begin with '[', '#' or ';'"},
      {"a key with a byte order mark", "", Set({"", "\xef\xbb\xbfk"}, "1"),
       Code::kInvalid, 0, "a key cannot begin with a byte order mark"},
      {"a value of two lines", "", Set({"s", "k"}, "a\nb"), Code::kInvalid, 0,
       "a value cannot contain a newline"},
      {"a section", "[s]\n", Set({"s"}, "1"), Code::kInvalid, 0,
       "only a key has a value"},
      {"a section above the first keys", "k=1\n[s]\n",
       Add({"u"}, "", {Where::kBefore, ""}), Code::kNoHeader},
  };
  CheckRefusals(cases);
}

TEST(IniDocumentSetTest, RefusesWhatIsNotThere) {
  const RefusalCase cases[] = {
      {"the same value", "k = 1 \n", Set({"", "k"}, " 1"), Code::kUnchanged},
      {"the same empty value", "k=\n", Set({"", "k"}, ""), Code::kUnchanged},
      {"a third of two", "k=1\nk=2\n#k=3\n", Set({"", "k", 3}, "1"),
       Code::kNoKey},
      {"the second of none", "#k=3\n", Set({"", "k", 2}, "1"), Code::kDisabled},
      {"the first in no section", "", Set({"s", "k", 1}, "1"),
       Code::kNoSection},
      {"a key that exists", "j=1\nk=1\nk=2\n", Add({"", "k"}, "3"),
       Code::kExists, 3},
      {"a section that exists", "\n[s]\n[s]\n", Add({"s"}), Code::kExists, 2},
      {"keys before any header", "\nk=1\n", Add({""}), Code::kExists, 1},
      {"beside a missing key", "[s]\n",
       Add({"s", "n"}, "", {Where::kAfter, "x"}), Code::kNoKey},
      {"beside a disabled key", "[s]\n#x=1\n",
       Add({"s", "n"}, "", {Where::kBefore, "x"}), Code::kNoKey},
      {"beside a key of a missing section", "[s]\nx=1\n",
       Add({"t", "n"}, "", {Where::kBefore, "x"}), Code::kNoSection},
      {"beside a missing section", "[s]\n",
       Add({"u"}, "", {Where::kAfter, "x"}), Code::kNoSection},
  };
  CheckRefusals(cases);
}

TEST(IniDocumentSetTest, RefusesToChangeOtherLines) {
  const char* const goes_on = "the value continues on this line";
  const char* const joins =
      "a value above, ending with '\\', would continue here";
  const RefusalCase cases[] = {
      {"a continued value", "[s]\nk=1\n  more\n", Set({"s", "k"}, "2"),
       Code::kMalformed, 3, goes_on},
      {"to its first line", "[s]\nk=1\n  more\n", Set({"s", "k"}, "1"),
       Code::kMalformed, 3, goes_on},
      {"one that continues below a comment", "[s]\nk =\n  # a\n  more\n",
       Set({"s", "k"}, "2"), Code::kMalformed, 4, goes_on},
      {"one that continues below all sorts", "k=\n\n;a\n#d=1\n\n  more\n",
       Set({"", "k"}, "2"), Code::kMalformed, 6, goes_on},
      {"one that ends with a backslash", "[s]\nk=1\\\n  j=2\n",
       Set({"s", "k"}, "2"), Code::kMalformed, 3, goes_on},
      {"a backslash above an indented key", "[s]\nk=1\n  j=2\n",
       Set({"s", "k"}, "2\\"), Code::kMalformed, 3, joins},
      {"a backslash above an indented header", "k=1\n\t[s]\n",
       Set({"", "k"}, "\\"), Code::kMalformed, 2, joins},
      {"a new key with a backslash", "[s]\n  j=2\n",
       Add({"s", "k"}, "2\\", {Where::kFirst}), Code::kMalformed, 2, joins},
  };
  CheckRefusals(cases);
}

TEST(IniDocumentSetTest, KeepsRealFiles) {
  const ChangeCase cases[] = {
      {"smb.conf",
       "#======= Global Settings =======\n[global]\n   workgroup = WG\n"
       ";   interfaces = 127.0.0.0/8 eth0\n   server role = standalone "
       "server\n",
       Set({"global", "server role"}, "member server"),
       "#======= Global Settings =======\n[global]\n   workgroup = WG\n"
       ";   interfaces = 127.0.0.0/8 eth0\n   server role = member server\n"},
      {"php.ini",
       "; Default Value: 4096\n; http://php.net/output-buffering\n[PHP]\n"
       "output_buffering = 4096\n;date.timezone =\n",
       Set({"PHP", "date.timezone"}, "UTC"),
       "; Default Value: 4096\n; http://php.net/output-buffering\n[PHP]\n"
       "output_buffering = 4096\n;date.timezone =\ndate.timezone = UTC\n"},
      {"systemd",
       "[Service]\nExecStart=/bin/a \\\n    -x \\\n    -y\nType=idle\n",
       Set({"Service", "Type"}, "simple"),
       "[Service]\nExecStart=/bin/a \\\n    -x \\\n    -y\nType=simple\n"},
      {"tox.ini", "[testenv]\ndeps =\n    pytest\n    mock>=1\nskip = no\n",
       Set({"testenv", "skip"}, "yes"),
       "[testenv]\ndeps =\n    pytest\n    mock>=1\nskip = yes\n"},
      {"git", "[remote \"origin\"]\n\turl = a\n\tfetch = +refs/*\n",
       Set({"remote \"origin\"", "url"}, "b"),
       "[remote \"origin\"]\n\turl = b\n\tfetch = +refs/*\n"},
  };
  CheckChanges(cases);
}

}  // namespace
}  // namespace fairlead::internal::ini_document_set_test
