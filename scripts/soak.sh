#!/usr/bin/env bash
# Loads what must hold under load, for the given minutes in all, and fails at the
# first failure. ./dev calls it in the project's folder.
# usage: soak.sh MINUTES
#
# Each of five kinds of load gets a fifth of the time and ends with its figures.
set -euo pipefail
seconds=$(($1 * 60 / 5))
fairlead=$PWD/build/release/tool/fairlead
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

say() { printf '%s\n' "$*"; }
time_left() { [ "$SECONDS" -lt "$end" ]; }
start() { end=$((SECONDS + seconds)); }

# Connections and exchanges under the thread sanitizer, in rounds.
soak_cycles() {
  local round=250 cycles=0 program
  start
  while time_left; do
    for program in exchange_cycles_test tcp_client_cycles_test; do
      FAIRLEAD_CYCLES=$round GTEST_BRIEF=1 build/tsan/fairlead/net/$program >"$folder/log" 2>&1 ||
        { cat "$folder/log"; return 1; }
      cycles=$((cycles + round))
    done
  done
  say "$cycles connections under the thread sanitizer, no report"
}

# One log from eight processes: every line is whole, and those of a process are in
# order.
soak_log() {
  local lines=0 process
  start
  while time_left; do
    rm -f "$folder/log.txt"
    for process in 1 2 3 4 5 6 7 8; do
      seq -f "$process %.0f line of the process with some text to tear" 2000 |
        "$fairlead" log -file "$folder/log.txt" -stamp none >/dev/null &
    done
    wait
    awk '{ if (NF != 11 || $2 != ++count[$1]) { print "torn or out of order: " $0; exit 1 } }
         END { if (NR != 16000) { print NR " lines of 16000"; exit 1 } }' "$folder/log.txt"
    lines=$((lines + 16000))
  done
  say "$lines lines from 8 processes, none torn, lost or out of order"
}

# One INI file edited by eight processes: no edit is lost.
soak_edits() {
  local edits=0 process key
  rm -f "$folder/box.ini"
  start
  while time_left; do
    for process in 1 2 3 4 5 6 7 8; do
      for key in $(seq 25); do
        "$fairlead" ini set -file "$folder/box.ini" -section "s$process" -key "k$key" -value "$edits.$key" 2>/dev/null ||
          touch "$folder/failed"
      done &
    done
    wait
    [ ! -e "$folder/failed" ]
    [ "$("$fairlead" ini list -file "$folder/box.ini" | grep -c "$edits\.")" -eq 200 ]
    edits=$((edits + 200))
  done
  say "$edits edits of one file by 8 processes, none lost"
}

# Every quick program, shuffled, again and again.
soak_repeats() {
  local rounds=0 program
  local programs
  programs=$(scripts/quick_programs.sh build/release)
  start
  while time_left; do
    for program in $programs; do
      time_left || break
      GTEST_BRIEF=1 "$program" --gtest_shuffle --gtest_fail_fast >"$folder/log" 2>&1 ||
        { say "$program"; cat "$folder/log"; return 1; }
      rounds=$((rounds + 1))
    done
  done
  say "$rounds runs of test programs in random order, no failure"
}

# The quick tests, eight at a time, on a machine that is busy.
soak_stress() {
  stress-ng --cpu "$(nproc)" --vm 1 --vm-bytes 64M --io 1 --timeout "$((seconds + 600))" --quiet &
  local stress=$! rounds=0
  start
  while time_left; do
    timeout "$((end - SECONDS + 1))" ctest --preset release-quick -j 8 >"$folder/log" 2>&1 || {
      # The time is over, or a test has failed.
      grep -q 'Failed' "$folder/log" && { cat "$folder/log"; kill "$stress"; return 1; }
      break
    }
    rounds=$((rounds + 1))
  done
  kill "$stress"
  wait "$stress" 2>/dev/null || true
  say "$rounds whole rounds and $(grep -c Passed "$folder/log") tests of another one under load, no failure"
}

for load in cycles log edits repeats stress; do
  say "== $load, $seconds s"
  "soak_$load"
done
