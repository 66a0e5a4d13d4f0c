#!/bin/sh
# Tries the Debian packages of scripts/package as a new user would.
#
# The build machine's architecture: in a clean Debian root made with
# mmdebstrap from the machine's own sources, apt-get installs the three
# packages with every dependency; "commontools demo" runs; a client project
# builds and runs with find_package(CommonTools CONFIG) and with
# pkg-config; apt-get purge then leaves none of the packages' files behind.
# Then the source tree builds there with nothing but the library's own
# build dependencies (no test, benchmark or fuzzer dependency).
#
# Other architectures: the packages' contents and control fields are
# checked; the emulated boards install and run them (scripts/board).
#
# lintian must report no error on any package.
#
# Runs as root (chroot, mounts). Usage: debian-test.sh PACKAGE_DIR [ARCH...]
set -eu

root=$(cd "$(dirname "$0")/../.." && pwd)
packages=$(cd "$1" && pwd)
shift
architectures=${*:-"amd64 armhf arm64"}
native=$(dpkg --print-architecture)
version=$(sed -n '1s/^commontools (\([^)]*\)).*/\1/p' "$root/cmake/debian/changelog")

fail() {
    echo "debian-test: $*" >&2
    exit 1
}

[ "$(id -u)" -eq 0 ] || fail "needs root (chroot and mounts)"

scratch=$(mktemp -d /tmp/commontools-debian.XXXXXX)
chroot_dir=$scratch/root
cleanup() {
    for mount in "$chroot_dir/dev" "$chroot_dir/proc"; do
        if mountpoint -q "$mount" 2>/dev/null; then umount -l "$mount"; fi
    done
    rm -rf "$scratch"
}
trap cleanup EXIT

# The paths of a package (and link targets), read whole: grep -q may stop
# reading early.
contents() {
    dpkg-deb -c "$1" | awk '{ $1 = $2 = $3 = $4 = $5 = ""; sub(/^ +/, ""); print }'
}

deb() {
    file=$packages/$1_${version}_$2.deb
    [ -f "$file" ] || fail "no $file: run scripts/package $2"
    echo "$file"
}

echo "== lintian"
lintian_log=$scratch/lintian.log
# shellcheck disable=SC2046
lintian --pedantic $(for arch in $architectures; do for p in libcommontools1 libcommontools-dev commontools commontools-tests; do deb "$p" "$arch"; done; done) \
    >"$lintian_log" 2>&1 || true
grep -v '^N:' "$lintian_log" | sort | uniq -c || true
if grep -q '^E:' "$lintian_log"; then
    fail "lintian reports errors"
fi

in_root() {
    chroot "$chroot_dir" /usr/bin/env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root LC_ALL=C.UTF-8 \
        DEBIAN_FRONTEND=noninteractive QT_QPA_PLATFORM=offscreen "$@"
}

