#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# Faults that only a machine can have, on the board: faults.sh TREE [KILLS]. The packages are installed.
set -uo pipefail
tree=$1
kills=${2:-1000}
rig=$tree/build/armhf-release/examples
export LD_LIBRARY_PATH=/usr/lib
failed=0

expect() {
  local what=$1
  shift
  if "$@"; then echo "ok: $what"; else echo "FAILED: $what"; failed=1; fi
}
says() { grep -qiE "$1" /tmp/said; }
fails() { "$@" >/tmp/said 2>&1; local status=$?; [ "$status" -ne 0 ] && [ "$status" -lt 126 ]; }

# The system root of the demo in the folder $1, with its ring there.
make_root() {
  cp -r "$rig/root" "$1"
  sed -i "s|$rig/root|$1|" "$1/trx.conf" "$1/kw/etc/kwpath.conf"
  rm -f "$1/trace.ring"
}
requests_of() { trxctl requests "$1" | grep -c 'HAP \|table '; }

make_root /root/usual
"$rig/demo_host" /root/usual >/dev/null
usual=$(requests_of /root/usual/trace.ring)

echo "== the clock jumps while a host runs"
make_root /root/clock
now=$(date +%s)
date -s 1970-01-02 >/dev/null
"$rig/demo_host" /root/clock >/dev/null &
sleep 0.3
date -s "@$now" >/dev/null
expect "the host goes on" wait $!
expect "all of its $usual requests are read" test "$(requests_of /root/clock/trace.ring)" = "$usual"

echo "== a full file system"
mkdir -p /mnt/full
mount -t tmpfs -o size=64k tmpfs /mnt/full
make_root /mnt/full/rig
head -c 1M /dev/zero >/mnt/full/filler 2>/dev/null
expect "a report is refused" fails trxctl report /root/usual/trace.ring -o /mnt/full/report.html
expect "the tool says that there is no space" says 'no space'
expect "nothing of it is left" test -z "$(find /mnt/full -name 'report*')"
fails "$rig/demo_host" /mnt/full/rig
expect "the host says that it has no ring" says 'ring'
fails trxctl doctor --root /mnt/full/rig --ring /mnt/full/rig/trace.ring
expect "doctor says that there is no space" says 'space|full|free'
umount /mnt/full

echo "== a read-only file system"
mkdir -p /mnt/fixed
mount -t tmpfs tmpfs /mnt/fixed
make_root /mnt/fixed/rig
mount -o remount,ro /mnt/fixed
expect "a report is refused" fails trxctl report /root/usual/trace.ring -o /mnt/fixed/report.html
expect "the tool says that it is read-only" says 'read-only'
fails "$rig/demo_host" /mnt/fixed/rig
expect "the host says that it has no ring" says 'ring'
umount /mnt/fixed

echo "== $kills kills of a holder of the lock"
done_kills=0
while [ "$done_kills" -lt "$kills" ]; do # 30 in each run
  "$tree/build/armhf/tests/fault/semaphore_fault_test" \
    --gtest_filter=LockKillTest.SemaphoreIsFreedByEveryDeathAndNeverHeldTwice >/tmp/said 2>&1 || break
  done_kills=$((done_kills + 30))
done
expect "$done_kills kills: it was freed by every death and never held twice" test "$done_kills" -ge "$kills"

echo "== no semaphore to be had"
sed -i 's/^hapmodule.exec.exclusion.control.*//; $a hapmodule.exec.exclusion.control=on' /root/usual/trx.conf
while read -r id; do ipcrm -s "$id"; done < <(awk 'NR > 1 { print $2 }' /proc/sysvipc/sem)
limits=$(cat /proc/sys/kernel/sem)
echo "250 32000 32 0" >/proc/sys/kernel/sem
fails trxctl lock
expect "trxctl lock names the limit of the kernel" says 'limit|kernel.sem'
fails trxctl hap ADC_Measure --root /root/usual --unit 300:2:rack/rail2
expect "a request says that it cannot take the semaphore" says 'semaphore|7000c'
echo "$limits" >/proc/sys/kernel/sem

echo "== the semaphore is removed when a session ends (RemoveIPC)"
trxctl lock --create >/dev/null
trxctl hap ADC_Measure --root /root/usual --unit 300:2:rack/rail2 >/tmp/said 2>&1
expect "a request runs under it" says 'succeeded'
while read -r id; do ipcrm -s "$id"; done < <(awk 'NR > 1 { print $2 }' /proc/sysvipc/sem)
fails trxctl lock
expect "trxctl lock says that there is none" says 'no semaphore|missing|does not exist|not there'
expect "it is made anew" trxctl lock --create
expect "requests run again" trxctl hap ADC_Measure --root /root/usual --unit 300:2:rack/rail2

exit "$failed"
