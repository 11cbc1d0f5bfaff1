#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# Process 1 of the board, on its root: runs what scripts/board.sh put into /results/command, keeps
# its exit status there, and turns the board off.
export PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root LC_ALL=C.UTF-8
mount -t tmpfs tmpfs /run
mount -t tmpfs -o mode=1777 tmpfs /tmp
mkdir -p /dev/shm
mount -t tmpfs -o mode=1777 tmpfs /dev/shm
ln -s /proc/self/fd /dev/fd
busybox hostname board
ldconfig
cd /root
if [ -e /results/shell ]; then
  setsid -c bash -l </dev/ttyAMA0 >/dev/ttyAMA0 2>&1
else
  bash /results/command >/results/output 2>&1 </dev/null
  echo $? >/results/status
fi
sync
mount -o remount,ro / 2>/dev/null
busybox poweroff -f
