// Command lines: listed cases, then random ones against the model.

#include "fairlead/cmdline/simple_cmd_line.h"

#include <gtest/gtest.h>

#include <climits>
#include <random>
#include <set>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "fairlead/cmdline/simple_cmd_line_model.h"
#include "fairlead/testing/sanitizers.h"
#include "fairlead/text/strings.h"
#include "fairlead/text/strings_testing.h"

namespace fairlead::internal {
namespace {

using namespace std::string_literals;

// The arguments of a process as main() gets them: writable, with a null pointer
// after the last.
class Arguments {
 public:
  explicit Arguments(std::vector<std::string> texts)
      : texts_(std::move(texts)) {
    for (std::string& text : texts_) pointers_.push_back(text.data());
    pointers_.push_back(nullptr);
  }

  int argc() const { return static_cast<int>(texts_.size()); }
  char** argv() { return pointers_.data(); }

 private:
  std::vector<std::string> texts_;
  std::vector<char*> pointers_;
};

struct Form {
  std::vector<std::string> input;  // Arguments after "p", or one line.
  ParameterTable table;
};

// Looks up all names of the table and all substrings of the input.
void ExpectTable(const CSimpleCmdLine& args, const Form& form) {
  for (const auto& [name, value] : form.table) {
    EXPECT_TRUE(args.PresentParam(name)) << name;
    EXPECT_EQ(args.GetStrParam(name), value) << name;
  }
  EXPECT_EQ(FirstDifference(args, form.table, NamesWithin(form.input)), "");
}

std::vector<Form> VectorForms() {
  return {
      {{}, {}},
      {{"-Host", "Example", "-v"}, {{"host", "Example"}, {"v", ""}}},
      {{"-n", "5", "6"}, {{"n", "5 6"}}},
      {{"x"}, {{"", " x"}}},
      {{"-a", "X", "y", "z", "-b"}, {{"a", "X y z"}, {"b", ""}}},
      {{"file", "-v", "1"}, {{"", " file"}, {"v", "1"}}},
      {{"x", "Y"}, {{"", " x Y"}}},
      {{"-Port"}, {{"port", ""}}},
      {{"--x", "1"}, {{"-x", "1"}}},  // one dash is removed
      {{"--"}, {{"-", ""}}},
      {{"-"}, {{"", ""}}},  // a lone dash is the empty name
      {{"-", "1", "2"}, {{"", "1 2"}}},
      {{"x", "-", "y", "z"}, {{"", "y z"}}},  // and starts it over
      {{"x", "-"}, {{"", ""}}},
      {{"x", "-a", "-", "y"}, {{"a", ""}, {"", "y"}}},
      {{"-n", "-5"}, {{"n", ""}, {"5", ""}}},
      {{"-a", "1", "-A", "2"}, {{"a", "2"}}},  // the last one counts
      {{"-a", "1", "2", "-a", "3"}, {{"a", "3"}}},
      {{"-a", "1", "-a"}, {{"a", ""}}},  // even without a value
      {{"-a", "-a", "1"}, {{"a", "1"}}},
      {{"-a", "1", "-b", "-a", "-c"}, {{"a", ""}, {"b", ""}, {"c", ""}}},
      {{"-a", "1", "-b", "2", "-a", "3", "4"}, {{"a", "3 4"}, {"b", "2"}}},
      {{"-a", "b-c"}, {{"a", "b-c"}}},  // a dash within a word is kept
      {{"-a-B", "1"}, {{"a-b", "1"}}},
      {{"-a=1", "-b:2"}, {{"a=1", ""}, {"b:2", ""}}},
      {{"/a", "1"}, {{"", " /a 1"}}},
      {{"-a", "two words"}, {{"a", "two words"}}},
      {{"-a b", "1"}, {{"a b", "1"}}},
      {{"-a", "\"q\"", "'q'"}, {{"a", "\"q\" 'q'"}}},
      {{"-a", "", ""}, {{"a", " "}}},  // an empty argument counts
      {{"", "-a"}, {{"", " "}, {"a", ""}}},
      {{""}, {{"", " "}}},
      {{"-a", " -b"}, {{"a", " -b"}}},  // only the first byte matters
      {{"-\xC4\xD6", "\xC4"}, {{"\xC4\xD6", "\xC4"}}},
  };
}

TEST(VectorFormTest, EveryListedFormIsParsed) {
  for (const Form& form : VectorForms()) {
    SCOPED_TRACE(testing::PrintToString(form.input));
    std::vector<std::string> texts = form.input;
    texts.insert(texts.begin(), "p");
    Arguments arguments(texts);
    ExpectTable(CSimpleCmdLine(arguments.argc(), arguments.argv()), form);
  }
}

TEST(VectorFormTest, TheProgramsPathIsSkipped) {
  Arguments arguments({"-a", "-b"});
  const CSimpleCmdLine args(arguments.argc(), arguments.argv());
  EXPECT_FALSE(args.PresentParam("a"));
  EXPECT_FALSE(args.PresentParam(""));
  EXPECT_TRUE(args.PresentParam("b"));
}

TEST(VectorFormTest, BelowTwoArgumentsTheTableIsEmpty) {
  Arguments arguments({"-a", "-b"});
  for (const int argc : {1, 0, -1, INT_MIN}) {
    const CSimpleCmdLine args(argc, arguments.argv());
    EXPECT_FALSE(args.PresentParam("a"));
    EXPECT_FALSE(args.PresentParam("b"));
    EXPECT_FALSE(args.PresentParam(""));
  }
  EXPECT_FALSE(CSimpleCmdLine(0, nullptr).PresentParam(""));
}

TEST(VectorFormTest, TheTableOutlivesTheArguments) {
  std::string name = "-a-name-that-is-longer-than-a-short-string";
  std::string value = "A value that is longer than a short string";
  const char* const argv[] = {"p", name.c_str(), value.c_str()};
  const CSimpleCmdLine args(3, argv);
  name.assign(name.size(), '#');
  value.assign(value.size(), '#');
  EXPECT_EQ(args.GetStrParam("A-Name-That-Is-Longer-Than-A-Short-String"),
            "A value that is longer than a short string");
}

TEST(VectorFormTest, ManyParametersAreFound) {
  const auto name = [](int i) {
    return "N"s.append(inttostr(i * 7919 % 10'000));
  };
  std::vector<std::string> texts = {"p"};
  for (int i = 0; i < 20'000; ++i) {  // Each name comes twice.
    texts.push_back("-"s.append(name(i)));
    texts.push_back(inttostr(i));
  }
  Arguments arguments(texts);
  const CSimpleCmdLine args(arguments.argc(), arguments.argv());
  for (int i = 10'000; i < 20'000; ++i)
    ASSERT_EQ(args.GetIntParam(name(i), -1), i);
  EXPECT_FALSE(args.PresentParam("n10000"));
}

std::vector<Form> LineForms() {
  return {
      {{""}, {}},
      {{" "}, {}},
      {{"    "}, {}},
      {{"prog -Port 8080"}, {{"prog", ""}, {"port", "8080"}}},
      {{"-a  -b   c"}, {{"a", ""}, {"b", "c"}}},
      {{"-n -5"}, {{"n", ""}, {"5", ""}}},
      {{"prog -a 1 extra"}, {{"prog", ""}, {"a", "1"}, {"extra", ""}}},
      {{"-a-b"}, {{"a-b", ""}}},
      {{"-d 2010-05"}, {{"d", "2010"}, {"05", ""}}},
      {{"foo-bar"}, {{"bar", ""}}},
      {{"-name value"}, {{"name", "value"}}},
      {{"-Name VALUE"}, {{"name", "value"}}},  // in lower case, both
      {{"-flag"}, {{"flag", ""}}},
      {{"-flag -b"}, {{"flag", ""}, {"b", ""}}},
      {{"  -a   1  "}, {{"a", "1"}}},
      {{"-a 1 2 3"}, {{"a", "1"}, {"2", ""}, {"3", ""}}},
      {{"one two"}, {{"one", ""}, {"two", ""}}},
      {{"--x 1"}, {{"-x", "1"}}},
      {{"-a- 1"}, {{"a-", "1"}}},
      {{"-a b-c-d 1"}, {{"a", "b"}, {"c-d", "1"}}},
      {{"foo-bar 1"}, {{"bar", "1"}}},
      {{"foo-bar-baz 1"}, {{"bar-baz", "1"}}},
      {{"-a 1 -a 2"}, {{"a", "2"}}},
      {{"-a 1 -a"}, {{"a", ""}}},
      {{"-a 1 a"}, {{"a", ""}}},  // a bare word overwrites as well
      {{"a -a 1"}, {{"a", "1"}}},
      {{"-a -a 1"}, {{"a", "1"}}},
      {{"-a\t1"}, {{"a\t1", ""}}},  // a tab does not separate
      {{"-a \t"}, {{"a", "\t"}}},
      {{"-a \"b c\""}, {{"a", "\"b"}, {"c\"", ""}}},
      {{"-a=1 -b:2"}, {{"a=1", ""}, {"b:2", ""}}},
      {{"/a 1"}, {{"/a", ""}, {"1", ""}}},
      {{"-"}, {{"", ""}}},  // a lone dash is the empty name
      {{"--"}, {{"-", ""}}},
      {{"- 5"}, {{"", "5"}}},
      {{"- 5 6"}, {{"", "5"}, {"6", ""}}},
      {{"- -"}, {{"", ""}}},
      {{"- - 5"}, {{"", "5"}}},
      {{"-a 5- 6"}, {{"a", "5"}, {"", "6"}}},
      {{"-a - 6"}, {{"a", ""}, {"", "6"}}},
      {{"-a 1 - 6"}, {{"a", "1"}, {"", "6"}}},
      {{"prog - 5"},
       {{"prog", ""}, {"", ""}, {"5", ""}}},  // a bare word before
      {{"prog - - 5"}, {{"prog", ""}, {"", ""}, {"5", ""}}},
      {{"foo- 5"}, {{"", ""}, {"5", ""}}},
      {{"prog -a - 5"}, {{"prog", ""}, {"a", ""}, {"", "5"}}},
      {{"prog -a 1 - 5"}, {{"prog", ""}, {"a", "1"}, {"", "5"}}},
      {{"-a 1 x - 5"}, {{"a", "1"}, {"x", ""}, {"", ""}, {"5", ""}}},
      {{"- 1 x -"}, {{"", ""}, {"x", ""}}},
      {{"-\xC4 \xD6\xFF"}, {{"\xC4", "\xD6\xFF"}}},
      {{"-\0A \0B"s}, {{"\0a"s, "\0b"s}}},  // zero is a byte like any other
  };
}

TEST(LineFormTest, EveryListedFormIsParsed) {
  for (const Form& form : LineForms()) {
    SCOPED_TRACE('"' + form.input[0] + '"');
    ExpectTable(CSimpleCmdLine(form.input[0]), form);
  }
}

TEST(LineFormTest, LiteralsAndTemporariesAreAccepted) {
  EXPECT_EQ(CSimpleCmdLine("-a 1").GetIntParam("a", 0), 1);
  EXPECT_EQ(CSimpleCmdLine("-a"s + " 2").GetIntParam("a", 0), 2);
}

TEST(LookupTest, NamesAreNotCaseSensitive) {
  Arguments arguments({"p", "-Host", "Example", "-v"});
  const CSimpleCmdLine args(arguments.argc(), arguments.argv());
  for (const char* const name : {"host", "HOST", "Host", "hOsT"}) {
    EXPECT_TRUE(args.PresentParam(name));
    EXPECT_TRUE(args.GetParam(name));
    EXPECT_EQ(args.GetStrParam(name), "Example");
    EXPECT_EQ(args.GetStrParam(name, "else"), "Example");
  }
  EXPECT_TRUE(args.PresentParam("V"s));
  EXPECT_FALSE(args.PresentParam("-host"));
  EXPECT_FALSE(args.PresentParam("hos"));
  EXPECT_FALSE(args.PresentParam("hostt"));
  EXPECT_FALSE(args.PresentParam("host\0"s));
}

TEST(LookupTest, AnAbsentParameterGivesMarkersAndDefaults) {
  for (const char* const line : {"", "-a 1"}) {
    const CSimpleCmdLine args(line);
    EXPECT_FALSE(args.PresentParam("never"));
    EXPECT_FALSE(args.GetParam("never"));
    EXPECT_EQ(args.GetStrParam("never"), "n//a");
    EXPECT_EQ(args.GetStrParam("never", "else"), "else");
    EXPECT_EQ(args.GetStrParam("never", ""), "");
    EXPECT_EQ(args.GetIntParam("never", -9), -9);
    EXPECT_FALSE(args.PresentParam(""));
  }
}

TEST(LookupTest, APresentParameterWithoutAValueIsNotAbsent) {
  const CSimpleCmdLine args("-v");
  EXPECT_TRUE(args.PresentParam("v"));
  EXPECT_EQ(args.GetStrParam("v"), "");
  EXPECT_EQ(args.GetStrParam("v", "else"), "");
  EXPECT_EQ(args.GetIntParam("v", 4), 4);
}

struct IntCase {
  const char* value;
  int number;  // With the default -1.
};

constexpr IntCase kIntCases[] = {
    {"5", 5},
    {"8080", 8080},
    {"12abc", 12},
    {" 42", 42},
    {"+7", 7},
    {"\t7", 7},
    {"2147483647", INT_MAX},
    {"x", -1},
    {"", -1},
    {" ", -1},
    {"+", -1},
    {"2147483648", -1},
    {"99999999999999999999", -1},
};

TEST(LookupTest, IntegersAreReadOrTheDefaultIsReturned) {
  for (const IntCase& c : kIntCases) {
    SCOPED_TRACE(c.value);
    const char* const argv[] = {"p", "-n", c.value};
    EXPECT_EQ(CSimpleCmdLine(3, argv).GetIntParam("N", -1), c.number);
  }
  const char* const argv[] = {"p", "-n", "5", "6"};
  EXPECT_EQ(CSimpleCmdLine(4, argv).GetIntParam("n", 0), 5);
  EXPECT_EQ(CSimpleCmdLine("prog -Port 8080").GetIntParam("port", 1), 8080);
  const char* const negative[] = {"p", "-n", " -2147483648"};
  EXPECT_EQ(CSimpleCmdLine(3, negative).GetIntParam("n", 1), INT_MIN);
}

TEST(HelperTest, GetExeSplitsAtBackslashesOnly) {
  EXPECT_EQ(CSimpleCmdLine::GetExe("C:\\dir\\tool.exe"), "tool.exe");
  EXPECT_EQ(CSimpleCmdLine::GetExe("/usr/bin/tool"), "/usr/bin/tool");
  EXPECT_EQ(CSimpleCmdLine::GetExe("a\\b/c"), "b/c");
  EXPECT_EQ(CSimpleCmdLine::GetExe("dir\\"), "");
  EXPECT_EQ(CSimpleCmdLine::GetExe("\\tool"), "tool");
  EXPECT_EQ(CSimpleCmdLine::GetExe("\\"), "");
  EXPECT_EQ(CSimpleCmdLine::GetExe(""), "");
}

TEST(HelperTest, ToLowerChangesOnlyLetters) {
  EXPECT_EQ(CSimpleCmdLine::ToLower("Az-[\xC4"), "az-[\xC4");
  EXPECT_EQ(CSimpleCmdLine::ToLower("\0A"s), "\0a"s);
}

TEST(HelperTest, GetvalReadsOrUsesTheDefault) {
  int target = 77;
  EXPECT_TRUE(CSimpleCmdLine::getval("12abc", target));
  EXPECT_EQ(target, 12);
  EXPECT_FALSE(CSimpleCmdLine::getval("abc", target));
  EXPECT_EQ(target, 0);
  target = 77;
  EXPECT_FALSE(CSimpleCmdLine::getval(""s, target));
  EXPECT_EQ(target, 77);
  CSimpleCmdLine::getval("x", target, 5);
  EXPECT_EQ(target, 5);
  CSimpleCmdLine::getval(" -3", target, 5);
  EXPECT_EQ(target, -3);
}

// NOLINTBEGIN(readability-static-accessed-through-instance): callers may.
TEST(HelperTest, StaticFunctionsCanBeCalledOnAnObject) {
  CSimpleCmdLine args("-a 1");
  int target = 0;
  EXPECT_EQ(args.GetExe("a\\b"s), "b");
  EXPECT_EQ(args.ToLower("A"s), "a");
  EXPECT_TRUE(args.getval("3"s, target));
  args.getval("x"s, target, 4);
  EXPECT_EQ(target, 4);
}
// NOLINTEND(readability-static-accessed-through-instance)

static_assert(!std::is_copy_constructible_v<CSimpleCmdLine>);
static_assert(!std::is_copy_assignable_v<CSimpleCmdLine>);

// All lines of up to six bytes from the bytes that matter.
TEST(ModelTest, EveryShortLineAgrees) {
  constexpr std::string_view kAlphabet = "- aB";
  constexpr int kMaxLength = 6;
  for (int length = 0; length <= kMaxLength; ++length) {
    for (int code = 0; code < 1 << (2 * length); ++code) {
      std::string line;
      for (int i = 0; i < length; ++i)
        line += kAlphabet[static_cast<std::size_t>(code >> (2 * i) & 3)];
      const CSimpleCmdLine args(line);
      ASSERT_EQ(FirstDifference(args, TableOfLine(line), NamesWithin({line})),
                "")
          << "line \"" << line << '"';
    }
  }
}

TEST(ModelTest, RandomLinesAgree) {
  std::mt19937 random(21);
  for (int i = 0; i < Rounds(8'000); ++i) {
    const std::string line = RandomText(random, "--   aAbB5\t\xC4\xE4", 20);
    const CSimpleCmdLine args(line);
    ASSERT_EQ(FirstDifference(args, TableOfLine(line), NamesWithin({line})), "")
        << "seed 21, round " << i << ", line \"" << line << '"';
  }
}

TEST(ModelTest, RandomArgumentsAgree) {
  std::mt19937 random(22);
  for (int i = 0; i < Rounds(20'000); ++i) {
    std::vector<std::string> texts(random() % 9);
    for (std::string& text : texts)
      text = RandomText(random, "---aAbB5 \t\xC4", 3);
    const ParameterTable table = TableOfArguments(texts);
    const std::set<std::string> names = NamesWithin(texts);
    texts.insert(texts.begin(), "-a");
    Arguments arguments(texts);
    const CSimpleCmdLine args(arguments.argc(), arguments.argv());
    ASSERT_EQ(FirstDifference(args, table, names), "")
        << "seed 22, round " << i << ", arguments "
        << testing::PrintToString(texts);
  }
}

// Names that differ little: in one byte, in the length, or not at all.
std::string SimilarName(std::mt19937& random) {
  const std::string name = "-first" + RandomText(random, "aAb", 4) + "last";
  return name.substr(0, 1 + random() % name.size());
}

// Tables of up to 80 parameters: above 32, they are sorted.
TEST(ModelTest, RandomLongTablesAgree) {
  std::mt19937 random(23);
  for (int i = 0; i < Rounds(2'000); ++i) {
    std::vector<std::string> texts(random() % 80);
    std::set<std::string> names = {""};
    for (std::string& text : texts) {
      text = random() % 4 == 0 ? "Value" : SimilarName(random);
      names.insert(LowerText(text.substr(1)));
      names.insert(LowerText(SimilarName(random).substr(1)));
    }
    const ParameterTable table = TableOfArguments(texts);
    texts.insert(texts.begin(), "p");
    Arguments arguments(texts);
    const CSimpleCmdLine args(arguments.argc(), arguments.argv());
    ASSERT_EQ(FirstDifference(args, table, names), "")
        << "seed 23, round " << i << ", arguments "
        << testing::PrintToString(texts);
  }
}

// A long table is sorted by parts of the names, which these have in common.
TEST(LookupTest, FindsNamesThatDifferInTheMiddleAlone) {
  std::string line;
  for (int i = 0; i < 40; ++i) line += " -p" + std::to_string(i) + " x";
  for (const char* const c : {"3", "1", "2"})
    line += " -abcdefgh"s + c + "ijklmnop " + c;
  const CSimpleCmdLine args(line + " -abcdefgh1ijklmnop last");
  EXPECT_EQ(args.GetStrParam("abcdefgh1ijklmnop"), "last");
  EXPECT_EQ(args.GetStrParam("abcdefgh2ijklmnop"), "2");
  EXPECT_EQ(args.GetStrParam("abcdefgh3ijklmnop"), "3");
  EXPECT_EQ(args.GetStrParam("abcdefgh0ijklmnop"), "n//a");
  EXPECT_FALSE(args.PresentParam("abcdefgh4ijklmnop"));
  EXPECT_EQ(args.GetStrParam("p39"), "x");
}

}  // namespace
}  // namespace fairlead::internal
