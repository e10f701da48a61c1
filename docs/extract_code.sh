#!/bin/sh
# Writes the C++ blocks of a Markdown page as one source: with "program", the
# first block as it is; with "functions", every block as the body of a function.
# usage: extract_code.sh program|functions PAGE
set -eu
if [ "$1" = program ]; then
  awk '/^```/ { if (inside) exit; inside = /^```cpp$/; next } inside' "$2"
  exit
fi
cat <<'TEXT'
#include <fairlead/fairlead.h>
TEXT
awk '
  /^```cpp$/ { printf "void Snippet%d() {\n", ++count; inside = 1; next }
  /^```$/    { if (inside) print "}"; inside = 0 }
  inside
  END        { printf "int main() {\n"; for (i = 1; i <= count; ++i) printf "  Snippet%d();\n", i; print "}" }
' "$2"
