#!/bin/sh
# Runs the example set_option in a temporary folder.
# usage: set_option_test.sh PROGRAM
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

# Runs the program, which must fail with that status and message.
expect_failure() {
  wanted_status=$1
  wanted_message=$2
  shift 2
  status=0
  message=$("$program" "$@" 2>&1) || status=$?
  expect "$status" "$wanted_status"
  expect "$message" "$wanted_message"
}

expect "$("$program" box.ini server port 80)" "port: new, 80"
expect "$(cat box.ini)" "[server]
port=80"

printf '# mine\r\n\r\n[server]\r\n  port = 80\r\n#tls = on\r\njunk' >box.ini
expect "$("$program" box.ini server port 7000)" "port: 80, now 7000"
expect "$("$program" box.ini server port 7000)" "port was 7000 already"
expect "$("$program" box.ini server tls off)" "tls: new, off"
printf '# mine\r\n\r\n[server]\r\n  port = 7000\r\n#tls = on\r\ntls = off\r\njunk' |
  cmp - box.ini

printf '[a]\nk=1 \\\n  2\n' >box.ini
expect_failure 1 "set_option: box.ini:3: the value continues on this line" \
  box.ini a k 3
expect_failure 1 "set_option: a key cannot contain '='" box.ini a k=l 3
printf '[a]\nk=1 \\\n  2\n' | cmp - box.ini
expect_failure 23 \
  "set_option: cannot write 'none/box.ini': No such file or directory" \
  none/box.ini a k 3
expect_failure 2 "usage: set_option FILE SECTION KEY VALUE" box.ini
