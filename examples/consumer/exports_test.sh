#!/bin/sh
# Checks that a shared library exports only what its headers declare outside of
# private sections. usage: exports_test.sh LIBRARY HEADER…
set -eu
library=$1
shift

# Prints the words of the public declarations, one per line.
public_words() {
  sed 's,//.*,,' "$@" | awk '
    /^ *private:/ { hidden = 1 }
    /^ *(public|protected):/ || /^};/ { hidden = 0 }
    !hidden' | tr -cs '[:alnum:]_' '\n' | sort -u
}

# Prints what the library defines, without arguments and without templates of the
# standard library.
exported() {
  nm -D --defined-only "$library" | cut -c20- | grep -vE '^_Z(NK?)?(S|9__gnu_cxx)' | c++filt | sed '
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
