#!/bin/sh
# Writes every example of the headers named (their @code blocks) to standard
# output as functions of one source, so that the compiler judges them.
set -eu
cat <<'TEXT'
#include <arpa/inet.h>
#include <fairlead/fairlead.h>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <mutex>
TEXT
awk '
  /@endcode/ { if (inside) print "}"; inside = 0 }
  inside     { sub(/^ *\/\/\/ ?/, ""); print }
  /@code$/   { printf "void Example%d(int argc, char** argv) {\n#line %d \"%s\"\n", ++count, FNR + 1, FILENAME; inside = 1 }
' "$@"
