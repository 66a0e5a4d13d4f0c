#!/bin/sh
# Installs the built library into a scratch prefix, then builds and runs a
# client against it twice: through the CMake package and through pkg-config.
# Usage: consumer-test.sh BUILD_DIR CONSUMER_SOURCE CMAKE CXX GENERATOR
set -eu

build=$1
source=$2
cmake=$3
cxx=$4
generator=$5

scratch=$(mktemp -d /tmp/commontools-package.XXXXXX)
trap 'rm -rf "$scratch"' EXIT

"$cmake" --install "$build" --prefix "$scratch/prefix" >/dev/null

echo "-- CMake package"
"$cmake" -S "$source" -B "$scratch/consumer" -G "$generator" -DCMAKE_CXX_COMPILER="$cxx" \
    -DCMAKE_PREFIX_PATH="$scratch/prefix" >/dev/null
"$cmake" --build "$scratch/consumer" >/dev/null
"$scratch/consumer/consumer"

echo "-- pkg-config"
pcdir=$(dirname "$(find "$scratch/prefix" -name CommonTools.pc | head -n 1)")
libdir=$(PKG_CONFIG_PATH=$pcdir pkg-config --variable=libdir CommonTools)
# shellcheck disable=SC2046
"$cxx" -std=c++17 -fPIC -o "$scratch/consumer-pc" "$source/main.cpp" \
    $(PKG_CONFIG_PATH=$pcdir pkg-config --cflags --libs CommonTools)
LD_LIBRARY_PATH=$libdir "$scratch/consumer-pc"

# The installed tool finds the library beside it without help.
"$scratch/prefix/bin/commontools" hex 255 0 4 | grep -qx '0x00FF'
echo "-- installed tool runs"
