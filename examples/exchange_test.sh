#!/bin/sh
# Runs the example exchange, with the class and with the bare client.
# usage: exchange_test.sh PROGRAM
set -eu
. "$(dirname "$0")/../examples/line_server.sh"
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

expect 56 'the peer reset the connection
' -host 127.0.0.1 -port "$port" -text RESET
expect 52 '' -host 127.0.0.1 -port "$port" -text RESET -bare
expect 18 'the peer closed
' -host 127.0.0.1 -port "$port" -text HALF
expect 18 '' -host 127.0.0.1 -port "$port" -text HALF -bare
expect 28 'the time is over while receiving
' -host 127.0.0.1 -port "$port" -text HUSH

kill "$served"
wait "$served" || true
served=
expect 7 'not connected: Connection refused
' -host 127.0.0.1 -port "$port"
expect 7 '' -host 127.0.0.1 -port "$port" -bare
