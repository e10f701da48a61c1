#!/bin/sh
# Builds a plugin with the static library, and checks that it exports its own
# function only. usage: plugin_test.sh COMPILER INCLUDE_FOLDER LIBRARY OUTPUT
set -eu
"$1" -std=c++20 -fPIC -shared -fvisibility=hidden -fvisibility-inlines-hidden \
  -DFAIRLEAD_STATIC -I"$2" "$(dirname "$0")/plugin.cc" -o "$4" "$3" -pthread

exported=$(nm -DC --defined-only "$4" | cut -c20- | grep -v '^std::' | sort)
if [ "$exported" != PluginPort ]; then
  printf 'the plugin exports:\n%s\n' "$exported" >&2
  exit 1
fi
