#!/bin/sh
# Builds a plugin with the static library, and checks that it exports only its
# own function. usage: plugin_test.sh COMPILER INCLUDE_FOLDER LIBRARY OUTPUT
set -eu
"$1" -std=c++20 -fPIC -shared -fvisibility=hidden -fvisibility-inlines-hidden \
  -DFAIRLEAD_STATIC -I"$2" "$(dirname "$0")/plugin.cc" -o "$4" "$3" -pthread

# Every library exports what it has of the standard library: _ZSt…, _ZNSt….
exported=$(nm -D --defined-only "$4" | cut -c20- | grep -vE '^_Z(NK?)?(S|9__gnu_cxx)' | sort)
if [ "$exported" != PluginPort ]; then
  printf 'the plugin exports:\n%s\n' "$exported" >&2
  exit 1
fi
