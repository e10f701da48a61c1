#!/bin/sh
# Runs the example edit_file in a temporary folder, many at a time.
# usage: edit_file_test.sh PROGRAM
set -eu
program=$1
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd "$folder"

expect() {
  if [ "$1" != "$2" ]; then
    printf 'got:\n%s\nexpected:\n%s\n' "$1" "$2" >&2
    exit 1
  fi
}

expect "$("$program")" "run 1"
expect "$(cat tool.ini)" "runs=1"

printf '# mine\r\n[a]\n  b = c' > tool.ini
runs=1
while [ $runs -le 20 ]; do
  "$program" tool.ini >> output.$runs &
  runs=$((runs + 1))
done
wait
expect "$(cat output.* | sort -k 2n | tail -n 1)" "run 20"
expect "$(cat output.* | sort -u | wc -l)" 20
expect "$(cat tool.ini; echo x)" "$(printf 'runs=20\n# mine\r\n[a]\n  b = cx')"

printf 'a=1\nruns=x\nb=2\n' > tool.ini
expect "$("$program" tool.ini)" "run 1"
expect "$(cat tool.ini)" "a=1
runs=1
b=2"

status=0
message=$("$program" none/tool.ini 2>&1) || status=$?
expect "$status" 1
expect "$message" "edit_file: cannot write 'none/tool.ini': No such file or directory"
