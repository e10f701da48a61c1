#!/bin/sh
# Checks that a shared library offers nothing but what its headers declare
# outside of private sections: exports_test.sh LIBRARY HEADER…
set -eu
library=$1
shift

# Every word of the public declarations, on a line of its own.
public_words() {
  sed 's,//.*,,' "$@" | awk '
    /^ *private:/ { hidden = 1 }
    /^ *(public|protected):/ || /^};/ { hidden = 0 }
    !hidden' | tr -cs '[:alnum:]_' '\n' | sort -u
}

# What the library defines, without arguments and without the templates of the
# standard library, which everyone has.
exported() {
  nm -DC --defined-only "$library" | cut -c20- | sed '
    s/^\(typeinfo name\|typeinfo\|vtable\|guard variable\) for //
    /^std::/d
    s/(anonymous namespace)/anonymous_namespace/
    s/\[abi:cxx11\]//
    s/(.*//'
}

words=$(mktemp)
trap 'rm -f "$words"' EXIT
public_words "$@" > "$words"
exported | awk -v words="$words" '
  BEGIN { while ((getline word < words) > 0) public[word] = 1 }
  {
    count = split($0, parts, /[^[:alnum:]_]+/)
    for (i = 1; i <= count; ++i)
      if (parts[i] != "" && !(parts[i] in public)) {
        print "exported, but not public: " $0
        failed = 1
        break
      }
  }
  END {
    if (NR < 100) { print "only " NR " functions are exported"; failed = 1 }
    exit failed
  }'
