#!/bin/sh
# Runs each command line that the README shows for the tool; each must succeed.
# Lines that speak to another server (-host … -port) have tests of their own.
# usage: readme_commands_test.sh README TOOL
set -eu
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
ln -s "$2" "$folder/fairlead"
PATH="$folder:$PATH"
cd "$folder"

grep -E '^    (fairlead|printf) ' "$1" | grep -v -e ' -port ' >"$folder/commands"
[ -s "$folder/commands" ] || { echo "the README shows no command" >&2; exit 1; }
while read -r command; do
  echo "+ $command"
  sh -c "$command" </dev/null
done <"$folder/commands"
