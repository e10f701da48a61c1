#!/bin/sh
# Runs the example settings in a temporary folder.
# usage: settings_test.sh PROGRAM
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

expect "$("$program")" "run 1: localhost:7000"
expect "$(cat tool.ini)" "[tool]
# how often the tool was run
runs=1"

printf '; mine\n[mine]\na = b\n' >> tool.ini
expect "$("$program" -host example.org -port 80)" "run 2: example.org:80"
expect "$("$program")" "run 3: example.org:80"
expect "$(cat tool.ini)" "[tool]
# how often the tool was run
runs=3
; mine
[mine]
a=b
[server]
port=80
host=example.org"

status=0
"$program" -file none/tool.ini 2>/dev/null || status=$?
expect "$status" 23
