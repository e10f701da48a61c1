#!/usr/bin/env bash
# Runs the quick tests of the release build in other surroundings: locales, time
# zones, dates, users and processors. ./dev calls it in the project's folder.
set -euo pipefail
build=build/release
work=$PWD/build/surroundings
mkdir -p "$work"
export GTEST_BRIEF=1
failures=0

# Runs the programs, each with the command in front of it. What they print of a
# failure follows.
try() {  # try NAME FILTER PROGRAMS COMMAND…
  local name=$1 filter=$2 programs=$3 program failed=0 count=0
  shift 3
  for program in $programs; do
    [ -x "$program" ] || continue
    count=$((count + 1))
    timeout 600 "$@" "$PWD/$program" --gtest_filter="$filter" >"$work/log" 2>&1 </dev/null || {
      echo "$name: $program failed with $?"
      failed=$((failed + 1))
      grep -E 'FAILED|Failure|terminate|Expected|Which is|actual|  "' "$work/log" | head -n 12
    }
  done
  echo "$name: $count programs, $failed failed"
  failures=$((failures + failed))
}

programs=$(scripts/quick_programs.sh $build)
of_time=$(grep -E '/(time|log|values|crypt)/|tool_exchange' <<<"$programs")
of_processor=$(grep -E '/(crypto|bits|base)/' <<<"$programs")

# The locales are made here, so that the system needs none.
export LOCPATH=$work/locales
mkdir -p "$LOCPATH"
for locale in de_DE tr_TR fa_IR; do
  [ -d "$LOCPATH/$locale.UTF-8" ] || localedef -i "$locale" -f UTF-8 "$LOCPATH/$locale.UTF-8"
done
try 'German, Berlin' '*' "$programs" env LC_ALL=de_DE.UTF-8 TZ=Europe/Berlin
try "Turkish, St John's" '*' "$programs" env LC_ALL=tr_TR.UTF-8 TZ=America/St_Johns
try 'Persian, Lord Howe' '*' "$programs" env LC_ALL=fa_IR.UTF-8 TZ=Australia/Lord_Howe
try 'no locale, Apia' '*' "$programs" env LC_ALL=C TZ=Pacific/Apia

# The clock runs on from these local times. Only the tests that read it are run, and
# not those that close standard streams or leave a process no descriptor, as
# libfaketime opens files in each process; nor one that compares the clock with that
# of a process in another time zone, whose local time begins at another moment.
hindered='*ReportsAFailedRead*:*ReportsAnUnreadableInput*:*AFullOutputEndsIt*:*WithoutADescriptorItCannotListen*:*AllFormsShowTheSameTime*'
faketime=$(find /usr/lib -name libfaketimeMT.so.1 | head -n 1)
at() {  # at ZONE TIME
  try "$2 in $1" "*-$hindered" "$of_time" env TZ="$1" LD_PRELOAD="$faketime" FAKETIME="@$2" \
    FAKETIME_DONT_FAKE_MONOTONIC=1 DONT_FAKE_MONOTONIC=1
}
at UTC '2038-01-19 03:14:00'
at UTC '2106-02-07 06:28:10'
at Europe/Berlin '2026-03-29 01:59:57'
at Europe/Berlin '2026-10-25 02:59:57'
at Australia/Lord_Howe '2026-04-05 01:59:57'

# A user without rights, whose home cannot be written.
own=$(mktemp -d)
trap 'rm -rf "$own"' EXIT
if [ "$(id -u)" -eq 0 ]; then
  chown 65534:65534 "$own"
  as_nobody=(setpriv --reuid=65534 --regid=65534 --clear-groups)
  try 'no rights, no home' '*' "$programs" env HOME=/proc TMPDIR="$own" "${as_nobody[@]}"
  # /dev/pts is empty in a mount namespace of the command's own.
  hide_terminals='mount -t tmpfs none /dev/pts && exec "$@"'
  if unshare -m sh -c "$hide_terminals" sh true 2>/dev/null; then
    try 'no pseudo-terminal' '*' "$programs" unshare -m sh -c "$hide_terminals" sh
  else
    echo 'no pseudo-terminal: left out, as this system allows no mount namespace'
  fi
else
  echo 'no rights, no pseudo-terminal: left out, as only root can arrange them'
fi

# Processors without AES instructions, without AVX, and with AVX2 but no more. One
# test asks the kernel, which lists the instructions of the real processor.
real_processor='*KernelListsItsInstructions*'
seq 1000 | head -c 1600 >"$work/plain"
for processor in core2duo Westmere Haswell-noTSX; do
  try "processor $processor" "*-*Memory*:*Threads*:*Fork*:$real_processor" "$of_processor" qemu-x86_64 -cpu "$processor"
  for cipher in aes rc4; do
    encrypt=("$build"/tool/fairlead crypt encrypt "-$cipher" 0123456789abcdef -file "$work/plain")
    "${encrypt[@]}" >"$work/native"
    qemu-x86_64 -cpu "$processor" "${encrypt[@]}" >"$work/emulated" 2>"$work/log"
    cmp "$work/native" "$work/emulated" || failures=$((failures + 1))
  done
done

[ "$failures" -eq 0 ]
