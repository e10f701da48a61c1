#!/usr/bin/env bash
# Runs every fuzzer of the asan build for so many seconds. What it finds is kept
# in build/corpus. ./dev calls it in the project's folder.
# usage: run_fuzzers.sh SECONDS
set -euo pipefail

run_fuzzer() {  # run_fuzzer SECONDS SOURCE
  local stem=${2%.cc} name options=()
  name=$(basename "$stem")
  mkdir -p "build/corpus/$name"
  [ ! -e "$stem.dict" ] || options+=("-dict=$stem.dict")
  [ ! -e "$stem.options" ] || mapfile -t -O "${#options[@]}" options < <(sed -nE 's/^(\w+) = (\w+)$/-\1=\2/p' "$stem.options")
  if "build/asan/$stem" "${options[@]}" -max_total_time="$1" -verbosity=0 -print_final_stats=1 \
    -artifact_prefix="build/corpus/$name-" "build/corpus/$name" "${stem}_corpus" >"build/corpus/$name.log" 2>&1; then
    awk -v name="$name" '/number_of_executed_units/ { inputs = $2 } /average_exec_per_sec/ { each = $2 }
      END { print name ": " inputs " inputs, " each " a second, no fault" }' "build/corpus/$name.log"
  else
    cat "build/corpus/$name.log" >&2
    return 1
  fi
}
export -f run_fuzzer

printf '\n== fuzz for %s s each\n' "$1"
printf '%s\0' fairlead/*/*_fuzz.cc tool/*/*_fuzz.cc |
  xargs -0 -n 1 -P "$(nproc)" bash -c 'run_fuzzer "$@"' run_fuzzer "$1"
