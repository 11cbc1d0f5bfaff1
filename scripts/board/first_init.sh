#!/bin/busybox sh
# SPDX-License-Identifier: Apache-2.0
# The first program of the board, in its initramfs: loads drivers, mounts the root and what it shares
# with its host, and goes on with init.sh there, or, without sharing anything, with the script that
# board.run= names.
busybox mount -t proc proc /proc
busybox mount -t sysfs sysfs /sys
busybox mount -t devtmpfs dev /dev
while read -r module; do
  busybox insmod "$module"
done </modules
of_command_line() { busybox sed -n "s/.*board\\.$1=\\([^ ]*\\).*/\\1/p" /proc/cmdline; }
run=$(of_command_line run)
tree=$(of_command_line tree)
# Disks are numbered in no order that could be relied on.
root=$(busybox grep -lx root /sys/block/vd*/serial | busybox cut -d/ -f4)
busybox mount -t ext4 ${run:+-o ro} "/dev/$root" /root
if [ -n "$tree" ]; then
  busybox mkdir -p "/root$tree"
  busybox mount -t 9p -o trans=virtio,version=9p2000.L,ro,cache=loose,msize=512000 tree "/root$tree"
  busybox mount -t 9p -o trans=virtio,version=9p2000.L,msize=512000 results /root/results
fi
for folder in proc sys dev; do
  busybox mount -o move "/$folder" "/root/$folder"
done
exec busybox switch_root /root /bin/bash "${run:-$tree/scripts/board/init.sh}"
