#!/bin/sh
# Runs the snippets of the guide and checks what they leave behind.
# usage: using_test.sh PROGRAM
set -eu
. "$(dirname "$0")/../examples/line_server.sh"
printf '# mine\n\n[server]\n  port = 80\n  #tls = on\n' >box.ini
printf 'a line\r\nand more\r\n' >lines.txt
"$program" >output 2>errors
printf '[server]\nport=7000\n' | diff - tool.ini
printf '# mine\n\n[server]\n  port = 7000\n  #tls = on\n' | diff - box.ini
printf 'started\n' | diff - starts.txt
{
  printf 'line 5: tls is off\n'
  printf '250 HELO tool\r\n'
  printf '250 HELO tool\r\n250 QUIT\r\n'
  printf '250 a line\r\n250 and more\r\n'
} | diff - output
diff /dev/null errors
