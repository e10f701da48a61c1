#!/usr/bin/env bash
# Checks the model of CTCPClient, which must hold, and its mutants, each of which
# must break the property that it is listed with. Needs spin and gcc.
# usage: check.sh
set -euo pipefail
model=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)/client.pml
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd "$folder"

# What one search may take, in processor time; the largest takes an eighth.
readonly seconds=40 mebibytes=2048 depth=1000000

readonly safety='-DSAFETY -DNOCLAIM' liveness='-DNFAIR=3'

# search KIND OPTIONS [DEFINITION…]: searches all states of the model for an error.
# KIND and OPTIONS are lists of flags, of the compiler and of the search.
search() {
  local kind=$1 options=$2
  shift 2
  rm -f client.pml.trail
  spin -a "$@" "$model" >spin.log || { cat spin.log >&2; exit 1; }
  gcc "${optimize--O0}" -w -DCOLLAPSE -DMEMLIM="$mebibytes" $kind -o pan pan.c
  (ulimit -t "$seconds" && exec ./pan -b -m"$depth" $options) >pan.log 2>&1 ||
    echo "pan ended with $?" >>pan.log
}

fail() {  # fail [DEFINITION…]: shows the search, and the steps to the error it found
  cat pan.log >&2
  [ ! -e client.pml.trail ] || spin -k client.pml.trail -t -p "$@" "$model" | tail -n 60 >&2
  exit 1
}

# Fails if a statement was never reached. The owner has some: its senders have
# returned before the destructor.
reached() {
  awk '/^unreached in proctype/ { name = $4 }
    /^unreached in claim/ { name = "claim" }
    /of [0-9]+ states\)/ && name ~ /RecvThread|Sender|Other/ { ++all; if (/\(0 of/) ++whole }
    END { exit !(all == 3 && whole == 3) }' pan.log
}

# A search that was cut short proves nothing.
holds() {  # holds KIND OPTIONS [DEFINITION…]
  optimize=-O1 search "$@"
  local kind=$1
  shift 2
  grep -q 'errors: 0$' pan.log || fail "$@"
  ! grep -qE 'not completed|pan ended' pan.log || fail "$@"
  reached || fail "$@"
  local name=safety
  [ "$kind" = "$safety" ] || name=liveness
  printf '%-8s holds in %s states: %s\n' "$name" \
    "$(sed -nE 's/^ *([0-9.e+]+) states, stored.*/\1/p' pan.log)" "$*"
}

breaks() {  # breaks MUTANT PROPERTY KIND OPTIONS [DEFINITION…]
  local mutant=$1 property=$2
  shift 2
  search "$@" "-D$mutant"
  grep -qE "^pan:1: .*$property" pan.log || fail "${@:3}" "-D$mutant"
  printf '%-17s breaks: %s\n' "$mutant" "$(sed -nE 's/^pan:1: //p' pan.log)"
}

# A mutant may break several properties: -E looks for assertions alone, -A for
# deadlocks alone.
asserts() { breaks "$1" "assertion violated .*$2" "$safety" -E "${@:3}"; }
deadlocks() { breaks "$1" 'invalid end state' "$safety" -A "${@:2}"; }
starves() { breaks "$1" 'acceptance cycle' "$liveness" '-a -f' -DCONNECTIONS=1; }

holds "$safety" '' -DCONNECTIONS=2 -DSENDERS=1
holds "$safety" '' -DCONNECTIONS=1 -DSENDERS=2
holds "$safety" '' -DCONNECTIONS=2 -DSENDERS=1 -DBUFFER=1
holds "$liveness" '-a -f' -DCONNECTIONS=1 -DSENDERS=1

deadlocks NO_WAKE
deadlocks NOTIFY_EARLY
deadlocks DETACH_UNLOCKED
deadlocks NO_SHUTDOWN
deadlocks NO_END_OF_WAIT -DBUFFER=1
deadlocks STOP_UNLOCKED -DBUFFER=1
asserts NOTIFY_LATE 'thread_inside==0'
asserts STORE_UNLOCKED 'handle==connection'
asserts CLOSE_EARLY 'file\[sock\]==seen'
asserts READ_THEN_CLEAR 'file\[sock\]==seen'
asserts READ_BEFORE_COUNT 'file\[sock\]==seen'
asserts NO_WAIT_FOR_USES 'file\[sock\]==seen'
asserts QUEUE_UNLOCKED 'queue_users==1'
asserts FREE_EARLY 'buffer_alive' -DBUFFER=1
starves NO_EARLY_LOOK