test_native() {
    arch=$1
    echo "== $arch: a clean Debian root"
    "$root/scripts/debian-sources" | mmdebstrap --quiet --variant=apt --architectures="$arch" \
        "$(. /etc/os-release && echo "$VERSION_CODENAME")" "$chroot_dir" -
    cp /etc/resolv.conf "$chroot_dir/etc/resolv.conf"
    mount -t proc proc "$chroot_dir/proc"
    mount --bind /dev "$chroot_dir/dev"
    mkdir -p "$chroot_dir/tmp/debs"
    for p in libcommontools1 libcommontools-dev commontools; do cp "$(deb "$p" "$arch")" "$chroot_dir/tmp/debs/"; done

    echo "== $arch: apt-get install of the three packages"
    in_root apt-get update -qq
    in_root sh -c "cd /tmp/debs && apt-get install -y -qq ./libcommontools1_*.deb ./libcommontools-dev_*.deb ./commontools_*.deb" \
        >"$scratch/install.log" 2>&1 || { cat "$scratch/install.log"; fail "apt-get install failed"; }
    in_root dpkg-query -L libcommontools1 libcommontools-dev commontools | sort -u >"$scratch/files.txt"

    echo "== $arch: commontools demo"
    in_root commontools demo >"$scratch/demo.log" 2>&1 || { cat "$scratch/demo.log"; fail "commontools demo failed"; }
    grep -q "(Error Code : 0x90006607) Login failed" "$scratch/demo.log" || fail "the demo did not show the messages"
    in_root commontools --language CH error 0x90006607 | grep -qx "(错误码 : 0x90006607) 登录失败" \
        || fail "no Chinese message from the installed library"

    echo "== $arch: a client with find_package(CommonTools CONFIG) and with pkg-config"
    in_root apt-get install -y -qq cmake g++ make pkg-config >"$scratch/tools.log" 2>&1 \
        || { cat "$scratch/tools.log"; fail "cannot install the compilers"; }
    mkdir -p "$chroot_dir/tmp/client"
    cp "$root/tests/package/consumer/main.cpp" "$chroot_dir/tmp/client/"
    cat >"$chroot_dir/tmp/client/CMakeLists.txt" <<'CMAKE'
cmake_minimum_required(VERSION 3.16)
project(Client LANGUAGES CXX)
set(CMAKE_CXX_STANDARD 17)
find_package(CommonTools 1.0 CONFIG REQUIRED)
add_executable(client main.cpp)
target_link_libraries(client PRIVATE CommonTools::CommonTools)
CMAKE
    in_root sh -c "cmake -S /tmp/client -B /tmp/client/build >/dev/null && cmake --build /tmp/client/build >/dev/null && /tmp/client/build/client"
    in_root sh -c 'c++ -std=c++17 -fPIC -o /tmp/client/client-pc /tmp/client/main.cpp $(pkg-config --cflags --libs CommonTools) && /tmp/client/client-pc'

    echo "== $arch: apt-get purge"
    in_root apt-get purge -y -qq libcommontools1 libcommontools-dev commontools >"$scratch/purge.log" 2>&1 \
        || { cat "$scratch/purge.log"; fail "apt-get purge failed"; }
    left=""
    while read -r path; do
        # Folders that other packages share stay; the packages' own files go.
        if [ -e "$chroot_dir$path" ] || [ -L "$chroot_dir$path" ]; then
            [ -d "$chroot_dir$path" ] && [ ! -L "$chroot_dir$path" ] && continue
            left="$left $path"
        fi
    done <"$scratch/files.txt"
    [ -z "$left" ] || fail "files left after purge:$left"
    for folder in /usr/include/CommonTools /usr/share/doc/libcommontools1 /usr/share/doc/libcommontools-dev \
        /usr/share/doc/commontools "/usr/lib/$(dpkg-architecture -a "$arch" -qDEB_HOST_MULTIARCH 2>/dev/null)/cmake/CommonTools"; do
        [ ! -e "$chroot_dir$folder" ] || fail "$folder left after purge"
    done
    echo "   $(wc -l <"$scratch/files.txt") paths installed, none of the packages' files left"

    echo "== $arch: the source tree builds with the library's build dependencies alone"
    in_root apt-get install -y -qq --no-install-recommends qtbase5-dev qttools5-dev-tools libukui-log4qt-dev \
        libisal-dev >"$scratch/builddeps.log" 2>&1 || { cat "$scratch/builddeps.log"; fail "cannot install the build dependencies"; }
    mkdir -p "$chroot_dir/tmp/source"
    # The files of the source tree (tracked, or new and not ignored).
    (cd "$root" && git ls-files -z --cached --others --exclude-standard | xargs -0 tar cf -) |
        (cd "$chroot_dir/tmp/source" && tar xf -)
    in_root sh -c "cmake -S /tmp/source -B /tmp/source/build >/tmp/source/configure.log 2>&1 \
        && cmake --build /tmp/source/build --parallel $(nproc) >/tmp/source/build.log 2>&1" \
        || { tail -n 30 "$chroot_dir/tmp/source/configure.log" "$chroot_dir/tmp/source/build.log"; fail "the plain build failed"; }
    echo "   built; left out for want of their dependencies:"
    sed -n '/have been disabled/,/^-- Configuring/p' "$chroot_dir/tmp/source/configure.log" | grep '^ \*' || true

    umount -l "$chroot_dir/dev" "$chroot_dir/proc"
    rm -rf "$chroot_dir"
}

