#!/usr/bin/env bash
# Runs the quick test programs under valgrind: memcheck for all, helgrind for those
# that run threads. ./dev calls it in the project's folder.
# usage: memcheck.sh [PROGRAM…]
#
# The programs are those of the debug build, which has no sanitizer.
set -euo pipefail
build=build/debug
supp=scripts/memcheck.supp

# Programs and tests that cannot run, and why.
excluded_programs='
  edit_faults|fault_test: they trace or limit the process that valgrind is
  allocation: they replace the allocator, as valgrind does
  file_memory_test|ini_memory_test: they limit the memory, of which valgrind takes most
  tcp_client_exceptions_test: it replaces the allocator
  tool_: they run the command as a process, which valgrind follows too slowly
  endings_test: likewise
  file_edit_signals_test: it is killed while valgrind still starts
'
excluded=$(sed -nE 's/^ *([^ :]+): .*/\1/p' <<<"$excluded_programs" | paste -sd'|')
# Valgrind 3.19 has no AVX-512 and no vector AES: the implementations are not
# available there and skip themselves. A child that ends by _exit leaks what its
# parent frees, and helgrind does not end in one.
filter='-*Fork*:*Child*:*MemoryLimit*:*OutOfMemory*'

run() {  # run TOOL PROGRAM
  local tool=$1 program=$2 log options
  log=$build/valgrind/$1-$(basename "$2").log
  options=(--error-exitcode=9 --suppressions="$supp" --quiet "--tool=$tool")
  [ "$tool" = helgrind ] || options+=(--leak-check=full --errors-for-leak-kinds=definite)
  if GTEST_BRIEF=1 timeout 3600 valgrind "${options[@]}" "$program" --gtest_filter="$filter" >"$log" 2>&1; then
    echo "$tool $(basename "$program"): no error"
  else
    echo "$tool $(basename "$program"): failed with $?; see $log"
    return 1
  fi
}

mkdir -p "$build/valgrind"
threads='net_tests|exchange_|tcp_client|_thread|edit_lock'
status=0
while read -r program; do
  run memcheck "$program" || status=1
  if grep -Eq "$threads" <<<"$program"; then run helgrind "$program" || status=1; fi
done < <(if [ $# -gt 0 ]; then
  for name; do find "$build" -name "$name" -type f -perm /1; done
else
  scripts/quick_programs.sh "$build" | grep -vE "$excluded"
fi)
exit $status
