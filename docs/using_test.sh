#!/bin/sh
# Runs the snippets of the guide and checks what they leave behind.
# usage: using_test.sh PROGRAM
set -eu
program=$(realpath "$1")
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd "$folder"
"$program"
printf '[server]\nport=7000\n' | diff - tool.ini
