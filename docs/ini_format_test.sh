#!/bin/sh
# Runs the edits that the page on the INI format shows on the file that it shows,
# and compares the result with the one that it states.
# usage: ini_format_test.sh PAGE PROGRAM
set -eu
page=$(realpath "$1")
program=$(realpath "$2")
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd "$folder"

# The indented block that follows a line.
block() { awk -v after="$1" '
  $0 == after { wanted = 1; next }
  wanted && /^    / { printf "%s", held; held = ""; print substr($0, 5); begun = 1; next }
  wanted && /^$/ { if (begun) held = held "\n"; next }
  wanted && begun { exit }
' "$page"; }

block "This file" >lab.ini
block "becomes" >expected
[ -s lab.ini ] && [ -s expected ]
"$program" >/dev/null
diff expected lab.ini
