#!/bin/sh
# Runs the example of the README with a server, and without one.
# usage: readme_example_test.sh PROGRAM
set -eu
. "$(dirname "$0")/../examples/line_server.sh"
port=$(sed -n 's/^port=//p' server.ini)
"$program" -host 127.0.0.1 -port "$port" >output 2>errors
grep -qxE '250 hello at [0-9]{6}' output
[ "$(wc -l <output)" -eq 1 ]
diff /dev/null errors

# Nothing listens at port 1.
if "$program" -host 127.0.0.1 -port 1 >output 2>errors; then exit 1; fi
diff /dev/null output
[ "$(wc -l <errors)" -eq 1 ]
