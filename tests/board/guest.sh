#!/bin/sh
# Runs on the emulated board (scripts/board), started by the image's init
# as PID 1 from the host's share, /run/board: runs the share's job with
# its output in output and its exit status in status, then powers off.
# tini adopts and reaps whatever the job leaves running, as an init would.
PATH=/usr/sbin:/usr/bin:/sbin:/bin
export PATH
mount -o remount,rw / 2>/dev/null
hostname -F /etc/hostname 2>/dev/null
cd /run/board || exit 1
echo "commontools-board: job started" >/dev/console
/usr/bin/tini -s -- /bin/sh -e /run/board/job >/run/board/output 2>&1 </dev/null
status=$?
echo "$status" >/run/board/status
sync
echo "commontools-board: exit status $status" >/dev/console
echo o >/proc/sysrq-trigger
sleep 60
