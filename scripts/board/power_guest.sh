#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# The other side of scripts/power_cuts.py: process 1 of a board whose power is cut. It reads commands
# from the console and answers in lines that begin with @.
#
# What was "written" is on the disk whatever comes; what is "writing" may be there or what was before.
export PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/tmp LC_ALL=C.UTF-8 LD_LIBRARY_PATH=/usr/lib
exec </dev/ttyAMA0 >/dev/ttyAMA0 2>&1
stty -echo -onlcr
mount -t tmpfs tmpfs /tmp
mount -t tmpfs tmpfs /dev/shm 2>/dev/null || { mkdir -p /dev/shm; mount -t tmpfs tmpfs /dev/shm; }
rig=/data/rig ring=/data/rig/trace.ring

sum() { sha256sum "$1" 2>/dev/null | cut -d' ' -f1; }

# Into a file beside it, which takes the name when it is on the disk: as a careful operator does.
replace() {
  cp "$2" "$1.next" && sync "$1.next" && mv -f "$1.next" "$1" && sync "$(dirname "$1")"
}

prepare() {
  local disk
  disk=/dev/$(grep -lx data /sys/block/vd*/serial | cut -d/ -f4)
  blockdev --flushbufs "$disk"
  mount -t ext4 "$disk" /data || { echo "@failed mount"; return; }
  if ! [ -d "$rig" ]; then
    cp -r /opt/rig/root "$rig.new" && mkdir -p /data/reports && sync && mv "$rig.new" "$rig" && sync
  fi
}

# What a start finds: each file with its sum, then how the tools and the host fare.
check() {
  local file status
  for file in $(cd /data && ls -d reports/* rig/tables/*.csv rig/trx.conf 2>/dev/null); do
    echo "@found $file $(sum "/data/$file")"
  done
  if [ -e "$ring" ]; then
    trxctl requests "$ring" >/tmp/trace 2>&1
    status=$?
    echo "@trace $status $(grep -c . /tmp/trace)"
  fi
  trxctl doctor --root "$rig" >/tmp/doctor 2>&1
  status=$?
  echo "@doctor $status $(grep -c 'do: ' /tmp/doctor) remedies"
  [ "$status" -eq 0 ] || sed 's/^/@said /' /tmp/doctor
  /opt/rig/demo_host "$rig" >/tmp/host 2>&1
  status=$?
  echo "@host $status"
  [ "$status" -eq 0 ] || sed 's/^/@said /' /tmp/host
  echo "@checked"
}

# Writes until the power goes. The host loads, runs tables and fills its ring beside it.
work() {
  local n=$1 from
  while :; do /opt/rig/demo_host "$rig" >/dev/null 2>&1; done &
  while :; do
    n=$((n + 1))
    # A table that hosts load, replaced; and one in a form that they do not read, fixed in its place.
    sed "s/,WAIT,,[0-9]*,/,WAIT,,$n,/" /opt/rig/root/tables/init.csv >/tmp/table
    sed 's/,/;/g' /tmp/table >/tmp/foreign
    echo "@writing rig/tables/init.csv $(sum /tmp/table)"
    replace "$rig/tables/init.csv" /tmp/table
    echo "@written rig/tables/init.csv $(sum /tmp/table)"
    echo "@writing rig/tables/spare.csv $(sum /tmp/foreign)"
    replace "$rig/tables/spare.csv" /tmp/foreign
    echo "@writing rig/tables/spare.csv $(sum /tmp/table)"
    if trxctl check --fix --in-place "$rig/tables/spare.csv" >/tmp/out 2>&1; then
      echo "@written rig/tables/spare.csv $(sum /tmp/table)"
    fi

    sed "1s/.*/# Edit $n./" "$rig/trx.conf" >/tmp/conf
    echo "@writing rig/trx.conf $(sum /tmp/conf)"
    replace "$rig/trx.conf" /tmp/conf
    echo "@written rig/trx.conf $(sum /tmp/conf)"
    sed "1s/.*/# Edit $n, not waited for./" "$rig/trx.conf" >/tmp/conf
    echo "@writing rig/trx.conf $(sum /tmp/conf)"
    cp /tmp/conf "$rig/trx.conf.next" && mv -f "$rig/trx.conf.next" "$rig/trx.conf"

    if trxctl report "$ring" -o "/data/reports/$n.html" >/dev/null 2>&1; then
      echo "@written reports/$n.html $(sum "/data/reports/$n.html")"
    fi
    from=$((n - 20))
    [ ! -e "/data/reports/$from.html" ] || { echo "@dropped reports/$from.html"; rm "/data/reports/$from.html"; }
  done
}

echo "@ready"
started=
while read -r command argument; do
  case $command in
    start)  # repeated until it is heard
      [ -z "$started" ] || continue
      started=yes
      echo "@starting"
      prepare
      check
      ;;
    work) work "$argument" ;;
  esac
done
