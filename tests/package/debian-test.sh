#!/bin/sh
# Tries the Debian packages of scripts/package, for each suite:
#
#   - lintian (the suite's own) reports no error and no warning; an
#     informational or pedantic tag is overridden in debian/ or listed in
#     debian/README.source, each with its reason;
#   - the symbols file fails a build whose library lost an exported symbol;
#   - the packages' control fields: Multi-Arch, the exact dependencies
#     between them, the Qt runtime of the suite (Debian 13 renamed it with
#     its 64-bit time_t: libqt5core5t64);
#   - amd64, in a clean root of the suite: apt installs the packages from the
#     repository scripts/package writes, named by one sources.list line, and
#     they work and go again (tests/package/debian-install.sh);
#   - armhf and arm64: apt resolves the packages and their dependencies from
#     the suite and the repository (a root of the suite with them unpacked,
#     made with mmdebstrap). Debian 12's run on the emulated boards
#     (scripts/board); Debian 13's tool runs from such a root under
#     qemu-user, where the recommended font must have come along.
#
# Runs as root (mounts, chroot).
# Usage: debian-test.sh [--suite bookworm|trixie] [PACKAGE_DIR [ARCH...]]
#        (default: both suites, build-packages/, amd64 armhf arm64)
set -eu

root=$(cd "$(dirname "$0")/../.." && pwd)
suites="bookworm trixie"
if [ "${1:-}" = --suite ]; then
    suites=$2
    shift 2
fi
packages=$(cd "${1:-$root/build-packages}" && pwd)
[ $# -eq 0 ] || shift
architectures=${*:-"amd64 armhf arm64"}
version=$(sed -n '1s/^commontools (\([^)]*\)).*/\1/p' "$root/debian/changelog")

fail() {
    echo "debian-test: $*" >&2
    exit 1
}

[ "$(id -u)" -eq 0 ] || fail "needs root (mounts, chroot)"
"$root/scripts/setup" mmdebstrap qemu-user-static dpkg-dev

scratch=$(mktemp -d /tmp/commontools-debian.XXXXXX)
cleanup() {
    rm -rf "$scratch" /opt/ctt-debian-*-$$
}
trap cleanup EXIT

# The Qt runtime package that a suite's library depends on.
qt_core() {
    case "$1" in
        bookworm) echo libqt5core5a ;;
        *) echo libqt5core5t64 ;;
    esac
}

# An architecture that scripts/package could not build for the suite,
# because the mirror served it a broken index: said, then left out.
skipped() {
    if [ -f "$dir/SKIPPED-$1" ]; then
        echo "   $suite $1: SKIPPED, no packages: the mirror's index did not match its Release file ($(cat "$dir/SKIPPED-$1"))"
        return 0
    fi
    return 1
}

deb() {
    file=$dir/$1_${version}_$2.deb
    [ -f "$file" ] || fail "no $file: run scripts/package --suite $suite"
    echo "$file"
}

test_lintian() {
    echo "== $suite: lintian"
    # As an unprivileged user, as lintian asks.
    "$root/scripts/debian-root" "$suite" build-amd64 --ro-bind "$dir:/srv/commontools" sh -c \
        'cd /srv/commontools && setpriv --reuid=nobody --regid=nogroup --clear-groups env HOME=/tmp TMPDIR=/tmp \
            lintian --display-info --display-experimental --pedantic --show-overrides --tag-display-limit 0 *.changes' \
        >"$dir/lintian.log" 2>&1 || true
    grep -v "^N: " "$dir/lintian.log" | sed "s/^/   /" || true
    grep -q '^O: ' "$dir/lintian.log" || fail "lintian did not run"
    if grep -q '^[EW]: ' "$dir/lintian.log"; then
        fail "lintian reports errors or warnings"
    fi
    # An informational or pedantic tag may stay when debian/README.source
    # gives its reason.
    for tag in $(sed -n 's/^[IP]: [^:]*: \([^ ]*\).*/\1/p' "$dir/lintian.log" | sort -u); do
        grep -q -- "- $tag\b" "$root/debian/README.source" || fail "lintian: $tag, and debian/README.source does not say why"
    done
}

