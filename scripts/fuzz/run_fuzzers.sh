#!/usr/bin/env bash
# Runs every fuzzer of the asan build for so many seconds. What it finds is kept
# in build/corpus. With a seed, each begins with the corpus of the sources alone and
# takes the same inputs each time, as many as there is time for. ./dev calls it in
# the project's folder.
# usage: run_fuzzers.sh SECONDS [SEED]
set -euo pipefail

run_fuzzer() {  # run_fuzzer SECONDS SEED SOURCE
  local stem=${3%.cc} name kept options=()
  name=$(basename "$stem")
  kept=build/corpus/$name
  if [ -n "$2" ]; then
    kept=$kept-$2
    rm -rf "$kept"
    options+=("-seed=$2")
  fi
  mkdir -p "$kept"
  [ ! -e "$stem.dict" ] || options+=("-dict=$stem.dict")
  [ ! -e "$stem.options" ] || mapfile -t -O "${#options[@]}" options < <(sed -nE 's/^(\w+) = (\w+)$/-\1=\2/p' "$stem.options")
  if "build/asan/$stem" "${options[@]}" -max_total_time="$1" -verbosity=0 -print_final_stats=1 \
    -artifact_prefix="build/corpus/$name-" "$kept" "${stem}_corpus" >"build/corpus/$name.log" 2>&1; then
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
  xargs -0 -n 1 -P "$(nproc)" bash -c 'run_fuzzer "$@"' run_fuzzer "$1" "${2-}"
