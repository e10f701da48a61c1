#!/bin/sh
# Runs the example ticket_code.
# usage: ticket_code_test.sh PROGRAM
set -eu
program=$1

expect() {
  if [ "$1" != "$2" ]; then
    printf 'got: %s\nexpected: %s\n' "$1" "$2" >&2
    exit 1
  fi
}

# Expects an exit status: fails STATUS ARGUMENT...
fails() {
  wanted=$1
  shift
  status=0
  "$program" "$@" 2>/dev/null || status=$?
  expect "$status" "$wanted"
}

code=$("$program" -event 512 -seat 77 -row 3)
expect "$code" "AIQT-ADAL"
expect "$("$program" -read "$code")" "event 512, seat 77, row 3"
expect "$("$program" -read "$(echo "$code" | tr -d -)")" "event 512, seat 77, row 3"
code=$("$program" -event 65535 -seat 16383 -row 1023)
expect "$("$program" -read "$code")" "event 65535, seat 16383, row 1023"

# A mistyped character is detected at every position.
for place in 1 2 3 4 6 7 8 9; do
  wrong=$(echo "$code" | sed "s/./A/$place")
  [ "$wrong" = "$code" ] || fails 3 -read "$wrong"
done
fails 3 -read "ABCD-EFG"
fails 3 -read "ABCD-EFG!"
fails 2 -event 65536 -seat 0 -row 0
fails 2 -event 1
