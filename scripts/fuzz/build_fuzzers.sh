#!/usr/bin/env bash
# Builds all fuzzers into a folder, in the layout that OSS-Fuzz expects: for each,
# the program NAME and NAME_seed_corpus.zip, and NAME.dict and NAME.options where
# there are such files.
#
# Environment: OUT (required), and, with defaults for libFuzzer with the address
# sanitizer, CC, CXX, CFLAGS, CXXFLAGS, LIB_FUZZING_ENGINE and WORK, the build
# folder.
set -euo pipefail
project=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)

: "${OUT:?names the folder for the fuzzers}"
sanitizers='-O1 -g -fsanitize=address,fuzzer-no-link'
export CC=${CC-clang} CXX=${CXX-clang++}
build=${WORK-$(mktemp -d)}
[ -n "${WORK-}" ] || trap 'rm -rf "$build"' EXIT

cmake -S "$project" -B "$build" -G Ninja \
  -DCMAKE_BUILD_TYPE=None -DCMAKE_CXX_COMPILER="$CXX" \
  -DCMAKE_CXX_FLAGS="${CXXFLAGS-$sanitizers}" \
  -DFAIRLEAD_FUZZERS=ON -DFAIRLEAD_FUZZING_ENGINE="${LIB_FUZZING_ENGINE--fsanitize=fuzzer}" \
  -DFAIRLEAD_TESTS=OFF -DFAIRLEAD_INSTALL=OFF >/dev/null
cmake --build "$build" --target fairlead_fuzzers

mkdir -p "$OUT"
find "$project"/fairlead "$project"/tool -name '*_fuzz.cc' | while read -r source; do
  stem=${source%.cc}
  name=$(basename "$stem")
  cp "$build/$(realpath --relative-to="$project" "$stem")" "$OUT/$name"
  (cd "${stem}_corpus" && python3 -m zipfile -c "$OUT/${name}_seed_corpus.zip" ./*)
  for extra in dict options; do
    [ ! -e "$stem.$extra" ] || cp "$stem.$extra" "$OUT/$name.$extra"
  done
done
