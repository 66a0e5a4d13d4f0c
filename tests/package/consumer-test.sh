#!/bin/sh
# Installs the built library into a scratch prefix, then builds and runs a
# client against it twice: through the CMake package and through pkg-config.
# Usage: consumer-test.sh BUILD_DIR CONSUMER_SOURCE CMAKE CXX GENERATOR
#
# Cross-compiled (COMMONTOOLS_CROSS_CACHE set), the client is configured
# with the same toolchain and sysroot, and runs under the emulator in
# COMMONTOOLS_TEST_EMULATOR.
set -eu

build=$1
source=$2
cmake=$3
cxx=$4
generator=$5

emulator=${COMMONTOOLS_TEST_EMULATOR:-}
cross_cache=${COMMONTOOLS_CROSS_CACHE:-}

scratch=$(mktemp -d /tmp/commontools-package.XXXXXX)
trap 'rm -rf "$scratch"' EXIT

"$cmake" --install "$build" --prefix "$scratch/prefix" >/dev/null

echo "-- CMake package"
config_dir=$(dirname "$(find "$scratch/prefix" -name CommonToolsConfig.cmake | head -n 1)")
if [ -n "$cross_cache" ]; then
    # The package is outside the sysroot: named directly, it is found there.
    "$cmake" -C "$cross_cache" -S "$source" -B "$scratch/consumer" -G "$generator" \
        -DCommonTools_DIR="$config_dir" >/dev/null
else
    "$cmake" -S "$source" -B "$scratch/consumer" -G "$generator" -DCMAKE_CXX_COMPILER="$cxx" \
        -DCMAKE_PREFIX_PATH="$scratch/prefix" >/dev/null
fi
"$cmake" --build "$scratch/consumer" >/dev/null
# shellcheck disable=SC2086
$emulator "$scratch/consumer/consumer"

echo "-- pkg-config"
pcdir=$(dirname "$(find "$scratch/prefix" -name CommonTools.pc | head -n 1)")
libdir=$(PKG_CONFIG_PATH=$pcdir pkg-config --variable=libdir CommonTools)
if [ -n "$cross_cache" ]; then
    # Qt's flags come from the sysroot's .pc files; pkg-config puts the
    # sysroot before every path, including the scratch prefix's, which is
    # not in it.
    sysroot=$COMMONTOOLS_CROSS_SYSROOT
    multiarch=$COMMONTOOLS_CROSS_MULTIARCH
    flags=$(PKG_CONFIG_SYSROOT_DIR=$sysroot \
        PKG_CONFIG_LIBDIR="$pcdir:$sysroot/usr/lib/$multiarch/pkgconfig:$sysroot/usr/share/pkgconfig" \
        pkg-config --cflags --libs CommonTools)
    flags=$(printf '%s\n' "$flags" | sed "s|$sysroot$scratch|$scratch|g")
    # shellcheck disable=SC2086
    "$cxx" --sysroot="$sysroot" -std=c++17 -fPIC -o "$scratch/consumer-pc" "$source/main.cpp" $flags
else
    # shellcheck disable=SC2046
    "$cxx" -std=c++17 -fPIC -o "$scratch/consumer-pc" "$source/main.cpp" \
        $(PKG_CONFIG_PATH=$pcdir pkg-config --cflags --libs CommonTools)
fi
# shellcheck disable=SC2086
LD_LIBRARY_PATH=$libdir $emulator "$scratch/consumer-pc"

# The installed tool finds the library beside it without help.
# shellcheck disable=SC2086
$emulator "$scratch/prefix/bin/commontools" hex 255 0 4 | grep -qx '0x00FF'
echo "-- installed tool runs"
