# The power cuts of scripts/board ARCH powercut N, read by scripts/board
# (its variables and functions: boot, fail, $layer, $share, $work, $cuts).
#
# The board boots from a copy of its disk, with a second disk for the
# data (ext4 mounted with noauto_da_alloc: a missing fsync shows there),
# both on cache=none. Each boot the job (commontools-powercut) checks what
# the previous one acknowledged, then writes until qemu is killed at a
# random moment. Between boots both file systems must check clean; a last
# boot only checks. A check that fails does not stop the cuts: the run
# fails at the end, with every failure listed.

job="state=/run/board/powercut
program=/usr/libexec/commontools-tests/commontools-powercut
mkdir -p /opt/ctb-powercut \$state
mount -o noauto_da_alloc /dev/vdb /opt/ctb-powercut
# (The job runs under sh -e.) A check that fails prints its own FAILED line
# and ends with 1; one that crashes or ends otherwise prints nothing of its
# end: say so here.
if [ -f \$state/app.ini ]; then
    checked=0
    \$program \$state check || checked=\$?
    [ \$checked -le 1 ] || echo \"check: FAILED, the check ended with status \$checked\"
else
    \$program \$state setup
fi
[ ! -f /run/board/final ] || exit 0
acknowledged() { cat \$state/settings-*.log \$state/points.log 2>/dev/null | wc -l; }
before=\$(acknowledged)
for writer in 1 2 3; do \$program \$state settings \$writer & done
\$program \$state points &
# The power may go once they write (within a minute).
tries=0
while [ \"\$(acknowledged)\" -le \"\$before\" ] && [ \$tries -lt 600 ]; do tries=\$((tries + 1)); sleep 0.1; done
touch /run/board/writing
wait"

# e2fsck -fn after the journal is replayed: clean, but for the free block
# and inode counts, which ext4 does not keep up to date on disk.
check_file_system() {
    e2fsck -E journal_only -y "$1" >/dev/null 2>&1 || true
    report=$(e2fsck -fn -E no_optimize_extents "$1" 2>&1) && return 0
    problems=$(printf '%s\n' "$report" | grep -v -e '^Pass [1-5]' -e '^$' -e '^Fix? no$' \
        -e '^Free \(blocks\|inodes\) count wrong' -e 'WARNING: Filesystem still has errors' \
        -e ' files (.* non-contiguous)' -e '^e2fsck [0-9]' -e '^Padding at end of inode bitmap is not set' || true)
    [ -z "$problems" ] || { printf '%s\n' "$report"; return 1; }
}

rm -rf "$share"
mkdir -p "$share/powercut"
printf '%s\n' "$job" >"$share/job"
log=$work/powercut.log
: >"$log"

echo "board: powercut, $cuts cuts on $arch$([ -z "$no_fsync" ] || echo ', writers without fsync')"
started=$(date +%s)
qemu-img convert -O raw "$layer" "$work/root.raw"
rm -f "$work/data.img"
truncate -s 256M "$work/data.img"
mke2fs -q -t ext4 -L data "$work/data.img"
data_drive="file=$work/data.img,if=virtio,format=raw,cache=none"

# Milliseconds, at random, in [min, max).
random_ms() {
    echo $(($1 + $(od -An -N4 -tu4 /dev/urandom) % ($2 - $1)))
}

disk_cache=none
cut=0
while [ "$cut" -lt "$cuts" ]; do
    cut=$((cut + 1))
    rm -f "$share/writing"
    board_background=yes boot "$work/root.raw" raw 900 -drive "$data_drive"
    while [ ! -f "$share/writing" ] && [ ! -f "$share/status" ] && kill -0 "$board_pid" 2>/dev/null; do
        sleep 0.2
    done
    if [ ! -f "$share/writing" ]; then
        wait "$board_pid" || true
        cat "$share/output" 2>/dev/null | tee -a "$log"
        tail -n 20 "$console"
        fail "cut $cut: the board stopped before it wrote (exit status $(cat "$share/status" 2>/dev/null || echo none))"
    fi
    delay=$(random_ms 300 6000)
    sleep "$(printf '%d.%03d' $((delay / 1000)) $((delay % 1000)))"
    pid=$(cat "$work/qemu.pid")
    # qemu may have ended by itself: the checks below say what it left.
    [ "$pid" -gt 1 ] && kill -9 "$pid" 2>/dev/null || true
    wait "$board_pid" 2>/dev/null || true
    grep -v '^$' "$share/output" >>"$log" 2>/dev/null || true
    grep '^FAIL' "$share/output" || true
    echo "cut $cut after $delay ms; before it, $(grep -e '^check ' -e '^set up' "$share/output" | tail -n 1)"
    for image in "$work/root.raw" "$work/data.img"; do
        check_file_system "$image" || fail "cut $cut: ${image##*/} does not check clean"
    done
done

# The last boot only checks what the last cut left.
touch "$share/final"
boot "$work/root.raw" raw 900 -drive "$data_drive"
cat "$share/output" >>"$log" 2>/dev/null || true
status=$(cat "$share/status" 2>/dev/null || echo none)
last=$(grep '^check ' "$share/output" 2>/dev/null | tail -n 1)
grep '^FAIL' "$share/output" || true
echo "after the last cut, $last"
seconds=$(($(date +%s) - started))
failed=$(grep -c '^check.*FAILED' "$log" || true)
[ "$status" = 0 ] && [ -n "$last" ] && [ "$failed" -eq 0 ] ||
    fail "powercut on $arch failed: $failed of $((cuts)) checks after a cut failed ($seconds s; log in $log)"
writes=$(echo "$last" | sed -n 's/^check [0-9]*: \([0-9]*\) acknowledged settings writes, \([0-9]*\) point file conversions.*/\1 + \2/p')
echo "board: powercut on $arch passed: $cuts cuts, $(($writes)) acknowledged writes checked ($writes), $seconds s"
rm -f "$work/root.raw" "$work/data.img"
