#!/usr/bin/env bash
# Measures what the tests reach, and fails if it is too little; then reports MC/DC
# if a clang that measures it is installed. ./dev calls it in the project's folder.
#
# All runs of a program share one file of counters, which they map before main: a
# test that ends by a signal or by _exit is counted too, and so is one under strace
# that fails the system calls from main on. Those faults are a sample, the same in
# each run unless FAIRLEAD_FAULTS chooses another.
#
# Left out are a test that counts calls from the start of the process and would fail
# one of the counters; tests that measure the memory of commands with 10 to 100 MB of
# input, which take minutes without optimization; and tests that build other projects.
set -euo pipefail

here=scripts/coverage
left_out=-OutputFaultTest.AFailedCheckOfAStreamEndsIt:IniMemoryTest.*
left_out+=:SendLargeTest.ResidentMemoryStaysBelow20Megabytes:SlowPeersTest.AFloodNeedsLittleMemory
of_tests='(_test|_testing|_fuzz|_benchmark|_model|_laws|/testing)\.(cc|h)$|/usr/|/testing/|/examples/|make_documents|\.cxx$|header_examples|_example\.cc$'

# Prints -object and the path of each program.
programs() {  # programs BUILD
  find "$1" \( -name '*_test' -o -name '*_tests' -o -name '*_fuzz' -o -path '*/tool/fairlead' \) \
    -type f -perm /1 -printf '-object %p '
}

# Builds the preset, runs its tests, and merges the counters. A test that fails
# is shown and does not stop the report: its counters are there.
measure() {  # measure BUILD LLVM LABELS_LEFT_OUT [configuration…]
  local build=$1 llvm=$2 labels=$3
  shift 3
  cmake --preset "$(basename "$build")" "$@" >/dev/null
  cmake --build "$build"
  ninja -C "$build" -t cleandead >/dev/null  # Programs of sources that have moved.
  rm -rf "$build/profiles"
  GTEST_BRIEF=1 GTEST_FILTER=$left_out FAIRLEAD_FAULTS=${FAIRLEAD_FAULTS-1/40} \
    ctest --test-dir "$build" --output-on-failure -LE "$labels" -E '^consumer' -j "${CTEST_PARALLEL_LEVEL-2}" || failed=yes
  # A test that limits the size of files may leave one that is cut short.
  "llvm-profdata$llvm" merge -sparse -failure-mode=all "$build"/profiles/*.profraw -o "$build/all.profdata"
}

failed=
default=-$(clang++ -dumpversion | cut -d. -f1)
measure build/coverage "$default" '^$'
report=("-instr-profile=build/coverage/all.profdata" "-ignore-filename-regex=$of_tests")
objects=$(programs build/coverage)
"llvm-cov$default" show $objects "${report[@]}" -format=html -show-branches=count \
  -output-dir=build/coverage/html >/dev/null
"llvm-cov$default" export $objects "${report[@]}" >build/coverage/all.json
"llvm-cov$default" export $objects "${report[@]}" -format=lcov >build/coverage/all.lcov
"llvm-cov$default" show $objects "${report[@]}" -show-branches=count >build/coverage/all.txt
echo "build/coverage/html/index.html"
status=0
python3 "$here/coverage_report.py" build/coverage/all.{lcov,json,txt} \
  "$here/unreached.txt" build/coverage/untaken.txt || status=1

mcdc=
for version in 22 21 20 19 18; do
  command -v "clang++-$version" >/dev/null && command -v "llvm-cov-$version" >/dev/null && { mcdc=$version; break; }
done
if [ -n "$mcdc" ]; then
  # These counters are written at the end, by calls that would fail too: a test that
  # limits the size of files fails here, and decides nothing.
  decided=$failed
  measure build/mcdc "-$mcdc" faults -DCMAKE_CXX_COMPILER="clang++-$mcdc"
  failed=$decided
  echo "MC/DC, without what ends by a signal or by _exit:"
  "llvm-cov-$mcdc" report $(programs build/mcdc) -instr-profile=build/mcdc/all.profdata \
    -ignore-filename-regex="$of_tests" -show-mcdc-summary | awk 'NR == 1 || /^TOTAL/ { print $(NF - 2), $(NF - 1), $NF }'
else
  echo "MC/DC is not reported: it needs the Debian packages clang-19 and llvm-19"
fi
[ -z "$failed" ] || { echo "a test failed; see above" >&2; exit 1; }
exit $status
