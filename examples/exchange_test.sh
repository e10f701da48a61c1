#!/bin/sh
# Runs the example exchange, with the class and with the bare client.
# usage: exchange_test.sh PROGRAM
set -eu
program=$(realpath "$1")
server=$(realpath "$(dirname "$0")/line_server.py")
folder=$(mktemp -d)
served=
trap '[ -z "$served" ] || kill "$served" 2>/dev/null || true; rm -rf "$folder"' EXIT
cd "$folder"
"$server" server.ini &
served=$!
until [ -e server.ini ] || ! kill -0 "$served"; do sleep 0.05; done
port=$(sed -n 's/^port=//p' server.ini)

for bare in '' -bare; do
  "$program" -host 127.0.0.1 -port "$port" -text hello $bare >output 2>errors
  grep -v '^dns resolved' output >reply  # Of the bare client.
  printf '250 hello\r\n' | diff - reply
  diff /dev/null errors
done

# expect STATUS ERRORS ARGUMENT…
expect() {
  wanted=$1 words=$2
  shift 2
  status=0
  "$program" "$@" >output 2>errors || status=$?
  [ "$status" -eq "$wanted" ] || { echo "status $status of $*" >&2; exit 1; }
  printf '%s' "$words" | diff - errors
}

kill "$served"
wait "$served" || true
served=
expect 7 'not connected: Connection refused
' -host 127.0.0.1 -port "$port"
expect 7 '' -host 127.0.0.1 -port "$port" -bare
