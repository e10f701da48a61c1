#!/usr/bin/env bash
# Builds the fuzzers as OSS-Fuzz does and checks what is in the folder.
# usage: build_fuzzers_test.sh BUILD
#
# BUILD is the build folder; a second run compiles nothing. Without a sanitizer,
# as this is about the layout, and with the program that replays inputs in place
# of an engine, so that any compiler does.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
project=$(cd "$here/../.." && pwd)
build=$1
out=$(mktemp -d)
trap 'rm -rf "$out"' EXIT

mkdir -p "$build"
engine=$build/replay_input.o
c++ -std=c++20 -O0 -c "$project/fairlead/testing/replay_inputs.cc" -o "$engine"
CC=cc CXX=c++ CFLAGS=-O0 CXXFLAGS=-O0 LIB_FUZZING_ENGINE=$engine WORK=$build OUT=$out \
  "$here/build_fuzzers.sh" >"$build/log" 2>&1 || { cat "$build/log"; exit 1; }

count=0
for source in "$project"/fairlead/*/*_fuzz.cc "$project"/tool/*/*_fuzz.cc; do
  name=$(basename "$source" .cc)
  [ -x "$out/$name" ] || { echo "$name: no program"; exit 1; }
  python3 -m zipfile -e "$out/${name}_seed_corpus.zip" "$out/seeds/$name"
  "$out/$name" "$out/seeds/$name"
  [ ! -e "${source%.cc}.dict" ] || [ -e "$out/$name.dict" ] || { echo "$name: no dictionary"; exit 1; }
  count=$((count + 1))
done
echo "$count fuzzers"
[ "$count" -gt 15 ]
