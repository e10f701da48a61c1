#!/bin/sh
# Writes the C++ blocks of a Markdown page as one source: with "program", the
# first block as it is; with "functions", every block as the body of a function,
# where the value that a comment gives for a variable, a number or text, must be its:
#     int port = f();  // 7000
# usage: extract_code.sh program|functions PAGE
set -eu
if [ "$1" = program ]; then
  awk '/^```/ { if (inside) exit; inside = /^```cpp$/; next } inside' "$2"
  exit
fi
cat <<'TEXT'
#include <fairlead/fairlead.h>

#include <cstdlib>
TEXT
awk '
  /^```cpp$/ { printf "void Snippet%d() {\n", ++count; inside = 1; next }
  /^```$/    { if (inside) print "}"; inside = 0 }
  inside
  inside && match($0, / [a-z_]+ = .*;  \/\/ ([0-9]+|".*")$/) {
    name = substr($0, RSTART + 1)
    sub(/ .*/, "", name)
    value = $0
    sub(/.*;  \/\/ /, "", value)
    printf "if (%s != %s) std::abort();\n", name, value
  }
  END        { printf "int main() {\n"; for (i = 1; i <= count; ++i) printf "  Snippet%d();\n", i; print "}" }
' "$2"
