#!/bin/sh
# Runs the commands that a page shows in its "console" blocks, in order and
# in one folder, and compares what they print with the page. A line that begins
# with "$ " is a command; those right below it that begin with "> " continue it.
# The indented block below "The file `NAME`" is written to that file first.
# usage: console_test.sh PAGE TOOL
set -eu
page=$(realpath "$1")
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
mkdir "$folder/bin" "$folder/work"
ln -s "$(realpath "$2")" "$folder/bin/fairlead"
PATH="$folder/bin:$PATH"

# Each block becomes a script that prints its commands before it runs them.
awk -v folder="$folder" '
  function finish() {
    if (command == "") return
    printf "cat <<\"SHOWN\"\n%s\nSHOWN\n(exit $status)\n%s\nstatus=$?\n", shown, command
    command = shown = ""
  }
  function end_of_file() { if (begun) print "WRITTEN"; begun = 0; name = held = "" }
  /^The file `[^`]*`/ { end_of_file(); split($0, part, "`"); name = part[2]; next }
  name != "" && /^    / {
    if (!begun) printf "cat >%s <<\"WRITTEN\"\n", name
    begun = 1
    printf "%s%s\n", held, substr($0, 5)
    held = ""
    next
  }
  name != "" && /^$/ { if (begun) held = held "\n"; next }
  { end_of_file() }
  /^```console$/ { print "exec 2>&1; status=0"; inside = 1; next }
  /^```$/        { if (inside) finish(); inside = 0; next }
  !inside        { next }
  { print > (folder "/expected") }
  /^\$ /         { finish(); shown = $0; command = substr($0, 3); open = 1; next }
  /^> / && open  { shown = shown "\n" $0; command = command "\n" substr($0, 3); next }
  { open = 0 }
' "$page" >"$folder/script"

[ -s "$folder/expected" ] || { echo "$1 shows no commands" >&2; exit 1; }
cd "$folder/work"
sh "$folder/script" >"$folder/output"
diff "$folder/expected" "$folder/output"
