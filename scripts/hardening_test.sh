#!/usr/bin/env bash
# Fails if a binary lacks a protection that it is built with.
# usage: hardening_test.sh program|library FILE
#
# The note of IBT and SHSTK is not asked for: the linker drops it if one input has
# none, and the start files of Debian 12 have none. The instructions are counted
# instead.
set -euo pipefail
kind=$1
file=$2
status=0

expect() {  # expect WHAT COMMAND…
  local what=$1
  shift
  "$@" >/dev/null || { echo "$file: no $what" >&2; status=1; }
}

headers=$(readelf -hlW "$file")
dynamic=$(readelf -dW "$file")
symbols=$(readelf --dyn-syms -W "$file")
has() { grep -Eq -e "$2" <<<"$1"; }
lacks() { ! has "$@"; }
# At least as many as a tenth of the functions would have.
has_branch_targets() { [ "$(objdump -d --no-show-raw-insn "$file" | grep -c endbr64)" -ge 50 ]; }

[ "$kind" = library ] || expect 'position-independent executable' has "$dynamic" 'FLAGS_1.*PIE'
expect 'read-only relocations (RELRO)' has "$headers" 'GNU_RELRO'
expect 'immediate binding' has "$dynamic" 'BIND_NOW|FLAGS_1.*NOW'
expect 'non-executable stack' has "$headers" 'GNU_STACK .* RW '
expect 'freedom from text relocations' lacks "$dynamic" 'TEXTREL'
expect 'freedom from search paths' lacks "$dynamic" 'RPATH|RUNPATH'
expect 'stack protector' has "$symbols" '__stack_chk_fail'
expect 'fortified functions' has "$symbols" '__[a-z]+_chk@'
expect 'branch targets for indirect branch tracking' has_branch_targets
exit $status
