#!/bin/sh
# Builds a plugin with the static library, and checks that it offers its own
# function alone. usage: plugin_test.sh COMPILER LIBRARY_FOLDER OUTPUT
set -eu
export PKG_CONFIG_PATH="$2/pkgconfig"
"$1" -std=c++20 -fPIC -shared -fvisibility=hidden -fvisibility-inlines-hidden \
  "$(dirname "$0")/plugin.cc" -o "$3" $(pkg-config --cflags --libs fairlead)

offered=$(nm -DC --defined-only "$3" | cut -c20- | grep -v '^std::' | sort)
if [ "$offered" != PluginPort ]; then
  printf 'the plugin offers:\n%s\n' "$offered" >&2
  exit 1
fi
