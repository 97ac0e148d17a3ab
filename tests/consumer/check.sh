#!/usr/bin/env bash
# Installs the build tree into a private prefix, then builds and runs an outside project
# against it twice: through find_package(Velmora CONFIG) and through pkg-config; and a host
# that loads the installed module with plain dlopen, from a prefix outside the linker's path.
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

c++ -std=c++17 "$here/host.cpp" -o "$work/host" -I"$work/prefix/include/velmora" -ldl
module=$(ls "$work"/prefix/lib*/velmora/VelmoraInstallerExtension.so | head -n 1)
VELMORA_PREFS_ROOT="$work/prefs" VELMORA_ALERTS=none "$work/host" "$module"
for format in AU PT SA; do
    ls "$work"/prefs/system/ByHost/com.velmora.audioplugins.Tempest.$format.*.plist >/dev/null
done
