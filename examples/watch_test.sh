#!/bin/sh
# Runs the example watch in a temporary folder.
# usage: watch_test.sh PROGRAM
set -eu
program=$1
folder=$(mktemp -d)
watcher=
trap '[ -z "$watcher" ] || kill -9 "$watcher" 2>/dev/null || true; rm -rf "$folder"' EXIT
cd "$folder"

# Waits for a line of the log that ends with the text.
expect() {
  tries=0
  until [ -e watch.log ] && grep -q "$1\$" watch.log; do
    tries=$((tries + 1))
    if [ "$tries" -gt 600 ]; then
      printf 'no line ends with: %s\n' "$1" >&2
      cat watch.log >&2
      exit 1
    fi
    sleep 0.05
  done
}

"$program" -file data -every 10 -rest 300 >seen &
watcher=$!
expect "watching data"
expect "data is missing"
head -c 1536 /dev/zero >data
expect "data begins to change"
expect "data rests at 1.51 Kb"
kill -INT "$watcher"
status=0
wait "$watcher" || status=$?
watcher=
expect "stopped watching"

[ "$status" -eq 0 ] || { echo "status $status" >&2; exit 1; }
cmp seen watch.log
[ "$(grep -c missing watch.log)" -eq 1 ] || { cat watch.log >&2; exit 1; }

status=0
"$program" 2>/dev/null || status=$?
[ "$status" -eq 2 ] || { echo "status $status without a file" >&2; exit 1; }
