#!/bin/sh
# Installs the built library into a scratch prefix, then builds every C++
# block (```cpp) of the Markdown files given, as the files show them,
# against its CMake package (tests/package/examples).
# Usage: examples-test.sh BUILD_DIR EXAMPLES_SOURCE CMAKE CXX GENERATOR FILE.md...
#
# Cross-compiled (COMMONTOOLS_CROSS_CACHE set), the blocks are built with the
# same toolchain and sysroot; they are never run.
set -eu

build=$1
source=$2
cmake=$3
cxx=$4
generator=$5
shift 5

cross_cache=${COMMONTOOLS_CROSS_CACHE:-}

scratch=$(mktemp -d /tmp/commontools-examples.XXXXXX)
trap 'rm -rf "$scratch"' EXIT

mkdir "$scratch/blocks"
for markdown in "$@"; do
    stem=$(basename "$markdown" .md | tr -c 'A-Za-z0-9\n' '_')
    awk -v out="$scratch/blocks/$stem" '
        !inside && $0 == "```cpp" { inside = 1; n++; file = out "-" n ".cpp"; printf "" > file; next }
        inside && $0 == "```" { inside = 0; close(file); next }
        inside { print > file }
        END { if (n == 0) exit 1 }
    ' "$markdown" || { echo "$markdown has no C++ block" >&2; exit 1; }
done
echo "-- $(ls "$scratch/blocks" | wc -l) C++ blocks"
# The namespace also holds the calculator's machinery (Word, Number, Log...):
# an example names what it uses instead of bringing all of it in.
if grep -l 'using namespace OrvInterface' "$scratch/blocks"/*.cpp; then
    echo "an example brings the whole OrvInterface namespace into scope" >&2
    exit 1
fi

"$cmake" --install "$build" --prefix "$scratch/prefix" >/dev/null

if [ -n "$cross_cache" ]; then
    config_dir=$(dirname "$(find "$scratch/prefix" -name CommonToolsConfig.cmake | head -n 1)")
    "$cmake" -C "$cross_cache" -S "$source" -B "$scratch/examples" -G "$generator" \
        -DCommonTools_DIR="$config_dir" -DEXAMPLE_DIR="$scratch/blocks" >/dev/null
else
    "$cmake" -S "$source" -B "$scratch/examples" -G "$generator" -DCMAKE_CXX_COMPILER="$cxx" \
        -DCMAKE_PREFIX_PATH="$scratch/prefix" -DEXAMPLE_DIR="$scratch/blocks" >/dev/null
fi
"$cmake" --build "$scratch/examples"
echo "-- every C++ block builds"
