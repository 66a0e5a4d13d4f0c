#!/bin/sh
# Run as root inside a clean Debian root (scripts/debian-root SUITE clean) by
# debian-test.sh: installs the packages from the apt repository in
# /srv/commontools the way the README tells a user to, uses them, and purges
# them again.
#
#   - apt installs the four packages and their dependencies, the recommended
#     Chinese font included, from one sources.list line;
#   - "commontools demo" runs, and shows a message in Chinese;
#   - the API reference is there, with Debian's jQuery;
#   - a client builds and runs with find_package(CommonTools) and with
#     pkg-config (the consumer project in /srv/consumer);
#   - apt purge leaves none of the packages' files behind.
set -eu

packages="libcommontools1 libcommontools-dev commontools libcommontools-doc"
log=/tmp/debian-install.log

fail() {
    echo "debian-install: $*" >&2
    exit 1
}

quietly() {
    "$@" >"$log" 2>&1 || { cat "$log"; fail "failed: $*"; }
}

echo "deb [trusted=yes] file:/srv/commontools ./" >/etc/apt/sources.list.d/commontools.list
quietly apt-get update
# Quicker unpacking, and nothing else changes for the test.
echo 'Dpkg::Options { "--force-unsafe-io"; };' >/etc/apt/apt.conf.d/99unsafe-io
# shellcheck disable=SC2086
quietly apt-get install -y $packages
# shellcheck disable=SC2086
for package in $packages; do
    [ "$(dpkg-query -W -f='${Status}' "$package")" = "install ok installed" ] || fail "$package is not installed"
done
dpkg-query -W -f='${Status}' fonts-wqy-microhei | grep -q "ok installed" || fail "the recommended font is not installed"
# shellcheck disable=SC2086
dpkg-query -L $packages | sort -u >/tmp/files.txt
echo "   installed: $(dpkg-query -W -f='${Package} ${Version} ${Architecture}, ' $packages)"

# An application name of the test's own: its /opt folder goes with the root.
printf '[General]\nAPPName=ctt-debian-install\n' >/tmp/app.ini
commontools --ini /tmp/app.ini demo >/tmp/demo.log 2>&1 || { cat /tmp/demo.log; fail "commontools demo failed"; }
grep -q "(Error Code : 0x90006607) Login failed" /tmp/demo.log || fail "the demo did not show the messages"
[ "$(commontools --ini /tmp/app.ini --language CH error 0x90006607)" = "(错误码 : 0x90006607) 登录失败" ] \
    || fail "no Chinese message from the installed library"
echo "   commontools demo and the Chinese message: as expected"

html=/usr/share/doc/libcommontools-doc/html
[ -f "$html/index.html" ] || fail "no API reference in $html"
[ "$(readlink -f "$html/jquery.js")" = /usr/share/javascript/jquery/jquery.js ] || fail "the reference has no Debian jQuery"
[ -f "$html/jquery.js" ] || fail "$html/jquery.js leads nowhere"

quietly apt-get install -y --no-install-recommends cmake g++ make
cp -r /srv/consumer /tmp/client
quietly cmake -S /tmp/client -B /tmp/client/build
quietly cmake --build /tmp/client/build
/tmp/client/build/consumer
# shellcheck disable=SC2046
c++ -std=c++17 -fPIC -o /tmp/client/client-pc /tmp/client/main.cpp $(pkg-config --cflags --libs CommonTools)
/tmp/client/client-pc
echo "   a client with find_package and with pkg-config: built and ran"

# shellcheck disable=SC2086
quietly apt-get purge -y $packages
left=""
while read -r path; do
    # Folders that other packages share stay; the packages' own files go.
    if [ -e "$path" ] || [ -L "$path" ]; then
        if [ -d "$path" ] && [ ! -L "$path" ]; then continue; fi
        left="$left $path"
    fi
done </tmp/files.txt
[ -z "$left" ] || fail "files left after purge:$left"
multiarch=$(dpkg-architecture -qDEB_HOST_MULTIARCH 2>/dev/null || gcc -print-multiarch)
for folder in /usr/include/CommonTools /usr/lib/"$multiarch"/cmake/CommonTools /usr/share/doc/libcommontools1 \
    /usr/share/doc/libcommontools-dev /usr/share/doc/commontools /usr/share/doc/libcommontools-doc; do
    [ ! -e "$folder" ] || fail "$folder left after purge"
done
echo "   apt purge: none of the $(wc -l </tmp/files.txt) installed paths left"
