#!/bin/sh
# Runs a compile command of g++ with another compiler.
#
# usage: compile_with.sh COMPILER [LAUNCHER…] -- g++ [ARGUMENT…]
compiler=$1
shift
launcher=
until [ "$1" = -- ]; do
  launcher="$launcher $1"
  shift
done
shift 2
# clang++ would include the precompiled headers that it is to make.
for argument; do
  case $argument in *.gch) rm -f "$argument" ;; esac
done
exec $launcher "$compiler" "$@"
