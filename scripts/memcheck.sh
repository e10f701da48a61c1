#!/usr/bin/env bash
# Runs the quick test programs under valgrind: memcheck for all, helgrind for those
# that run threads. ./dev calls it in the project's folder.
# usage: memcheck.sh [PROGRAM…]
#
# The programs are those of the debug build, which has no sanitizer.
set -euo pipefail
build=build/debug

# Programs and tests that cannot run, and why.
excluded_programs='
  allocation|tcp_client_exceptions_test: they replace the allocator, as valgrind does
  _commands_tests|/tool_tests: they run the command as a process, which is not watched
'
excluded=$(sed -nE 's/^ *([^ :]+): .*/\1/p' <<<"$excluded_programs" | paste -sd'|')
# Valgrind 3.19 has no AVX-512 and no vector AES: the implementations are not
# available there and skip themselves, but one test asks the kernel. A child that ends
# by _exit leaks what its parent frees, and helgrind does not end in one. Valgrind needs
# descriptors and makes calls of its own. The longest array takes an hour.
filter='-*Fork*:*Child*:*MemoryLimit*:*OutOfMemory*:*TheMaximalLength*'
filter+=':*KernelListsItsInstructions*:*CannotBeMovedAbove2*:*ALineIsOneWrite*'

run() {  # run TOOL PROGRAM
  local tool=$1 program=$2 log options
  log=$build/valgrind/$1-$(basename "$2").log
  options=(--error-exitcode=9 --suppressions=scripts/memcheck.supp --quiet "--tool=$tool")
  [ "$tool" = helgrind ] || options+=(--leak-check=full --errors-for-leak-kinds=definite)
  if GTEST_BRIEF=1 timeout 3600 valgrind "${options[@]}" "$program" --gtest_filter="$filter" >"$log" 2>&1; then
    echo "$tool $(basename "$program"): no error"
  else
    echo "$tool $(basename "$program"): failed with $?; see $log"
    return 1
  fi
}
export -f run
export build filter

programs=$(if [ $# -gt 0 ]; then
  for name; do find "$build" -name "$name" -type f -perm /1; done
else
  scripts/quick_programs.sh "$build" | grep -vE "$excluded"
fi)
threads='net_tests|exchange_|tcp_client|_thread|edit_lock'
mkdir -p "$build/valgrind"
{
  sed 's/^/memcheck /' <<<"$programs"
  sed -nE "/$threads/s/^/helgrind /p" <<<"$programs"
} | xargs -n 2 -P "$(nproc)" bash -c 'run "$@"' run