test_foreign() {
    arch=$1
    multiarch=$(dpkg-architecture -a "$arch" -qDEB_HOST_MULTIARCH 2>/dev/null)
    echo "== $arch: contents and control fields"
    for p in libcommontools1 libcommontools-dev commontools commontools-tests; do
        file=$(deb "$p" "$arch")
        [ "$(dpkg-deb -f "$file" Package)" = "$p" ] || fail "$file: wrong Package"
        [ "$(dpkg-deb -f "$file" Architecture)" = "$arch" ] || fail "$file: wrong Architecture"
        [ "$(dpkg-deb -f "$file" Version)" = "$version" ] || fail "$file: wrong Version"
        [ -n "$(dpkg-deb -f "$file" Maintainer)" ] || fail "$file: no Maintainer"
        listing=$(contents "$file")
        echo "$listing" | grep -q "/usr/share/doc/$p/copyright$" || fail "$file: no copyright"
        echo "$listing" | grep -q "/usr/share/doc/$p/changelog.gz$" || fail "$file: no changelog"
    done
    lib=$(deb libcommontools1 "$arch")
    contents "$lib" | grep "/usr/lib/$multiarch/libCommonTools.so.1 -> libCommonTools.so.$version" >/dev/null \
        || fail "$lib: no libCommonTools.so.1 in /usr/lib/$multiarch"
    depends=$(dpkg-deb -f "$lib" Depends)
    for needed in libc6 libqt5core5a libqt5gui5 libqt5widgets5 libstdc++6 libukui-log4qt1; do
        echo "$depends" | grep -q "\\b$needed\\b" || fail "$lib: Depends lacks $needed: $depends"
    done
    listing=$(contents "$(deb libcommontools-dev "$arch")")
    echo "$listing" | grep -q "/usr/lib/$multiarch/libCommonTools.so -> libCommonTools.so.1" \
        || fail "libcommontools-dev: no link libCommonTools.so"
    echo "$listing" | grep -q "/usr/lib/$multiarch/pkgconfig/CommonTools.pc" || fail "libcommontools-dev: no CommonTools.pc"
    echo "$listing" | grep -q "/usr/include/CommonTools/CommonTools.h" || fail "libcommontools-dev: no headers"
    echo "$listing" | grep -q "/usr/lib/$multiarch/cmake/CommonTools/CommonToolsConfig.cmake" \
        || fail "libcommontools-dev: no CMake package"
    echo "$listing" | grep -q "/usr/share/doc/libcommontools-dev/html/index.html" || fail "libcommontools-dev: no API reference"
    [ "$(dpkg-deb -f "$(deb libcommontools-dev "$arch")" Depends)" = "libcommontools1 (= $version), qtbase5-dev" ] \
        || fail "libcommontools-dev: wrong Depends"
    dpkg-deb -f "$(deb commontools "$arch")" Depends | grep -q "libcommontools1 (= $version)" \
        || fail "commontools: does not depend on libcommontools1 (= $version)"
    listing=$(contents "$(deb commontools-tests "$arch")")
    for path in /usr/bin/commontools-selftest /usr/share/man/man1/commontools-selftest.1.gz \
        /usr/libexec/commontools-tests/tst_tool /usr/libexec/commontools-tests/commontools-powercut \
        /usr/share/commontools-tests/error-messages.tsv; do
        echo "$listing" | grep -q "$path\$" || fail "commontools-tests: no $path"
    done
    dpkg-deb -f "$(deb commontools-tests "$arch")" Depends | grep -q "commontools (= $version)" \
        || fail "commontools-tests: does not depend on commontools (= $version)"
    echo "   Depends of libcommontools1: $depends"
}

for arch in $architectures; do
    if [ "$arch" = "$native" ]; then
        test_native "$arch"
    else
        test_foreign "$arch"
    fi
done
echo "debian-test: all packages passed"
