#!/bin/sh
# Runs the snippets of the guide and checks what they leave behind.
# usage: using_test.sh PROGRAM
set -eu
program=$(realpath "$1")
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd "$folder"
printf '# mine\n\n[server]\n  port = 80\n  #tls = on\n' >box.ini
"$program" >output 2>errors
printf '[server]\nport=7000\n' | diff - tool.ini
printf '# mine\n\n[server]\n  port = 7000\n  #tls = on\n' | diff - box.ini
echo 'line 5: tls is off' | diff - output
diff /dev/null errors
