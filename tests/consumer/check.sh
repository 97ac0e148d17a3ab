#!/usr/bin/env bash
# Installs the build tree into a private prefix, then builds and runs an outside project
# against it twice: through find_package(Velmora CONFIG) and through pkg-config.
set -euo pipefail
build=$1
work=$2
here=$(cd "$(dirname "$0")" && pwd)
rm -rf "$work"
mkdir -p "$work"
cmake --install "$build" --prefix "$work/prefix" >/dev/null
cmake -S "$here" -B "$work/cmake" -DCMAKE_PREFIX_PATH="$work/prefix" >/dev/null
cmake --build "$work/cmake" >/dev/null
"$work/cmake/consumer"
libdir=$(ls -d "$work"/prefix/lib*/pkgconfig | head -n 1)
PKG_CONFIG_PATH=$libdir c++ -std=c++17 "$here/main.cpp" -o "$work/consumer-pc" \
    $(PKG_CONFIG_PATH=$libdir pkg-config --cflags --libs velmora)
"$work/consumer-pc"
