#!/bin/sh
# Builds the consumer with pkg-config, as a makefile would, and runs it.
# usage: build_with_pkg_config.sh COMPILER LIBRARY_FOLDER OUTPUT
set -eu
export PKG_CONFIG_PATH="$2/pkgconfig"
"$1" -std=c++20 "$(dirname "$0")/consumer.cc" -o "$3" \
  $(pkg-config --cflags --libs fairlead) -Wl,-rpath,"$2"
exec "$3" -port 7000