test_symbols() {
    echo "== $suite: the symbols file fails a build that lost a symbol"
    "$root/scripts/debian-root" "$suite" build-amd64 --ro-bind "$root:/srv/source" --ro-bind "$dir:/srv/commontools" \
        sh -euc '
        mkdir -p /tmp/symbols/debian && cd /tmp/symbols
        cp /srv/source/debian/control debian/
        dpkg-deb -x /srv/commontools/libcommontools1_$1_amd64.deb package
        gensymbols() { dpkg-gensymbols -c4 -plibcommontools1 -v$1 -Ppackage -I"$2" -Ogenerated >"$2.log" 2>&1; }
        /srv/source/debian/symbols-from-exports /srv/source/tests/package/exports.txt >listed
        gensymbols "$1" listed || { cat listed.log; echo "the symbols file does not match the library"; exit 1; }
        # One symbol more in the list: the library has lost it.
        (cat /srv/source/tests/package/exports.txt; echo "OrvInterface::CheckIsNumber(QString const&)") |
            /srv/source/debian/symbols-from-exports /dev/stdin >lost
        if gensymbols "$1" lost; then echo "a lost symbol went unnoticed"; exit 1; fi
        grep "^dpkg-gensymbols: error: some symbols or patterns disappeared" lost.log
        ' sh "$version" || fail "symbols file"
}

test_fields() {
    echo "== $suite: control fields"
    for arch in $architectures; do
        skipped "$arch" && continue
        lib=$(deb libcommontools1 "$arch")
        dev=$(deb libcommontools-dev "$arch")
        tool=$(deb commontools "$arch")
        tests=$(deb commontools-tests "$arch")
        for file in "$lib" "$dev" "$tool" "$tests" "$(deb libcommontools1-dbgsym "$arch")" "$(deb commontools-dbgsym "$arch")"; do
            [ "$(dpkg-deb -f "$file" Version)" = "$version" ] || fail "$file: wrong Version"
            [ "$(dpkg-deb -f "$file" Architecture)" = "$arch" ] || fail "$file: wrong Architecture"
        done
        [ "$(dpkg-deb -f "$lib" Multi-Arch)" = same ] || fail "$lib: not Multi-Arch: same"
        [ "$(dpkg-deb -f "$dev" Multi-Arch)" = same ] || fail "$dev: not Multi-Arch: same"
        dpkg-deb -I "$lib" symbols | grep -q '^libCommonTools.so.1 libcommontools1 #MINVER#' || fail "$lib: no symbols file"
        depends=$(dpkg-deb -f "$lib" Depends)
        echo "$depends" | grep -q "\\b$(qt_core "$suite") (" || fail "$lib: Depends lacks $(qt_core "$suite"): $depends"
        dpkg-deb -f "$dev" Depends | grep -q "^libcommontools1 (= $version)" || fail "$dev: wrong Depends"
        dpkg-deb -f "$tool" Depends | grep -q "libcommontools1 (>= " || fail "$tool: does not depend on libcommontools1"
        dpkg-deb -f "$tests" Depends | grep -q "^commontools (= $version)" || fail "$tests: does not depend on commontools (= $version)"
        listing=$(dpkg-deb -c "$tests")
        for path in /usr/bin/commontools-selftest /usr/libexec/commontools-tests/tst_settings \
            /usr/libexec/commontools-tests/commontools-powercut /usr/share/commontools-tests/error-messages.tsv \
            /usr/share/commontools-tests/guides/pointfile-format.md /usr/share/commontools-tests/corpus/mfa_to_txt/seed-000; do
            echo "$listing" | grep -q "\.$path\$" || fail "$tests: no $path"
        done
        echo "   $arch: libcommontools1 Depends: $depends"
    done
    doc=$(deb libcommontools-doc all)
    dpkg-deb -c "$doc" | grep -q '/usr/share/doc/libcommontools-doc/html/jquery.js -> ' || fail "$doc: no link to Debian's jQuery"
}

