#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
# On the board: installs the packages, runs the demo host on the installed libraries, asks the tool
# about what it wrote, then runs the tests: suite.sh TREE
set -euo pipefail
tree=$1
step() { printf '\n== %s\n' "$*"; }

step "installing the packages"
dpkg -i "$tree"/build/armhf-release/packages/*.deb
test "$(readlink -f /usr/lib/libzqm_trx.so.7)" = /usr/lib/libzqm_trx.so.7.0.0 # what ldconfig made
trxctl --version

step "running the demo host"
rig=$tree/build/armhf-release/examples
cp -r "$rig/root" /root/rig
sed -i "s|$rig/root|/root/rig|" /root/rig/trx.conf /root/rig/kw/etc/kwpath.conf
export LD_LIBRARY_PATH=/usr/lib
ldd "$rig/demo_host" | grep '/usr/lib/libzqm_trx.so.7 '
"$rig/demo_host" /root/rig | tee /root/demo
grep -q 'message of the table: SELFTEST_FAILED' /root/demo
unset LD_LIBRARY_PATH

step "asking the tool about it"
ring=/root/rig/trace.ring
trxctl doctor --root /root/rig --ring "$ring"
trxctl check --root /root/rig "$tree"/examples/tables/*.csv
trxctl lock
trxctl requests "$ring" | tee /root/requests
grep -q selftest /root/requests
trxctl stats "$ring" >/dev/null
trxctl report "$ring" -o /root/report.html
grep -q selftest /root/report.html

step "running the tests"
bash "$tree/scripts/board/run_tests.sh"
