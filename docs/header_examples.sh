#!/bin/sh
# Writes every example of the headers named (their @code blocks) to standard
# output as functions of one program, which runs them all. In an example, the
# comment "// text == value" states a result, and the program checks it.
set -eu
cat <<'TEXT'
#include <arpa/inet.h>
#include <fairlead/fairlead.h>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <mutex>
namespace {
int failures = 0;
void Check(bool holds, const char* text, const char* file, int line) {
  if (holds) return;
  std::fprintf(stderr, "%s:%d: %s does not hold\n", file, line, text);
  ++failures;
}
TEXT
awk '
  /@endcode/ { if (inside) print "}"; inside = 0 }
  inside     {
    sub(/^ *\/\/\/ ?/, "")
    if (match($0, /\/\/ .+ == .+$/)) {
      claim = substr($0, RSTART + 3)
      quoted = claim
      gsub(/\\/, "\\\\", quoted)
      gsub(/"/, "\\\"", quoted)
      print substr($0, 1, RSTART - 1) " Check((" claim "), \"" quoted "\", __FILE__, __LINE__);"
    } else print
  }
  /@code$/   { printf "void Example%d([[maybe_unused]] int argc, [[maybe_unused]] char** argv) {\n#line %d \"%s\"\n", ++count, FNR + 1, FILENAME; inside = 1 }
  END        {
    print "}\nint main(int argc, char** argv) {"
    for (i = 1; i <= count; ++i) printf "  Example%d(argc, argv);\n", i
    print "  return failures == 0 ? 0 : 1;\n}"
  }
' "$@"
