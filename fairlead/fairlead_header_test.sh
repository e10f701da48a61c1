#!/bin/sh
# Checks that fairlead.h includes every public header: fairlead_header_test.sh HEADER…
set -eu
folder=$(dirname "$0")
missing=0
for header; do
  name=fairlead/${header#"$folder"/}
  case $name in
    # The umbrella itself, and what every other header includes.
    fairlead/fairlead.h | fairlead/export.h) continue ;;
  esac
  if ! grep -qxF "#include \"$name\"" "$folder/fairlead.h"; then
    echo "fairlead.h does not include $name" >&2
    missing=1
  fi
done
[ $# -gt 2 ] && exit $missing
echo "no headers to look for" >&2
exit 1