test_amd64() {
    echo "== $suite: amd64 installed, used and purged in a clean root"
    "$root/scripts/debian-root" "$suite" clean --ro-bind "$dir:/srv/commontools" \
        --ro-bind "$root/tests/package/consumer:/srv/consumer" --ro-bind "$root/tests/package/debian-install.sh:/srv/debian-install.sh" \
        env QT_QPA_PLATFORM=offscreen sh /srv/debian-install.sh || fail "$suite amd64: the installation test failed"
}

test_foreign() {
    arch=$1
    echo "== $suite: $arch resolved by apt"
    unpacked=$scratch/$suite-$arch
    # apt as on a board of the suite, Recommends included: all the packages,
    # resolved only; for Debian 13 then the library and the tool with what
    # they need, unpacked to run them (Debian 12's run on the emulated
    # boards, scripts/board).
    includes=libcommontools1,libcommontools-dev,commontools,libcommontools-doc,commontools-tests
    [ "$suite" = bookworm ] || includes="$includes libcommontools1,commontools"
    for include in $includes; do
        simulate=--simulate
        [ "$include" = libcommontools1,commontools ] && simulate=""
        # shellcheck disable=SC2086
        { "$root/scripts/debian-sources" "$suite"; echo "deb [trusted=yes] copy://$dir ./"; } |
            nice -n 10 mmdebstrap --quiet $simulate --variant=extract --architectures="$arch" \
                --aptopt='APT::Install-Recommends "true"' --include="$include" "$suite" "$unpacked" - \
                >"$scratch/$arch.log" 2>&1 || { cat "$scratch/$arch.log"; fail "$suite $arch: apt cannot install $include"; }
        [ -z "$simulate" ] || rm -rf "$unpacked"
    done
    if [ "$suite" = bookworm ]; then
        echo "   the packages resolved"
        return
    fi
    [ -d "$unpacked/usr/share/fonts/truetype/wqy" ] || fail "$suite $arch: the recommended font was not installed"
    # qemu-user would see these folders of the root instead of the machine's.
    for folder in dev proc sys run tmp; do
        rm -rf "${unpacked:?}/$folder"
    done
    multiarch=$(dpkg-architecture -a "$arch" -qDEB_HOST_MULTIARCH 2>/dev/null)
    qemu=/usr/bin/qemu-$(dpkg-architecture -a "$arch" -qDEB_HOST_GNU_CPU 2>/dev/null)-static
    # An application name of the test's own: its /opt folder is removed on exit.
    printf '[General]\nAPPName=ctt-debian-%s-%s\n' "$arch" "$$" >"$scratch/app-$arch.ini"
    run() {
        QEMU_LD_PREFIX=$unpacked QT_PLUGIN_PATH=$unpacked/usr/lib/$multiarch/qt5/plugins QT_QPA_PLATFORM=offscreen \
            LC_ALL=C.UTF-8 "$qemu" "$unpacked/usr/bin/commontools" --ini "$scratch/app-$arch.ini" "$@"
    }
    [ "$(run hex 255 0 4)" = "0x00FF" ] || fail "commontools hex"
    [ "$(run calc '(1>2)?5:max(6,7)')" = "7" ] || fail "commontools calc"
    [ "$(run --language CH error 0x90006607)" = "(错误码 : 0x90006607) 登录失败" ] || fail "commontools error in Chinese"
    run demo >"$scratch/demo-$arch.log" 2>&1 || { cat "$scratch/demo-$arch.log"; fail "commontools demo under qemu"; }
    grep -q "(Error Code : 0x90006607) Login failed" "$scratch/demo-$arch.log" || fail "the demo did not show the messages"
    echo "   the packages resolved; hex, calc, error and demo ran"
    rm -rf "$unpacked"
}

for suite in $suites; do
    dir=$packages/$suite
    [ -f "$dir/Release" ] || fail "no repository in $dir: run scripts/package --suite $suite"
    test_lintian
    test_symbols
    test_fields
    for arch in $architectures; do
        skipped "$arch" && continue
        if [ "$arch" = amd64 ]; then test_amd64; else test_foreign "$arch"; fi
    done
done
echo "debian-test: all packages passed"
