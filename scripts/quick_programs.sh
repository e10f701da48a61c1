#!/usr/bin/env bash
# Prints the quick test programs of a build folder: those whose CMakeLists.txt does
# not label them slow or faults. It is run in the project's folder.
# usage: quick_programs.sh BUILD
set -euo pipefail
for listing in fairlead/*/CMakeLists.txt tool/CMakeLists.txt tool/*/CMakeLists.txt; do
  tr '\n' ' ' <"$listing" | grep -oE 'fairlead_test\([^)]*\)' |
    grep -vE 'LABELS( threads| quick)* (slow|faults)[ )]' | sed -E "s|^fairlead_test\((\w+).*|$1/${listing%/*}/\1|" || true
done
